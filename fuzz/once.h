// What every fuzzer that runs the daemon does before an input: a new device. The daemon forgets what it
// remembers by itself, in daemon_start.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "platform/virtual/device.h"
#include "tests/fault/watch.h"

namespace fuzz {

inline virtual_device::device& new_device() {
    setenv("TZ", "America/New_York", 1);
    virtual_device::reset_device();
    return virtual_device::the_device();
}

// Ends the process, and so reports the input, when a promise was broken.
inline void expect_kept(const fault::watch& seen) {
    if (seen.broken().empty()) return;
    for (const auto& each : seen.broken()) fprintf(stderr, "%s\n", each.c_str());
    abort();
}

inline void expect(bool holds, const char* what) {
    if (holds) return;
    fprintf(stderr, "%s\n", what);
    abort();
}

// Cuts the first piece off `rest`: everything before `separator`, or all of it.
inline std::string_view next_piece(std::string_view& rest, char separator) {
    const std::size_t length = std::min(rest.find(separator), rest.size());
    const std::string_view piece = rest.substr(0, length);
    rest.remove_prefix(std::min(length + 1, rest.size()));
    return piece;
}

}  // namespace fuzz
