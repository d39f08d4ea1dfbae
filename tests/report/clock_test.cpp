// The page's time: one axis over boots and lost clocks, and the zone's own wall clock on it.

#include <cstdlib>
#include <ctime>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>

#include "lab/report/run_clock.h"
#include "lab/report/zone.h"

namespace {

using lab::run_clock;

constexpr std::int64_t START = 1767225600;

TEST(RunClock, RunsThroughBootsAndTheTimeBetween) {
    run_clock clock;
    EXPECT_EQ(clock.at(1, 0, START), 0);
    EXPECT_EQ(clock.at(1, 3600, START + 3600), 3600);
    EXPECT_EQ(clock.at(1, 3600, START + 3600), 3600);
    // Off for a day; the boot clock begins again, and its first moment seen is 40 s after the start.
    EXPECT_EQ(clock.at(2, 40, START + 90000), 90000);
    EXPECT_EQ(clock.at(2, 100, START + 90060), 90060);
    // A boot clock that goes back stands still on the axis, and goes on from there.
    EXPECT_EQ(clock.at(2, 50, START + 90061), 90060);
    EXPECT_EQ(clock.at(2, 60, START + 90070), 90070);
    EXPECT_EQ(clock.start_real_time_s(), START);
    EXPECT_EQ(clock.stretches().size(), 1U);
}

// The clock was lost at the first boot and set after an hour: the axis shows the time that was right for longer.
TEST(RunClock, TrustsTheWallClockThatLasted) {
    run_clock clock;
    clock.at(1, 0, 100);
    clock.at(1, 3600, 3700);
    EXPECT_EQ(clock.at(1, 3610, START), 3610);
    EXPECT_EQ(clock.at(1, 20000, START + 16390), 20000);
    EXPECT_EQ(clock.start_real_time_s(), START - 3610);
    ASSERT_EQ(clock.stretches().size(), 2U);
    EXPECT_EQ(clock.stretches()[0].offset_s, 100);
    EXPECT_EQ(clock.stretches()[1].t, 3610);
    // Lost again at the next boot: no time passes on the axis that nobody measured.
    EXPECT_EQ(clock.at(2, 0, 5), 20000);
    EXPECT_EQ(clock.at(2, 10, 15), 20010);
}

TEST(RunClock, NeverFallsOnGarbage) {
    constexpr auto LOW = std::numeric_limits<std::int64_t>::min(),
                   HIGH = std::numeric_limits<std::int64_t>::max();
    run_clock clock;
    std::int64_t last = 0, boot = 0;
    for (int i = 0; i < 2000; ++i) {
        for (const std::int64_t reading :
             {LOW, HIGH, std::int64_t{0}, START + 1000000 * i, std::int64_t{-1}}) {
            const std::int64_t now = clock.at(boot += i % 3 == 0 ? 1 : 0, reading, reading / 2 + START);
            ASSERT_GE(now, last);
            last = now;
        }
    }
    EXPECT_LE(clock.stretches().size(), run_clock::MAX_JUMPS + 1);
}

TEST(Zone, ListsEachChangeToTheSecond) {
    setenv("TZ", "America/New_York", 1);
    tzset();
    const auto offsets = lab::zone_offsets(START, START + 366 * 86400);
    ASSERT_EQ(offsets.size(), 3U);
    EXPECT_EQ(offsets[0].offset_s, -5 * 3600);
    EXPECT_EQ(offsets[0].name, "EST");
    EXPECT_EQ(offsets[1].from_s, 1772953200) << "2026-03-08 02:00 EST";
    EXPECT_EQ(offsets[1].name, "EDT");
    EXPECT_EQ(offsets[2].from_s, 1793512800) << "2026-11-01 02:00 EDT";
    EXPECT_EQ(offsets[2].offset_s, -5 * 3600);

    setenv("TZ", "UTC", 1);
    tzset();
    EXPECT_EQ(lab::zone_offsets(START, START + 86400 * 3660).size(), 1U);
    EXPECT_EQ(lab::zone_offsets(START, START).size(), 1U);
}

}  // namespace
