// interpolate_for_index: where a value lies in a descending table.
//
// A value that changes little from one look-up to the next lies near where it lay, so the search walks from there.
#pragma once

#include <cstdint>

// The position of `x` among the entries table[0], table[stride], ... (`count` of them, at least 2, in
// descending order), counted in entries and multiplied by `scale`: linear between two entries, extrapolated
// along the first or last segment beyond them, not limited. Signed 32-bit arithmetic that wraps; the
// division truncates toward zero and gives 0 between equal entries.
std::int32_t interpolate_for_index(const std::int32_t* table, std::int32_t stride, std::int32_t count,
                                   std::int32_t x, std::int32_t scale);

// The same; the search begins at segment `near` (0 to count - 2, whichever is likely) and leaves there the one found.
std::int32_t interpolate_for_index(const std::int32_t* table, std::int32_t stride, std::int32_t count,
                                   std::int32_t x, std::int32_t scale, std::int32_t& near);
