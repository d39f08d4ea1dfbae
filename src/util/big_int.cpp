#include "util/big_int.h"

#include "util/arith.h"

big_int add_to_big_int(big_int value, std::int32_t base, std::int32_t inc) {
    const std::int32_t sum = arith::add(value.frac, inc);
    if (arith::sub(0, base) < sum && sum < base) return {sum, value.whole, base};
    const std::int32_t carry = arith::div(sum, base);
    return {arith::sub(sum, arith::mul(carry, base)), arith::add(value.whole, carry), base};
}

big_int apply_min_max_to_big_int(big_int value, std::int32_t base, std::int32_t min, std::int32_t max) {
    if (value.whole >= max) return {0, max, base};
    if (value.whole < min) return {0, min, base};
    // A whole part of 0 says nothing about the sign: the fraction alone may lie below the minimum.
    if (value.whole == 0 && value.frac < min) return {0, min, base};
    return value;
}
