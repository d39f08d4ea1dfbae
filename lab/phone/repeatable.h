// Mathematics and randomness that give the same bits on every processor and C library: only additions,
// multiplications, divisions and square roots, which IEEE 754 defines to the last bit, and integers.
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

// xoshiro256** by D. Blackman and S. Vigna (2018, public domain), seeded by their splitmix64.
class generator {
  public:
    generator() : generator(0) {}
    explicit generator(std::uint64_t seed) {
        for (auto& word : state_) {
            seed += 0x9E3779B97F4A7C15U;
            std::uint64_t z = seed;
            z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
            z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
            word = z ^ (z >> 31);
        }
    }

    std::uint64_t next() {
        const std::uint64_t result = std::rotl(state_[1] * 5, 7) * 9;
        const std::uint64_t t = state_[1] << 17;
        state_[2] ^= state_[0];
        state_[3] ^= state_[1];
        state_[1] ^= state_[2];
        state_[0] ^= state_[3];
        state_[2] ^= t;
        state_[3] = std::rotl(state_[3], 45);
        return result;
    }

    // Uniform in [0, 1).
    double uniform() { return static_cast<double>(next() >> 11) * 0x1.0p-53; }

    // Mean 0, standard deviation 1, within +-3.5: the sum of four 16-bit uniform numbers of one draw.
    double noise() {
        const std::uint64_t draw = next();
        const auto sum = static_cast<double>((draw & 0xFFFF) + ((draw >> 16) & 0xFFFF) +
                                             ((draw >> 32) & 0xFFFF) + (draw >> 48));
        constexpr double MEAN = 2 * 65535.0;
        constexpr double DEVIATION = 37837.0;  // 65536 * sqrt(4 / 12)
        return (sum - MEAN) / DEVIATION;
    }

  private:
    std::uint64_t state_[4];
};

}  // namespace lab::phone
