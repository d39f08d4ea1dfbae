// Chance by key: it stays what it was, and what lies side by side has nothing to do with each other.

#include "lab/phone/chance.h"

#include <array>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>

namespace lab::phone {

TEST(Chance, IsThePublishedGenerator) {
    // Known answers of Philox4x64-10: counter and key of zeros, as its authors publish them.
    const draws zero({0, 0}, stream::load, 0);
    const std::array<std::uint64_t, 4> known{0x16554d9eca36314c, 0xdb20fe9d672d0fdc, 0xd7e772cee186176b,
                                             0x7e68b68aec7ba23b};
    for (std::size_t i = 0; i < known.size(); ++i) EXPECT_EQ(zero.word(i), known[i]) << i;
}

TEST(Chance, HasItsMomentsAndNoTieToItsNeighbours) {
    constexpr int COUNT = 100000;
    constexpr double FOUR_SIGMA = 4 / 316.2;  // of the mean of so many products of independent noise
    const auto here = [](std::int64_t at_s) { return draws({7, 3}, stream::load, at_s); };
    const std::array<std::function<double(std::int64_t)>, 6> beside{
        [&](std::int64_t at_s) { return here(at_s + 1).noise(0); },
        [&](std::int64_t at_s) { return here(at_s + 60).noise(0); },
        [&](std::int64_t at_s) { return here(at_s).noise(1); },
        [](std::int64_t at_s) {
            return draws({7, 4}, stream::load, at_s).noise(0);
        },
        [](std::int64_t at_s) {
            return draws({8, 3}, stream::load, at_s).noise(0);
        },
        [](std::int64_t at_s) {
            return draws({7, 3}, stream::gauge, at_s).noise(0);
        },
    };
    double sum = 0;
    double squares = 0;
    double uniform = 0;
    std::array<double, beside.size()> products{};
    for (int i = 0; i < COUNT; ++i) {
        const double x = here(i).noise(0);
        ASSERT_LT(std::abs(x), 3.6);
        sum += x;
        squares += x * x;
        uniform += here(i).uniform(2);
        for (std::size_t k = 0; k < beside.size(); ++k) products[k] += x * beside[k](i);
    }
    EXPECT_NEAR(sum / COUNT, 0, FOUR_SIGMA);
    EXPECT_NEAR(squares / COUNT, 1, 0.02);
    EXPECT_NEAR(uniform / COUNT, 0.5, FOUR_SIGMA / 3);
    for (std::size_t k = 0; k < beside.size(); ++k) EXPECT_NEAR(products[k] / COUNT, 0, FOUR_SIGMA) << k;
}

}  // namespace lab::phone
