// One of the daemon's own lines among those of everybody else, in any of logcat's forms (lab/records/logcat_line.h).
#pragma once

#include <optional>
#include <string_view>

#include "lab/records/logcat_line.h"

namespace lab::metrics {

struct daemon_line {
    log_origin origin;
    char priority = ' ';    // 'I', 'W', 'E'; a space where the form has none
    std::string_view text;  // without a line feed, as logcat has it: "--- vorn ...", "lx6wwu6k:..."
};

// The daemon's text in `line`; nothing when the line is somebody else's, whatever it quotes. `line_before` has the
// header in the long form.
std::optional<daemon_line> read_daemon_line(std::string_view line, std::string_view line_before);

}  // namespace lab::metrics
