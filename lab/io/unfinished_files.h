// What nobody should find when the program is ended by a signal: files under a name of passage, a bar on the terminal.
#pragma once

#include <string>
#include <string_view>

namespace lab {

// From then on SIGINT, SIGTERM, SIGHUP, SIGPIPE and SIGXFSZ remove what is unfinished before they end the program.
void remove_unfinished_on_signals();

// Until it is forgotten. Beyond 1024 at a time they are left behind; so they are by SIGKILL.
void remember_unfinished(const std::string& name);
void forget_unfinished(const std::string& name);

// Wipes the terminal's line.
inline constexpr std::string_view WIPE_LINE = "\r\033[K";
// Whether there stands something on the line of the terminal at standard error that must be wiped then.
void remember_bar(bool is_shown);

}  // namespace lab
