#include "monitors/topoff_ctrl.h"

#include <gmock/gmock.h>

#include "tests/support/effects.h"
#include "util/sensor_value.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t CHARGING = 1, DISCHARGING = 2, NOT_CHARGING = 3, FULL = 4;

class TopoffCtrl : public testing::Test {
  protected:
    TopoffCtrl() { topoff_ctrl__init(200); }

    static void at(std::uint64_t now_s, std::uint32_t status, std::uint32_t v_mv = 4380,
                   std::uint32_t capacity_pct = 100) {
        topoff_ctrl__update(now_s, status, v_mv, capacity_pct);
    }
    // The battery full at 4380 mV at 1000 s.
    void fill() {
        at(990, CHARGING);
        at(1000, FULL);
        told.take();
    }
    bool cleared() { return !told.take().empty(); }

    test::effects told;
};

TEST_F(TopoffCtrl, IsSetByFullAtExactlyAHundredPercent) {
    at(10, FULL, 4380, 99);
    at(20, FULL, 4380, 101);
    at(30, FULL, 4380, INVALID_VALUE);
    at(40, NOT_CHARGING, 4380, 100);
    EXPECT_THAT(told.take(), IsEmpty());
    at(50, FULL);
    EXPECT_THAT(told.take(), ElementsAre("log 6 --- vorn TOPOFF Battery full; setting chg dis flag ---",
                                         "record topoff_set v_mv=4380"));
    at(60, FULL);
    EXPECT_THAT(told.take(), IsEmpty());
    topoff_ctrl__init(200);
    at(70, FULL);
    EXPECT_EQ(2U, told.take().size()) << "a new start begins cleared";
}

TEST_F(TopoffCtrl, ClearsAtTheResetVoltageAndCannotBeSetInTheSameCall) {
    fill();
    at(1010, CHARGING, 4181);
    EXPECT_THAT(told.take(), IsEmpty());
    at(1020, FULL, 4180, 100);
    EXPECT_THAT(told.take(), ElementsAre("log 6 --- vorn TOPOFF Clearing chg dis flag, volt=4180, dur=20 ---",
                                         "record topoff_cleared v_mv=4180 v_reset_mv=4180 dur_s=20"));
    at(1030, FULL, 4180, 100);
    EXPECT_THAT(told.take("record"), ElementsAre("record topoff_set v_mv=4180"));
}

TEST_F(TopoffCtrl, ClearsAMinuteAfterTheChargerWasLastSeen) {
    fill();
    at(1100 - 60, CHARGING);
    for (std::uint64_t now_s = 1050; now_s < 1100; now_s += 10) at(now_s, DISCHARGING);
    at(1099, 0);
    EXPECT_FALSE(cleared());
    at(1100, 7);
    EXPECT_TRUE(cleared());
}

TEST_F(TopoffCtrl, ClearsAfterAPauseBetweenTwoCallsThatSawTheCharger) {
    fill();
    at(1059, NOT_CHARGING);
    at(1060, DISCHARGING);
    at(1118, CHARGING);
    at(1119, DISCHARGING);
    at(1177, DISCHARGING);
    at(2000, CHARGING);  // back after a long sleep, away before it: its absence alone does not clear
    EXPECT_FALSE(cleared());
    at(2059, FULL);
    EXPECT_FALSE(cleared());
    at(2119, CHARGING);
    EXPECT_TRUE(cleared());
}

TEST_F(TopoffCtrl, ComparesVoltagesAndTimesWithoutASign) {
    at(1000, FULL, 100);  // the reset voltage is below 0, which is above any voltage
    at(1010, FULL, 4400, 50);
    EXPECT_THAT(told.take("record"), ElementsAre("record topoff_set v_mv=100",
                                                 "record topoff_cleared v_mv=4400 v_reset_mv=-100 dur_s=10"));
    at(1100, FULL);
    at(1110, CHARGING, static_cast<std::uint32_t>(-1));
    EXPECT_EQ(2U, told.take().size()) << "a negative voltage is a high one: only set, not cleared";
    at(1100, CHARGING);  // a clock that went back looks like a pause
    EXPECT_THAT(told.take("record"), ElementsAre("record topoff_cleared v_mv=4380 v_reset_mv=4180 dur_s=0"));
}

}  // namespace
