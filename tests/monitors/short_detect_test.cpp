#include "monitors/short_detect.h"

#include <gmock/gmock.h>

#include "charge_mgr/charge_mgr.h"
#include "core/sys_properties.h"
#include "tests/support/effects.h"
#include "util/sensor_value.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t UNKNOWN = 0, CHARGING = 1, DISCHARGING = 2, NOT_CHARGING = 3, FULL = 4;

class ShortDetect : public testing::Test {
  protected:
    ShortDetect() {
        test::start_charge_mgr();
        (void)charge_mgr__register_temp_client_prop(0, vorn_pulldown_property_set);
        short_detect__init(2030, 3000, 90, 3000, 450);
    }

    std::int32_t next(std::uint32_t v_mv, std::int32_t i_ma = 1000, std::uint32_t status = CHARGING) {
        now_s += 10;
        return short_detect__update(now_s, status, v_mv, i_ma);
    }
    void charge(std::initializer_list<std::uint32_t> voltages_mv) {
        for (const std::uint32_t v_mv : voltages_mv) EXPECT_EQ(0, next(v_mv));
    }
    // Leaves the active state, if there is one, and gives the records of it.
    std::vector<std::string> leave() {
        told.take();
        now_s += 100;
        next(3000, 0, DISCHARGING);
        return told.take("record");
    }
    static std::string ended(int v_accum_min) {
        return "record short_active_ended v_accum_min=" + std::to_string(v_accum_min) + " v_dip_th=25";
    }

    test::effects told;
    std::uint64_t now_s = 1000;
};

TEST_F(ShortDetect, DerivesItsThresholds) {
    told.take();
    short_detect__init(2030, 3000, 90, 3000, 450);
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 --- vorn SHORT_DETECT Init params: v_dip_thresh=25, curr_dip_thresh=51, "
                            "volt_cutoff=4360"));
    short_detect__init(0, 6000, 100, 3000, 451);  // 103 mA, 51.5 mV, so 3 * 51 mV below the ToC
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 --- vorn SHORT_DETECT Init params: v_dip_thresh=51, curr_dip_thresh=103, "
                            "volt_cutoff=4297"));
    short_detect__init(100000, 100000, 200, 1000, 1000);
    EXPECT_THAT(
        told.take(),
        ElementsAre("log 6 --- vorn SHORT_DETECT Init params: v_dip_thresh=1000, curr_dip_thresh=1000, "
                    "volt_cutoff=0"));
}

TEST_F(ShortDetect, AFallOfTheWholeBudgetIsAFault) {
    charge({4360, 4370, 4380, 4380, 4372, 4365});
    told.take();
    charge({4355});
    EXPECT_THAT(
        told.take(),
        ElementsAre("log 6 --- vorn SHORT_DETECT Fault detected, v=4355, v_max=4380, v_dip_thresh=25, "
                    "sec_since_max=30, curr=1000",
                    "record short_fault_detected v_mv=4355 v_max_mv=4380 v_dip_th_mv=25 sec_since_max=30 "
                    "curr_ma=1000"));
    charge({4300, 4380, 4300});
    EXPECT_THAT(told.take(), IsEmpty()) << "one fault in an active state";

    // With a fault, only an absent charger ends the active state.
    for (int i = 0; i < 20; ++i) next(4390, 0, NOT_CHARGING);
    for (int i = 0; i < 5; ++i) next(4200, -100, DISCHARGING);
    EXPECT_THAT(told.take(), IsEmpty());
    next(4200, -100, DISCHARGING);
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 --- vorn SHORT_DETECT Exit active state, v_accum_min=0, v_dip_th=25",
                            "record short_active_ended v_accum_min=0 v_dip_th=25",
                            "log 6 --- vorn SHORT_DETECT Clearing fault flag, v=4200, v_max=4390, curr=-100",
                            "record short_fault_cleared v_mv=4200 v_max_mv=4390 curr_ma=-100"));
    charge({4380, 4356, 4354});
    EXPECT_EQ(1U, told.take("record short_fault_detected").size())
        << "the next active state has a whole budget";
}

TEST_F(ShortDetect, ArmsAboveTheCutoffAndThenWatchesALittleBelowIt) {
    charge({4360});
    EXPECT_THAT(leave(), IsEmpty());
    charge({4361, 4337});
    EXPECT_THAT(leave(), ElementsAre(ended(1)));
    charge({4350});
    EXPECT_THAT(leave(), IsEmpty()) << "disarmed, the cutoff is the higher one again";
    charge({4361, 4335});  // at the lowered cutoff nothing is watched
    EXPECT_THAT(leave(), ElementsAre(ended(25)));
    for (const std::uint32_t status : {DISCHARGING, NOT_CHARGING, FULL, 5U}) next(4400, 1000, status);
    EXPECT_THAT(leave(), IsEmpty());
}

TEST_F(ShortDetect, ExcusesAVoltageThatFallsWithTheCurrent) {
    next(4400, 1000);
    next(4390, 949);  // a drop of 51 mA
    next(4380, 898);
    next(4370, 0);
    next(4360, -5);
    next(4350, 0);
    EXPECT_THAT(leave(), ElementsAre(ended(25)));
    next(4400, 1000);
    next(4390, 950);
    next(4380, 2000);
    next(4378, 1950);
    EXPECT_THAT(leave(), ElementsAre(ended(3)));
    next(4400, 1);
    next(4378, 1);
    next(4420, 3);  // refills the budget, and no more
    next(4400, 4);
    EXPECT_THAT(leave(), ElementsAre(ended(3)));
}

TEST_F(ShortDetect, EndsAMinuteAfterChargingUnlessThereIsAFault) {
    charge({4400});
    told.take();
    for (int i = 0; i < 5; ++i) next(4400, 0, FULL);
    EXPECT_THAT(told.take(), IsEmpty());
    next(4395, 0, FULL);
    EXPECT_THAT(told.take("record"), ElementsAre(ended(25)));
    // The highest voltage is forgotten before the call takes its own into account.
    charge({4390, 4365});
    EXPECT_THAT(told.take("log"),
                ElementsAre("log 6 --- vorn SHORT_DETECT Fault detected, v=4365, v_max=4395, "
                            "v_dip_thresh=25, sec_since_max=20, curr=1000"));
}

TEST_F(ShortDetect, ADeviceThatSleptWhileArmedIsArmedAgainByTheSameCall) {
    charge({4400, 4390});
    now_s += 60;
    charge({4380});  // leaves, then counts 10 mV against a fresh budget
    EXPECT_THAT(told.take("record"), ElementsAre(ended(15)));
    charge({4376});
    EXPECT_THAT(leave(), ElementsAre(ended(11)));
}

TEST_F(ShortDetect, AnInvalidSampleDisarmsAndBreaksTheSeries) {
    charge({4400, 4390});
    told.take();
    EXPECT_EQ(2, next(4380, 900, UNKNOWN));
    EXPECT_THAT(
        told.take(),
        ElementsAre("log 6 --- vorn SHORT_DETECT Invalid inputs, volt=4380, curr=900",
                    "log 6 --- vorn SHORT_DETECT Exit active state, v_accum_min=15, v_dip_th=25", ended(15)));
    charge({4362});  // the first change after a gap is none
    EXPECT_THAT(leave(), ElementsAre(ended(25)));

    EXPECT_EQ(2, next(INVALID_VALUE));
    charge({4400});
    EXPECT_EQ(2, next(4400, INVALID_VALUE));
    EXPECT_THAT(told.take("record"), ElementsAre(ended(25)));
}

TEST_F(ShortDetect, FollowsTheTopOfCharge) {
    charge({4400, 4390});  // armed: watched above 4335
    (void)charge_mgr__set_temp_toc(4, 0);
    charge({4380, 4170, 4300, 4160});  // 4250 mV less 90: watched above 4160
    EXPECT_EQ(1U, told.take("record short_fault_detected").size());

    (void)charge_mgr__set_temp_toc(0, 0);
    leave();
    (void)charge_mgr__set_temp_toc(4, 0);
    charge({4161});
    EXPECT_THAT(leave(), ElementsAre(ended(25)));
    // A rise of the ToC while armed takes the lowered cutoff away too.
    charge({4200});
    (void)charge_mgr__set_temp_toc(0, 0);
    charge({4355, 4345});
    EXPECT_THAT(leave(), ElementsAre(ended(25)));
}

TEST_F(ShortDetect, ComparesWithTheCutoffWithoutASign) {
    const auto negative = static_cast<std::uint32_t>(-5);
    charge({negative, static_cast<std::uint32_t>(-20)});  // above any cutoff, below any highest voltage
    EXPECT_THAT(leave(), ElementsAre(ended(10)));
    next(static_cast<std::uint32_t>(-5), -100);
    next(2147483, 2147483);  // a current that could not be read arrives as 2147483 mA and is a current
    now_s -= 20;
    told.take();
    next(4400);  // the clock went back: far more than a minute, and a fall of 2143083 mV
    EXPECT_THAT(told.take("record"), ElementsAre(ended(25)));
}

}  // namespace
