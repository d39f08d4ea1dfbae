#include "monitors/charge_timer.h"

#include <gmock/gmock.h>
#include <limits>

#include "tests/support/effects.h"
#include "util/sensor_value.h"
#include "util/status.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int64_t TWO_AMPERE = 2000000;
constexpr char NO_CURRENT[] = "9223372036854775807";

std::int32_t failures = 0;       // what the counter file holds
std::int32_t export_result = 0;  // what writing it gives

class ChargeTimer : public testing::Test {
  protected:
    ChargeTimer() {
        failures = export_result = 0;
        start();
    }

    void start(std::uint32_t margin_pct = 20, std::uint32_t capacity_mah = 7500,
               std::uint32_t base_time_s = 7200) {
        charge_timer_init(
            margin_pct, 95, capacity_mah, base_time_s,
            [](std::int32_t count) {
                failures = count;
                return export_result;
            },
            [] { return failures; });
    }
    static std::uint32_t at(std::uint64_t now_s, std::int32_t status, std::int64_t current_ua = TWO_AMPERE,
                            std::int32_t soc_pct = 50) {
        return charge_timer_main(now_s, status, current_ua, soc_pct);
    }
    // Ends a charge period, one minute from now_s on, and gives its record.
    std::string end(std::uint64_t now_s) {
        told.take();
        at(now_s, STATUS_DISCHARGING, 0);
        at(now_s + 60, STATUS_DISCHARGING, 0);
        return told.take().at(0);
    }
    static std::string ended(int timer_s, int threshold_s, const std::string& min_curr_ua) {
        return "record charge_period_ended charge_timer_s=" + std::to_string(timer_s) +
               " threshold_s=" + std::to_string(threshold_s) +
               " discharge_timer_s=60 min_curr_ua=" + min_curr_ua + " final_soc=50";
    }
    // The deadline, seconds after the start, of a period that sees one current and state of charge.
    int threshold_s(std::uint64_t start_s, std::int64_t current_ua, std::int32_t soc_pct) {
        at(start_s, STATUS_CHARGING, current_ua, soc_pct);
        const std::string line = end(start_s + 10);
        return std::stoi(line.substr(line.find("threshold_s=") + 12));
    }

    test::effects told;
};

TEST_F(ChargeTimer, EstimatesTheDeadlineInSinglePrecision) {
    const struct {
        std::uint64_t start_s;
        std::int64_t current_ua;
        std::int32_t soc_pct;
        int threshold_s;
    } cases[] = {
        {1000, TWO_AMPERE, 50, 15930},
        {2000, TWO_AMPERE, 95, 8640},
        {3000, 1000, 96, 8640},
        // An estimate of a fraction of a second; two for which exact arithmetic gives 9003 and 27040; a current
        // loses what is below a milliampere.
        {4000, 2147483647, 94, 8640},
        {0, 8011000, 86, 9004},
        {0, 1620000, 3, 27039},
        {0, 1620999, 3, 27039},
        // After 578 days a second is lost in the sum: single precision counts in fours there.
        {50000001, TWO_AMPERE, 50, 15927},
        // The limit of 20 hours, and less than 1 mA, which gives no deadline.
        {100, 1000, 0, 72000},
        {200, 999, 0, 0},
        {300, -TWO_AMPERE, 0, 0},
        {400, TWO_AMPERE, std::numeric_limits<std::int32_t>::min(), 72000},
        {500, TWO_AMPERE, INVALID_VALUE - 1, 8640}};
    for (const auto& c : cases)
        EXPECT_EQ(c.threshold_s, threshold_s(c.start_s, c.current_ua, c.soc_pct)) << c.current_ua;
    constexpr std::uint32_t greatest = std::numeric_limits<std::uint32_t>::max();
    start(0, 7500, 0);
    EXPECT_EQ(3600, threshold_s(100, 1000, 95));
    start(0, 7500, 3601);
    EXPECT_EQ(3601, threshold_s(100, 1000, 95));
    start(0, greatest, greatest);
    EXPECT_EQ(72000, threshold_s(100, 1000, 0));
}

TEST_F(ChargeTimer, ANewLowOfTheCurrentMovesTheDeadline) {
    at(0, STATUS_CHARGING, 3000000, 20);
    EXPECT_EQ(end(10), ended(70, 16740, "3000000"));

    at(1000, STATUS_CHARGING, 3000000, 20);
    at(1600, STATUS_CHARGING, 3000000, 40);  // no lower: stays
    at(1610, STATUS_CHARGING, 4000000, 40);
    at(1620, STATUS_CHARGING, 999, 40);         // no charge current at all
    at(1630, STATUS_CHARGING, TWO_AMPERE, 95);  // lower, but nothing is left to estimate
    EXPECT_EQ(end(1640), ended(700, 16740, "3000000"));

    at(2000, STATUS_CHARGING, 3000000, 20);
    at(2600, STATUS_CHARGING, 1500000, 40);  // 20520 s from here
    EXPECT_EQ(end(2610), ended(670, 21120, "1500000"));

    // A period that began without a current gets its deadline with the first one, in both cases.
    at(3000, STATUS_CHARGING, 0, 99);
    at(3100, STATUS_CHARGING, 1000, 99);
    EXPECT_EQ(end(3110), ended(170, 8740, NO_CURRENT));
}

TEST_F(ChargeTimer, ExpiresStrictlyAfterTheDeadline) {
    failures = 4;
    EXPECT_EQ(0U, at(100, STATUS_CHARGING));
    EXPECT_EQ(0U, at(100 + 15930, STATUS_CHARGING, TWO_AMPERE, 94));
    EXPECT_FALSE(get_chargetimer_disable_flag());
    EXPECT_THAT(told.take(), IsEmpty());

    EXPECT_EQ(0U, at(100 + 15931, STATUS_CHARGING, TWO_AMPERE, 94));
    EXPECT_TRUE(get_chargetimer_disable_flag());
    EXPECT_EQ(5, failures);
    EXPECT_THAT(told.take(), ElementsAre("log 6 --- vorn setting charge fail counter to 5 ---",
                                         "record charge_timer_expired charge_timer_s=15931 threshold_s=15930 "
                                         "min_curr_ua=2000000 final_soc=94"));
    at(100000, STATUS_CHARGING);
    EXPECT_THAT(told.take(), IsEmpty()) << "once per charge period";
}

TEST_F(ChargeTimer, ExpiresAfterTwentyHoursWithoutACurrent) {
    at(10, STATUS_CHARGING, 0);
    at(10 + 72000, STATUS_CHARGING, 0);
    EXPECT_FALSE(get_chargetimer_disable_flag());
    at(10 + 72010, STATUS_CHARGING, 0);
    EXPECT_TRUE(get_chargetimer_disable_flag());
    EXPECT_THAT(told.take("record"),
                ElementsAre("record charge_timer_expired charge_timer_s=72010 threshold_s=72000 "
                            "min_curr_ua=9223372036854775807 final_soc=50"));
    EXPECT_EQ(end(80000), ended(80050, 0, NO_CURRENT));
}

TEST_F(ChargeTimer, CountsFailuresOnFromWhatTheFileHolds) {
    struct {
        std::int32_t stored, next;
    } const cases[] = {
        {0, 1}, {INVALID_VALUE - 1, INVALID_VALUE}, {INVALID_VALUE, 1}, {-1, 1}, {-2147483647 - 1, 1}};
    for (const auto& c : cases) {
        start();
        failures = c.stored;
        at(0, STATUS_CHARGING, 0);
        at(72001, STATUS_CHARGING, 0);
        EXPECT_EQ(c.next, failures);
    }
    start();
    export_result = 1;
    at(0, STATUS_CHARGING, 0);
    EXPECT_EQ(1U, at(72001, STATUS_CHARGING, 0));
    EXPECT_TRUE(get_chargetimer_disable_flag()) << "a counter that cannot be written stops no expiry";
}

TEST_F(ChargeTimer, DropsTheFlagWhenTheChargerWasAwayForAMinute) {
    at(0, STATUS_CHARGING, 0);
    at(72001, STATUS_CHARGING, 0);
    told.take();
    for (const std::int32_t present : {STATUS_NOT_CHARGING, STATUS_FULL, STATUS_CHARGING}) at(90000, present);
    at(100000, STATUS_UNKNOWN);
    at(100059, STATUS_NOT_CHARGING);  // replugged within the minute
    at(100500, STATUS_CHARGING);
    EXPECT_TRUE(get_chargetimer_disable_flag());
    at(101000, STATUS_DISCHARGING);
    at(101059, STATUS_DISCHARGING);
    EXPECT_TRUE(get_chargetimer_disable_flag());
    EXPECT_THAT(told.take(), IsEmpty());

    at(101060, STATUS_CHARGING, TWO_AMPERE, 51);
    EXPECT_FALSE(get_chargetimer_disable_flag());
    EXPECT_THAT(told.take(),
                ElementsAre("record charge_period_ended charge_timer_s=101060 threshold_s=0 "
                            "discharge_timer_s=60 min_curr_ua=9223372036854775807 final_soc=51"));
    // That call began the next period.
    EXPECT_EQ(end(101070), ended(70, 15768, "2000000"));
}

TEST_F(ChargeTimer, AnInterruptionOfLessThanAMinuteContinuesThePeriod) {
    at(0, STATUS_CHARGING, 3000000);
    at(9000, STATUS_FULL);
    at(9010, STATUS_NOT_CHARGING);
    at(9059, STATUS_CHARGING, TWO_AMPERE, 50);  // resumes, with a new low: 15930 s from here
    at(9059 + 15931, STATUS_FULL);              // past the deadline, but not charging
    at(9059 + 15941, STATUS_CHARGING);          // resuming does not look at the deadline,
    EXPECT_FALSE(get_chargetimer_disable_flag());
    at(9059 + 15951, STATUS_CHARGING);  // the next call does
    EXPECT_TRUE(get_chargetimer_disable_flag());
    EXPECT_THAT(told.take("record"), ElementsAre("record charge_timer_expired charge_timer_s=25010 "
                                                 "threshold_s=24989 min_curr_ua=2000000 final_soc=50"));
}

TEST_F(ChargeTimer, ATimeThatGoesBackwardIsFarInTheFuture) {
    at(1000, STATUS_CHARGING);
    at(1010, STATUS_DISCHARGING);
    at(1000, STATUS_CHARGING);
    EXPECT_THAT(told.take(),
                ElementsAre("record charge_period_ended charge_timer_s=0 threshold_s=15930 "
                            "discharge_timer_s=18446744073709551606 min_curr_ua=2000000 final_soc=50"));
}

}  // namespace
