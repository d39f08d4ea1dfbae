#include "util/arith.h"

#include <cmath>
#include <gtest/gtest.h>

namespace {

constexpr std::int32_t LEAST = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t GREATEST = std::numeric_limits<std::int32_t>::max();

TEST(Arith, WrapsAtTheWidthOfItsType) {
    EXPECT_EQ(arith::add(GREATEST, 1), LEAST);
    EXPECT_EQ(arith::sub(LEAST, 1), GREATEST);
    EXPECT_EQ(arith::mul(65536, 65536), 0);
    EXPECT_EQ(arith::mul(46341, 46341), -2147479015);  // 2147488281 - 2^32
    EXPECT_EQ(arith::sub(std::uint64_t{5}, std::uint64_t{7}), 0xFFFFFFFFFFFFFFFEU);
    EXPECT_EQ(arith::abs(LEAST), LEAST);
    EXPECT_EQ(arith::abs(-7), 7);
    EXPECT_EQ(arith::low32(std::int64_t{4294967297}), 1);
    EXPECT_EQ(arith::low32(std::uint64_t{0x80000000U}), LEAST);
}

TEST(Arith, DividesTowardZeroAndNeverTraps) {
    EXPECT_EQ(arith::div(-7, 2), -3);
    EXPECT_EQ(arith::div(7, -2), -3);
    EXPECT_EQ(arith::div(7, 0), 0);
    EXPECT_EQ(arith::div(LEAST, -1), LEAST);
    EXPECT_EQ(arith::div(std::numeric_limits<std::int64_t>::min(), std::int64_t{-1}),
              std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(arith::div(7U, 0U), 0U);
}

// The edges of each range, in both widths: the greatest float below a power of two converts, the power
// itself is limited.
TEST(Arith, ConvertsFloatsAsArmDoes) {
    EXPECT_EQ(arith::to_integer<std::int32_t>(2147483520.0F), 2147483520);
    EXPECT_EQ(arith::to_integer<std::int32_t>(2147483648.0F), GREATEST);
    EXPECT_EQ(arith::to_integer<std::int32_t>(-2147483648.0F), LEAST);
    EXPECT_EQ(arith::to_integer<std::int32_t>(-2147483904.0F), LEAST);
    EXPECT_EQ(arith::to_integer<std::int32_t>(2147483647.9), GREATEST);
    EXPECT_EQ(arith::to_integer<std::int32_t>(-2147483648.9), LEAST);
    EXPECT_EQ(arith::to_integer<std::int32_t>(-0.99F), 0);
    EXPECT_EQ(arith::to_integer<std::int32_t>(std::nanf("")), 0);
    EXPECT_EQ(arith::to_integer<std::uint32_t>(-0.99F), 0U);
    EXPECT_EQ(arith::to_integer<std::uint32_t>(-1.0F), 0U);
    EXPECT_EQ(arith::to_integer<std::uint32_t>(4294967040.0F), 4294967040U);
    EXPECT_EQ(arith::to_integer<std::uint32_t>(4294967296.0F), 4294967295U);
    EXPECT_EQ(arith::to_integer<std::int64_t>(9223372036854775808.0),
              std::numeric_limits<std::int64_t>::max());
    EXPECT_EQ(arith::to_integer<std::int64_t>(-HUGE_VAL), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(arith::to_integer<std::uint64_t>(18446742974197923840.0F), 18446742974197923840U);
    EXPECT_EQ(arith::to_integer<std::uint64_t>(18446744073709551616.0F), 18446744073709551615U);
}

}  // namespace
