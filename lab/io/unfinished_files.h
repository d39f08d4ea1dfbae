// Files under a name of passage, which nobody should find when the program is ended by a signal.
#pragma once

#include <string>

namespace lab {

// From then on SIGINT, SIGTERM, SIGHUP, SIGPIPE and SIGXFSZ remove what is unfinished before they end the program.
void remove_unfinished_on_signals();

// Until it is forgotten. Beyond 1024 at a time they are left behind; so they are by SIGKILL.
void remember_unfinished(const std::string& name);
void forget_unfinished(const std::string& name);

}  // namespace lab
