// big_int: a fixed-point number, `whole` + `frac` / `base`.
//
// Adding (x - whole) * w in units of 1/base moves `whole` toward x by the fraction w / base, which makes
// an exponential average without losing the small steps.
#pragma once

#include <cstdint>

struct big_int {
    std::int32_t frac;  // in units of 1/base, strictly between -base and base; may be negative
    std::int32_t whole;
    std::int32_t base;  // more than 0
};

// `value` plus `inc` units of 1/base. The base of `value` itself is not looked at. The new `frac` has the
// sign of the old `frac` + inc; all sums wrap at 32 bits.
big_int add_to_big_int(big_int value, std::int32_t base, std::int32_t inc);

// `value` limited to the whole numbers min to max, the fraction dropped where a limit applies.
big_int apply_min_max_to_big_int(big_int value, std::int32_t base, std::int32_t min, std::int32_t max);
