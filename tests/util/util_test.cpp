// Arithmetic that wraps, the queue, the fixed-point number, interpolation, and the records.

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <string>

#include "platform/virtual/device.h"
#include "util/arith.h"
#include "util/big_int.h"
#include "util/interpolate.h"
#include "util/metrics.h"
#include "util/queue.h"
#include "util/sensor_value.h"

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

// The divisor is read where the compiler cannot see it: it would fold the quotient that traps.
TEST(Arith, DividesTowardZeroAndNeverTraps) {
    const volatile std::int32_t minus_one = -1;
    EXPECT_EQ(arith::div(-7, 2), -3);
    EXPECT_EQ(arith::div(7, -2), -3);
    EXPECT_EQ(arith::div(7, 0), 0);
    EXPECT_EQ(arith::div(LEAST, std::int32_t{minus_one}), LEAST);
    EXPECT_EQ(arith::div(std::numeric_limits<std::int64_t>::min(), std::int64_t{minus_one}),
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

TEST(Queue, KeepsTheLastSamplesAndTheirSum) {
    vorn_queue queue;
    vorn_queue__init(&queue, 6);
    EXPECT_EQ(vorn_queue__get_avg(&queue), 0);
    EXPECT_EQ(vorn_queue__peek(&queue), INVALID_VALUE);
    for (std::int32_t i = 1; i <= 6; ++i) EXPECT_TRUE(vorn_queue__push(&queue, 10 * i));
    EXPECT_TRUE(vorn_queue__is_full(&queue));
    EXPECT_FALSE(vorn_queue__push(&queue, 70));
    EXPECT_EQ(queue.sum, 210);

    // Twice around the ring: what stays is always the last six.
    for (std::int32_t i = 7; i <= 18; ++i) {
        EXPECT_TRUE(vorn_queue__overwrite(&queue, 10 * i));
        EXPECT_EQ(vorn_queue__peek(&queue), 10 * (i - 5));
        EXPECT_EQ(queue.sum, 10 * (6 * i - 15));
    }
    vorn_queue__init(&queue, 0);
    EXPECT_FALSE(vorn_queue__overwrite(&queue, 1));
}

TEST(Queue, AveragesTowardZeroAndWraps) {
    vorn_queue queue;
    vorn_queue__init(&queue, 15);
    vorn_queue__push(&queue, -3);
    vorn_queue__push(&queue, 0);
    EXPECT_EQ(vorn_queue__get_avg(&queue), -1);

    vorn_queue__init(&queue, 15);
    vorn_queue__push(&queue, INVALID_VALUE);
    vorn_queue__push(&queue, 1);
    EXPECT_EQ(queue.sum, LEAST);
    EXPECT_EQ(vorn_queue__get_avg(&queue), LEAST / 2);
}

void expect_big_int(big_int found, big_int expected) {
    EXPECT_EQ(found.frac, expected.frac);
    EXPECT_EQ(found.whole, expected.whole);
    EXPECT_EQ(found.base, expected.base);
}

TEST(BigInt, CarriesBothWays) {
    expect_big_int(add_to_big_int({900, 2, 0}, 1000, 250), {150, 3, 1000});
    expect_big_int(add_to_big_int({900, 2, 0}, 1000, -2900), {0, 0, 1000});
    expect_big_int(add_to_big_int({0, 0, 0}, 1000, -1500), {-500, -1, 1000});
    expect_big_int(add_to_big_int({0, 0, 0}, 1000, 999), {999, 0, 1000});
    expect_big_int(add_to_big_int({0, 0, 0}, 1000, -1000), {0, -1, 1000});
    // 999 + 2147483647 wraps to -2147482650.
    expect_big_int(add_to_big_int({999, 5, 0}, 1000, INVALID_VALUE), {-650, -2147477, 1000});
}

TEST(BigInt, LimitsWhereTheFractionAloneIsBelow) {
    expect_big_int(apply_min_max_to_big_int({-500, 0, 1000}, 1000, 0, 100000), {0, 0, 1000});
    expect_big_int(apply_min_max_to_big_int({10, 100000, 1000}, 1000, 0, 100000), {0, 100000, 1000});
    expect_big_int(apply_min_max_to_big_int({-5, 3, 1000}, 1000, 0, 100000), {-5, 3, 1000});
    expect_big_int(apply_min_max_to_big_int({5, -1, 1000}, 1000, 0, 100000), {0, 0, 1000});
}

TEST(Interpolate, FindsAValueAndExtrapolatesBeyondTheEnds) {
    const std::int32_t table[] = {100, 80, 60, 40, 20};
    EXPECT_EQ(interpolate_for_index(table, 1, 5, 100, 1000), 0);
    EXPECT_EQ(interpolate_for_index(table, 1, 5, 80, 1000), 1000);
    EXPECT_EQ(interpolate_for_index(table, 1, 5, 70, 1000), 1500);
    EXPECT_EQ(interpolate_for_index(table, 1, 5, 20, 1000), 4000);
    EXPECT_EQ(interpolate_for_index(table, 1, 5, 120, 1000), -1000);
    EXPECT_EQ(interpolate_for_index(table, 1, 5, 10, 1000), 4500);
    EXPECT_EQ(interpolate_for_index(table, 2, 3, 30, 100), 175);  // entries 100, 60, 20

    const std::int32_t flat[] = {50, 50, 50};
    EXPECT_EQ(interpolate_for_index(flat, 1, 3, 60, 1000), 0);
    EXPECT_EQ(interpolate_for_index(flat, 1, 3, 40, 1000), 1000);

    // (2147483647 - 100) * 1000 wraps to -101000: worked out modulo 2^32, then / -20.
    EXPECT_EQ(interpolate_for_index(table, 1, 5, INVALID_VALUE, 1000), 5050);
}

struct written {
    int buffer = 0;
    int priority = 0;
    std::string tag;
    std::string text;
};

written emit(void (*record)()) {
    written result;
    auto& told = virtual_device::the_device().told;
    told.context = &result;
    told.metric = [](void* context, int buffer, int priority, const char* tag, const char* text) {
        *static_cast<written*>(context) = {buffer, priority, tag, text};
    };
    record();
    told = {};
    return result;
}

TEST(Metrics, WrapsThePayloadInItsEnvelope) {
    const written result = emit([] { EMIT_RECORD(stress_entry_rejected, 8, 10, 43800.5); });
    EXPECT_EQ(result.buffer, 8);
    EXPECT_EQ(result.priority, 5);
    EXPECT_EQ(result.tag, "vorn");
    EXPECT_EQ(result.text,
              "lx6wwu6k:rsw5/2/03330401:100:_deviceId=;SY,_softwareVersion=;SY,_platform=;SY,_model=;SY,"
              "_deviceType=;SY,_countryOfResidence=;SY,v=8;IN,t=10;IN,val=43800.500000;FL,ver=12;SY:NA");
}

// The payload is cut first, then the record: beyond that the region code no longer fits.
TEST(Metrics, CutsPayloadAndRecord) {
    const auto print = [](int length) {
        vorn_ostrel_metrics_log_print(5, "vorn", "g", "s", "f", "R", "%0*d", length, 0);
    };
    static int length = 0;
    const auto emitted = [&](int with) {
        length = with;
        static const auto print_it = print;
        return emit([] { print_it(length); }).text;
    };
    const std::size_t around = std::string("g:s:f:").size() + std::string(METRICS_DEVICE_PREFIX).size() + 2;
    const int longest_whole = static_cast<int>(1023 - around);
    EXPECT_TRUE(emitted(longest_whole).ends_with("0:R"));
    EXPECT_EQ(emitted(longest_whole).size(), 1023U);
    EXPECT_TRUE(emitted(longest_whole + 1).ends_with("0:"));
    EXPECT_TRUE(emitted(2000).ends_with("00"));
    EXPECT_EQ(emitted(2000).size(), 1023U);
}

}  // namespace
