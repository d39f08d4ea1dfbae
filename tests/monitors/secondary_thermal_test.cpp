#include "monitors/secondary_thermal.h"

#include <gmock/gmock.h>

#include "tests/support/effects.h"
#include "util/status.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SecondaryThermal : public testing::Test {
  protected:
    SecondaryThermal() { secondary_thermal_detect_init(); }

    void at(std::uint64_t time_s, std::int32_t status, std::int32_t temp_c = 30, std::int64_t i_ma = 2000) {
        now_s = time_s;
        EXPECT_EQ(0, secondary_thermal_detect_main(now_s, status, temp_c, i_ma, 4200));
    }
    void next(std::int32_t temp_c, std::int64_t i_ma = 2000, std::int32_t status = STATUS_CHARGING) {
        at(now_s + 10, status, temp_c, i_ma);
    }
    // A charge from start_s on; the next sample is the first of the first block.
    void charge_through_the_wait(std::uint64_t start_s) {
        at(start_s, STATUS_CHARGING);
        at(start_s + 290, STATUS_CHARGING, 500);
    }
    void block(std::int32_t temp_c) {
        for (int i = 0; i < 6; ++i) next(temp_c);
    }

    test::effects told;
    std::uint64_t now_s = 0;
};

TEST_F(SecondaryThermal, ComparesEachBlockWithTheOneBefore) {
    charge_through_the_wait(1000);
    block(90);  // the first block is compared with nothing
    block(30);
    for (const std::int32_t t : {31, 35, 36, 37, 38, 39}) next(t);  // 216 after 180: one degree too little
    EXPECT_FALSE(get_thermal_flag());
    for (const std::int32_t t : {40, 41, 42, 43, 43}) next(t);
    EXPECT_FALSE(get_thermal_flag());
    next(44, -77);
    EXPECT_TRUE(get_thermal_flag());
    EXPECT_THAT(told.take(),
                ElementsAre("record thermal_event charge_timer_s=530 tsum_prev_c=216 temp_rise_c=37 t0=40 "
                            "t1=41 t2=42 t3=43 t4=43 t5=44 batt_volt_mv=4200 batt_curr_a=-77"));
}

TEST_F(SecondaryThermal, WaitsForFiveMinutesOfContinuousCharging) {
    at(100, STATUS_CHARGING);
    at(390, STATUS_FULL);  // the wait begins again
    at(400, STATUS_CHARGING);
    at(699, STATUS_CHARGING);
    at(700, STATUS_DISCHARGING);
    EXPECT_THAT(told.take(), IsEmpty()) << "a charge that ends while waiting is not reported";
    charge_through_the_wait(1000);
    next(30);  // 300 s: now it is monitored
    at(1310, STATUS_NOT_CHARGING, 30, 1500);
    EXPECT_THAT(told.take(), ElementsAre("record thermal_charge_ended temp_rise_max_c=0 curr_max_ma=1500"))
        << "the current counts from the sample after the first";
}

TEST_F(SecondaryThermal, ReportsTheHighestRiseAndCurrentOfACharge) {
    charge_through_the_wait(0);
    block(40);
    block(35);  // -30
    next(35, 2500);
    for (int i = 0; i < 5; ++i) next(34);  // -5
    next(30, std::int64_t{-100}, STATUS_UNKNOWN);
    EXPECT_THAT(told.take(), ElementsAre("record thermal_charge_ended temp_rise_max_c=-5 curr_max_ma=2500"));

    // Nothing of one charge is left in the next.
    charge_through_the_wait(5000);
    block(80);
    next(30, -300, STATUS_FULL);
    EXPECT_FALSE(get_thermal_flag());
    EXPECT_THAT(told.take(), ElementsAre("record thermal_charge_ended temp_rise_max_c=0 curr_max_ma=2000"));
}

TEST_F(SecondaryThermal, ReleasesOnUnpluggingOrOnceCool) {
    const auto heat_up = [&](std::uint64_t start_s) {
        charge_through_the_wait(start_s);
        block(30);
        block(37);
        EXPECT_TRUE(get_thermal_flag());
        told.take();
    };
    heat_up(0);
    const std::uint64_t event_s = now_s;
    at(event_s + 300, STATUS_NOT_CHARGING, 33);
    at(event_s + 100000, STATUS_NOT_CHARGING, 34);
    at(event_s + 100000, STATUS_UNKNOWN, 34);
    EXPECT_TRUE(get_thermal_flag());
    EXPECT_THAT(told.take(), IsEmpty());
    at(event_s + 100001, STATUS_NOT_CHARGING, 33);
    EXPECT_FALSE(get_thermal_flag());
    EXPECT_THAT(
        told.take(),
        ElementsAre("record thermal_released disable_timer_s=100001 batt_temp_c=33 batt_volt_mv=4200"));

    heat_up(200000);
    next(90, 0, STATUS_DISCHARGING);
    EXPECT_FALSE(get_thermal_flag());
    heat_up(300000);
    at(now_s + 301, STATUS_CHARGING, -40);
    EXPECT_FALSE(get_thermal_flag());
    heat_up(400000);
    at(now_s - 1, STATUS_CHARGING, 33);  // a clock that went back: long ago
    EXPECT_FALSE(get_thermal_flag());
    heat_up(500000);
    secondary_thermal_detect_init();
    EXPECT_FALSE(get_thermal_flag());
}

TEST_F(SecondaryThermal, AFallBeyondTheRangeOfANumberIsARise) {
    charge_through_the_wait(0);
    block(214748364);
    block(-214748364);  // -2576980368, which wraps
    EXPECT_TRUE(get_thermal_flag());
    EXPECT_THAT(told.take().at(0), testing::HasSubstr("tsum_prev_c=1288490184 temp_rise_c=1717986928 "));
}

}  // namespace
