// Mathematics that gives the same bits on every processor and C library: only additions,
// multiplications, divisions and square roots, which IEEE 754 defines to the last bit.
#pragma once

#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace lab::phone {

// 1 / n!
inline constexpr std::array<double, 14> INVERSE_FACTORIALS = [] {
    std::array<double, 14> values{1.0};
    double factorial = 1.0;  // exact in a double up to 18!
    for (std::size_t n = 1; n < values.size(); ++n) values[n] = 1.0 / (factorial *= static_cast<double>(n));
    return values;
}();

// e to the power x; relative error below 1e-15 for |x| <= 700, limited to that range.
inline double exp_of(double x) {
    constexpr double LIMIT = 700.0;
    constexpr double LOG2_E = 1.4426950408889634;
    constexpr double LN2_HIGH = 0.693147180369123816490;    // ln 2 in two parts (Cody and Waite), so that
    constexpr double LN2_LOW = 1.90821492927058770002e-10;  // k * high is exact
    constexpr double ROUNDER = 6755399441055744.0;          // 1.5 * 2^52: adding it rounds to an integer
    constexpr std::uint64_t EXPONENT_BIAS = 1023;
    constexpr int MANTISSA_BITS = 52;
    if (x > LIMIT) x = LIMIT;
    if (x < -LIMIT) x = -LIMIT;
    const double k = (x * LOG2_E + ROUNDER) - ROUNDER;
    const double r = (x - k * LN2_HIGH) - k * LN2_LOW;  // |r| <= ln 2 / 2
    // Taylor's series: its even and its odd terms are two sums that a processor adds up side by side.
    const double rr = r * r;
    double even = INVERSE_FACTORIALS[12];
    double odd = INVERSE_FACTORIALS[13];
    for (std::size_t n = 12; n > 0; n -= 2) {
        even = even * rr + INVERSE_FACTORIALS[n - 2];
        odd = odd * rr + INVERSE_FACTORIALS[n - 1];
    }
    const double sum = even + odd * r;
    const auto exponent = static_cast<std::uint64_t>(static_cast<std::int64_t>(k)) + EXPONENT_BIAS;
    return sum * std::bit_cast<double>(exponent << MANTISSA_BITS);
}

// The cosine of a whole number of turns and a part; for what is asked for now and then.
inline double cosine_of_turns(double turns) {
    constexpr double TURN = 6.283185307179586;
    const double angle = (turns - std::floor(turns + 0.5)) * TURN;
    double sum = 1;
    for (int n = 30; n > 0; n -= 2) sum = 1 - angle * angle / (n * (n - 1)) * sum;
    return sum;
}

// x to the power 3/4 and 4/3, x >= 0.
inline double power_3_4(double x) {
    const double root = std::sqrt(x);
    return root * std::sqrt(root);
}
inline double power_4_3(double x) {
    if (x <= 0) return 0;
    double root = x > 1 ? x : 1;  // cube root by Newton's method, from above
    while (true) {
        const double next = (2 * root + x / (root * root)) / 3;
        if (next >= root) return x * root;
        root = next;
    }
}

// The inverse of the hyperbolic sine, 0 <= x < 1e17, by bisection: slow, for tables.
inline double asinh_of(double x) {
    double low = 0;
    double high = 40;
    for (int i = 0; i < 60; ++i) {
        const double middle = (low + high) / 2;
        const double up = exp_of(middle);
        ((up - 1 / up) / 2 < x ? low : high) = middle;
    }
    return high;
}

}  // namespace lab::phone
