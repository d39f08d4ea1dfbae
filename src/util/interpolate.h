// interpolate_for_index: where a value lies in a descending table.
//
// A value that changes little from one look-up to the next lies near where it lay, so the search walks from there.
// Inline, as what a caller knows of its table saves half of the work.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/arith.h"

// The segment, from entry k to entry k + 1, on which x is found: the first whose end is not above x, or the last
// where all are.
inline std::int32_t find_segment(const std::int32_t* table, std::int32_t stride, std::int32_t count,
                                 std::int32_t x, std::int32_t near) {
    const std::ptrdiff_t step = stride;
    std::int32_t k = near;
    while (k < count - 2 && table[step * (k + 1)] > x) ++k;
    while (k > 0 && table[step * k] <= x) --k;
    return k;
}

// The position of `x` among the entries table[0], table[stride], ... (`count` of them, at least 2, in
// descending order), counted in entries and multiplied by `scale`: linear between two entries, extrapolated
// along the first or last segment beyond them, not limited. Signed 32-bit arithmetic that wraps; the
// division truncates toward zero and gives 0 between equal entries. The search begins at segment `near` (0 to
// count - 2, whichever is likely) and leaves there the one found.
inline std::int32_t interpolate_for_index(const std::int32_t* table, std::int32_t stride, std::int32_t count,
                                          std::int32_t x, std::int32_t scale, std::int32_t& near) {
    near = find_segment(table, stride, count, x, near);
    const std::ptrdiff_t step = stride;
    const std::int32_t a = table[step * near];
    const std::int32_t b = table[step * (near + 1)];
    const std::int32_t into_segment = arith::div(arith::mul(arith::sub(x, a), scale), arith::sub(b, a));
    return arith::add(arith::mul(near, scale), into_segment);
}

// The same, searched from the first segment.
inline std::int32_t interpolate_for_index(const std::int32_t* table, std::int32_t stride, std::int32_t count,
                                          std::int32_t x, std::int32_t scale) {
    std::int32_t near = 0;
    return interpolate_for_index(table, stride, count, x, scale, near);
}
