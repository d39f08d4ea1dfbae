// results: what the daemon's functions return. One code, one name.
//
// A function that returns one says which. Features pass on what a function value gave them (util/wiring.h),
// which may be any number where the platform's own result stands behind it: 0 is success there too.
#pragma once

#include <cstdint>

constexpr std::int32_t RESULT_DONE = 0;     // done, or there was nothing to do
constexpr std::int32_t RESULT_FAILED = 1;   // not done: a file or property failed, or something is missing
constexpr std::int32_t RESULT_REFUSED = 2;  // an argument or a sample that cannot be used
constexpr std::int32_t RESULT_NOT_INITIALISED = 3;

// Instead of a number of bytes, or of the number that was to be read.
constexpr std::int32_t RESULT_UNREADABLE =
    -98;  // not opened; of a node also: not read; of a text: beyond 64 bits
constexpr std::int32_t RESULT_UNWRITABLE = -97;  // not opened or not written
constexpr std::int32_t RESULT_READ_FAILED = -1;  // opened, but not read
