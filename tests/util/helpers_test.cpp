// Queue, fixed-point number, interpolation.

#include <gtest/gtest.h>
#include <limits>

#include "util/big_int.h"
#include "util/interpolate.h"
#include "util/queue.h"
#include "util/sensor_value.h"

namespace {

constexpr std::int32_t LEAST = std::numeric_limits<std::int32_t>::min();

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

}  // namespace
