#include "monitors/n_day_pulldown.h"

#include <gmock/gmock.h>

#include "charge_mgr/charge_mgr.h"
#include "core/sys_properties.h"
#include "tests/support/effects.h"
#include "util/status.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using virtual_device::the_device;

constexpr std::uint64_t DAY = 86400;
constexpr std::uint64_t HOUR = 3600;

class NDayPulldown : public testing::Test {
  protected:
    NDayPulldown() {
        test::start_charge_mgr();
        EXPECT_EQ(0, n_day_pulldown_init(4000, vorn_pulldown_property_set));
        told.take();
    }
    static std::uint32_t at(std::uint64_t now_s, std::int32_t status, std::int32_t v_mv = 4100,
                            std::uint32_t mock_s = 0) {
        return n_day_pulldown_main(now_s, status, v_mv, mock_s);
    }
    std::vector<std::string> records() { return told.take("record"); }
    static std::int32_t step() { return charge_mgr__get_temp_toc_step(0); }

    test::effects told;
};

TEST_F(NDayPulldown, LowersTheVoltageAfterMoreThanSevenDays) {
    at(10, STATUS_CHARGING);
    at(10 + 7 * DAY, STATUS_NOT_CHARGING);
    EXPECT_THAT(records(), ElementsAre("record pulldown_daily pulldown_timer_s=604800 pulldown_flag=0"));
    EXPECT_EQ(0, step());
    EXPECT_EQ(0U, at(10 + 7 * DAY + 1, STATUS_FULL));
    EXPECT_EQ(4, step());
    EXPECT_EQ("4250", the_device().properties[PULLDOWN_PROPERTY]);
    EXPECT_THAT(records(),
                ElementsAre("record pulldown_applied pulldown_timer_s=604801 chg_sts=4 batt_volt_mv=4100"));
    at(10 + 7 * DAY + 20, STATUS_FULL);
    EXPECT_THAT(records(), IsEmpty()) << "applied once";
    at(10 + 8 * DAY, STATUS_FULL);
    EXPECT_THAT(records(), ElementsAre("record pulldown_daily pulldown_timer_s=691200 pulldown_flag=1"));

    at(10 + 8 * DAY + 10, STATUS_CHARGING, 4000);
    EXPECT_THAT(records(), ElementsAre("record pulldown_watch_ended pulldown_timer_s=691210 "
                                       "discharge_timer_s=0 chg_sts=1 batt_volt_mv=4000"));
    EXPECT_EQ(0, step());
    EXPECT_EQ("4450", the_device().properties[PULLDOWN_PROPERTY]);
}

TEST_F(NDayPulldown, StartsOnlyWhileChargingOrFullAboveTheThreshold) {
    for (const std::int32_t status : {STATUS_UNKNOWN, STATUS_DISCHARGING, STATUS_NOT_CHARGING, 5})
        at(10, status);
    at(10, STATUS_CHARGING, 4000);
    at(10, STATUS_FULL, -4100);
    at(10 + 30 * DAY, STATUS_NOT_CHARGING);
    EXPECT_THAT(records(), IsEmpty()) << "an active watch would have reported a day";
    at(10 + 30 * DAY, STATUS_FULL, 4001);
    at(10 + 31 * DAY, STATUS_NOT_CHARGING, 4001);
    EXPECT_EQ(1U, records().size());
}

TEST_F(NDayPulldown, ATestThresholdAppliesSooner) {
    at(100, STATUS_CHARGING);
    at(160, STATUS_CHARGING, 4100, 60);
    EXPECT_EQ(0, step());
    at(161, STATUS_CHARGING, 4100, 60);
    EXPECT_EQ(4, step());
    at(170, STATUS_CHARGING, 3900);
    // A threshold beyond seven days puts nothing off; one that was negative is such a threshold.
    at(1000, STATUS_CHARGING);
    at(1000 + 7 * DAY + 1, STATUS_CHARGING, 4100, static_cast<std::uint32_t>(-60));
    EXPECT_EQ(4, step());
}

TEST_F(NDayPulldown, TheChargerMayBeAwayForLessThanAnHour) {
    at(0, STATUS_CHARGING);
    at(1000, STATUS_DISCHARGING);
    at(1000 + HOUR - 1, STATUS_UNKNOWN);
    at(1000 + HOUR - 1, STATUS_NOT_CHARGING);
    at(5000, STATUS_DISCHARGING);  // the hour counts anew
    at(5000 + HOUR - 1, STATUS_DISCHARGING);
    EXPECT_THAT(records(), IsEmpty());
    at(5000 + HOUR, STATUS_DISCHARGING);
    EXPECT_THAT(records(), ElementsAre("record pulldown_watch_ended pulldown_timer_s=8600 "
                                       "discharge_timer_s=3600 chg_sts=2 batt_volt_mv=4100"));
    at(2 * DAY, STATUS_NOT_CHARGING);
    EXPECT_THAT(records(), IsEmpty()) << "the watch has ended";
}

TEST_F(NDayPulldown, ADeviceBackAfterASleepOfAnHourStartsAgain) {
    at(0, STATUS_CHARGING);
    at(7 * DAY + 1, STATUS_CHARGING);
    at(7 * DAY + 10, STATUS_DISCHARGING);
    records();
    at(7 * DAY + 10 + HOUR, STATUS_NOT_CHARGING);
    EXPECT_THAT(told.take(), ElementsAre("record pulldown_watch_ended pulldown_timer_s=608410 "
                                         "discharge_timer_s=3600 chg_sts=3 batt_volt_mv=4100",
                                         "log 4 --- vorn CHG_MGR New ToC request: step=0, temp_id=0 ---",
                                         "set vendor.vorn.pulldown_toc=4450",
                                         "log 4 --- vorn CHG_MGR New ToC setting: v=4450 ---",
                                         "set persist.vendor.vorn.toc=4450"));
    // The new watch runs from that cycle, even in the status Not charging.
    at(14 * DAY + 10 + HOUR, STATUS_NOT_CHARGING);
    EXPECT_EQ(0, step());
    at(14 * DAY + 11 + HOUR, STATUS_NOT_CHARGING);
    EXPECT_EQ(4, step());
}

TEST_F(NDayPulldown, RepeatsARefusedRequestAndAFailedWithdrawal) {
    the_device().fail_property_set(PULLDOWN_PROPERTY, true);
    at(0, STATUS_CHARGING);
    EXPECT_EQ(1U, at(61, STATUS_CHARGING, 4100, 60));
    EXPECT_EQ(1U, at(71, STATUS_CHARGING, 4100, 60));
    EXPECT_EQ(2U, records().size());
    at(75, STATUS_CHARGING, 3900);
    EXPECT_THAT(told.take("set"), IsEmpty()) << "nothing was requested, nothing is withdrawn";

    the_device().fail_property_set(PULLDOWN_PROPERTY, false);
    at(80, STATUS_CHARGING);
    EXPECT_EQ(0U, at(141, STATUS_CHARGING, 4100, 60));
    EXPECT_EQ(4, step());
    the_device().fail_property_set(PULLDOWN_PROPERTY, true);
    at(150, STATUS_CHARGING, 3900);
    EXPECT_EQ(4, step());
    the_device().fail_property_set(PULLDOWN_PROPERTY, false);
    told.take();
    at(160, STATUS_CHARGING);
    at(230, STATUS_CHARGING, 4100, 60);
    EXPECT_THAT(told.take(), IsEmpty()) << "the request is still in force and not repeated";
    at(240, STATUS_CHARGING, 3900);
    EXPECT_EQ(0, step()) << "withdrawn with the next watch";
}

TEST_F(NDayPulldown, PutsRightARequestThatOthersHaveChanged) {
    (void)charge_mgr__set_temp_toc(2, 0);
    at(0, STATUS_CHARGING);
    at(10, STATUS_CHARGING, 3900);
    EXPECT_EQ(0, step());

    at(100, STATUS_CHARGING);
    at(161, STATUS_CHARGING, 4100, 60);
    (void)charge_mgr__set_temp_toc(0, 0);
    at(171, STATUS_CHARGING, 4100, 60);
    EXPECT_EQ(0, step()) << "not in the same watch";
    at(180, STATUS_CHARGING, 3900);
    at(200, STATUS_CHARGING);
    at(261, STATUS_CHARGING, 4100, 60);
    EXPECT_EQ(4, step());
}

TEST_F(NDayPulldown, ATimeThatGoesBackwardIsFarInTheFuture) {
    at(1000, STATUS_CHARGING);
    at(990, STATUS_CHARGING);
    EXPECT_THAT(
        records(),
        ElementsAre(
            "record pulldown_daily pulldown_timer_s=18446744073709551606 pulldown_flag=0",
            "record pulldown_applied pulldown_timer_s=18446744073709551606 chg_sts=1 batt_volt_mv=4100"));
}

TEST_F(NDayPulldown, HandsOnAFailedRegistrationAndWatchesAllTheSame) {
    at(0, STATUS_CHARGING);
    at(61, STATUS_CHARGING, 4100, 60);
    EXPECT_EQ(5, n_day_pulldown_init(-1, [](std::int32_t) { return 5; }));
    told.take();
    at(100 * DAY, STATUS_NOT_CHARGING);
    EXPECT_THAT(told.take(), IsEmpty()) << "idle again";
    at(0, STATUS_CHARGING, 0);
    at(DAY, STATUS_CHARGING, 0);
    EXPECT_EQ(1U, records().size()) << "0 mV is above a threshold of -1 mV";
}

}  // namespace
