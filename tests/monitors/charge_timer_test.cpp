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

std::int32_t failures = 0;       // what the counter file holds
std::int32_t export_result = 0;  // what writing it gives

class ChargeTimer : public testing::Test {
  protected:
    ChargeTimer() { start(); }

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
    // Ends a charge period begun at start_s, one minute from now_s on, and gives its records.
    std::vector<std::string> end(std::uint64_t now_s, std::int32_t soc_pct = 50) {
        at(now_s, STATUS_DISCHARGING, 0, soc_pct);
        at(now_s + 60, STATUS_DISCHARGING, 0, soc_pct);
        return told.take();
    }
    // The deadline, seconds after the start, of a period that sees one current and state of charge.
    std::string threshold_s(std::uint64_t start_s, std::int64_t current_ua, std::int32_t soc_pct) {
        at(start_s, STATUS_CHARGING, current_ua, soc_pct);
        const std::string line = end(start_s + 10).at(0);
        const std::size_t begin = line.find("threshold_s=") + 12;
        return line.substr(begin, line.find(';', begin) - begin);
    }

    test::effects told;
};

TEST_F(ChargeTimer, EstimatesTheDeadlineInSinglePrecision) {
    EXPECT_EQ("15930", threshold_s(1000, TWO_AMPERE, 50));
    EXPECT_EQ("8640", threshold_s(2000, TWO_AMPERE, 95));
    EXPECT_EQ("8640", threshold_s(3000, 1000, 96));
    EXPECT_EQ("8640", threshold_s(4000, 2147483647, 94)) << "an estimate of a fraction of a second";
    // Exact arithmetic gives 9003 and 27040.
    EXPECT_EQ("9004", threshold_s(0, 8011000, 86));
    EXPECT_EQ("27039", threshold_s(0, 1620000, 3));
    // The current loses what is below a milliampere.
    EXPECT_EQ(threshold_s(0, 1620000, 3), threshold_s(0, 1620999, 3));
    // After 578 days a second is lost in the sum: single precision counts in fours there.
    EXPECT_EQ("15927", threshold_s(50000001, TWO_AMPERE, 50));
}

TEST_F(ChargeTimer, LimitsTheDeadlineToBetweenOneAndTwentyHours) {
    EXPECT_EQ("72000", threshold_s(100, 1000, 0));
    EXPECT_EQ("0", threshold_s(200, 999, 0)) << "no deadline from less than 1 mA";
    EXPECT_EQ("0", threshold_s(300, -TWO_AMPERE, 0));
    EXPECT_EQ("72000", threshold_s(400, TWO_AMPERE, std::numeric_limits<std::int32_t>::min()));
    EXPECT_EQ("8640", threshold_s(500, TWO_AMPERE, INVALID_VALUE - 1));

    start(0, 7500, 0);
    EXPECT_EQ("3600", threshold_s(100, 1000, 95));
    start(0, 7500, 3601);
    EXPECT_EQ("3601", threshold_s(100, 1000, 95));
    start(0, std::numeric_limits<std::uint32_t>::max(), std::numeric_limits<std::uint32_t>::max());
    EXPECT_EQ("72000", threshold_s(100, 1000, 0));
}

TEST_F(ChargeTimer, ANewLowOfTheCurrentMovesTheDeadline) {
    at(0, STATUS_CHARGING, 3000000, 20);
    EXPECT_THAT(end(10), ElementsAre(testing::HasSubstr("threshold_s=16740;")));

    at(1000, STATUS_CHARGING, 3000000, 20);
    at(1600, STATUS_CHARGING, 3000000, 40);  // no lower: stays
    at(1610, STATUS_CHARGING, 4000000, 40);
    at(1620, STATUS_CHARGING, 999, 40);         // no charge current at all
    at(1630, STATUS_CHARGING, TWO_AMPERE, 95);  // lower, but nothing is left to estimate
    EXPECT_THAT(end(1640),
                ElementsAre("record charge_period_ended charge_timer_s=700;IN,threshold_s=16740;IN,"
                            "discharge_timer_s=60;IN,min_curr_ua=3000000;IN,final_soc=50;IN,ver=10;SY"));

    at(2000, STATUS_CHARGING, 3000000, 20);
    at(2600, STATUS_CHARGING, 1500000, 40);  // 20520 s from here
    EXPECT_THAT(end(2610),
                ElementsAre("record charge_period_ended charge_timer_s=670;IN,threshold_s=21120;IN,"
                            "discharge_timer_s=60;IN,min_curr_ua=1500000;IN,final_soc=50;IN,ver=10;SY"));

    // A period that began without a current gets its deadline with the first one, in both cases.
    at(3000, STATUS_CHARGING, 0, 99);
    at(3100, STATUS_CHARGING, 1000, 99);
    EXPECT_THAT(end(3110),
                ElementsAre("record charge_period_ended charge_timer_s=170;IN,threshold_s=8740;IN,"
                            "discharge_timer_s=60;IN,min_curr_ua=9223372036854775807;IN,final_soc=50;IN,"
                            "ver=10;SY"));
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
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 --- vorn setting charge fail counter to 5 ---",
                            "record charge_timer_expired charge_timer_s=15931;IN,threshold_s=15930;IN,"
                            "min_curr_ua=2000000;IN,final_soc=94;IN,ver=10;SY"));
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
                ElementsAre("record charge_timer_expired charge_timer_s=72010;IN,threshold_s=72000;IN,"
                            "min_curr_ua=9223372036854775807;IN,final_soc=50;IN,ver=10;SY"));
    EXPECT_THAT(end(80000),
                ElementsAre("record charge_period_ended charge_timer_s=80050;IN,threshold_s=0;IN,"
                            "discharge_timer_s=60;IN,min_curr_ua=9223372036854775807;IN,final_soc=50;IN,"
                            "ver=10;SY"));
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
                ElementsAre("record charge_period_ended charge_timer_s=101060;IN,threshold_s=0;IN,"
                            "discharge_timer_s=60;IN,min_curr_ua=9223372036854775807;IN,final_soc=51;IN,"
                            "ver=10;SY"));
    // That call began the next period.
    EXPECT_THAT(end(101070), ElementsAre(testing::HasSubstr("charge_timer_s=70;IN,threshold_s=15768;")));
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
    EXPECT_THAT(told.take("record"),
                ElementsAre("record charge_timer_expired charge_timer_s=25010;IN,threshold_s=24989;IN,"
                            "min_curr_ua=2000000;IN,final_soc=50;IN,ver=10;SY"));
}

TEST_F(ChargeTimer, ATimeThatGoesBackwardIsFarInTheFuture) {
    at(1000, STATUS_CHARGING);
    at(1010, STATUS_DISCHARGING);
    at(1000, STATUS_CHARGING);
    EXPECT_THAT(told.take(),
                ElementsAre("record charge_period_ended charge_timer_s=0;IN,threshold_s=15930;IN,"
                            "discharge_timer_s=18446744073709551606;IN,min_curr_ua=2000000;IN,"
                            "final_soc=50;IN,ver=10;SY"));
}

}  // namespace
