#include "tests/dyn_soc/estimator.h"

namespace {

using namespace dyn_soc;
using test::Estimator;

// Sets a steady charge up: five currents, an average of 1000 mA.
void charge_steadily(dyn_soc_record& curr) {
    curr.chg_sts = 1;
    vorn_queue__init(&s.curr_queue, CURR_SAMPLES);
    for (int i = 0; i < 5; ++i) vorn_queue__overwrite(&s.curr_queue, 1000);
    s.i_avg_ma = 1000;
    s.toc_slope = 1010;
    s.tocboc_changed = false;
}

enum class disturbed_by { nothing, full, new_limit, unplugged, negative_current, few_samples };

std::int32_t state_after(dyn_soc_record curr, std::int32_t state, disturbed_by what) {
    charge_steadily(curr);
    curr.landing_state = state;
    if (what == disturbed_by::full) curr.chg_sts = 4;
    if (what == disturbed_by::new_limit) s.tocboc_changed = true;
    if (what == disturbed_by::unplugged) curr.chg_sts = 3;
    if (what == disturbed_by::negative_current) s.i_avg_ma = -1;
    if (what == disturbed_by::few_samples) --s.curr_queue.count;
    s.smoother_jump = false;
    update_landing_state(curr);
    return curr.landing_state;
}

TEST_F(Estimator, LandsOnlyInASteadyCharge) {
    const dyn_soc_record curr = start_running();
    for (const std::int32_t state :
         {LANDING_IDLE, LANDING_ARMED, LANDING_LANDING, LANDING_LANDED, LANDING_FULL, 9}) {
        EXPECT_EQ(state_after(curr, state, disturbed_by::full), LANDING_FULL);
        EXPECT_FALSE(s.smoother_jump);
        for (const auto what : {disturbed_by::new_limit, disturbed_by::unplugged,
                                disturbed_by::negative_current, disturbed_by::few_samples}) {
            EXPECT_EQ(state_after(curr, state, what), LANDING_IDLE);
            EXPECT_EQ(s.smoother_jump, state == LANDING_LANDED);
        }
    }
    EXPECT_EQ(state_after(curr, LANDING_IDLE, disturbed_by::nothing), LANDING_ARMED);
    EXPECT_EQ(state_after(curr, LANDING_ARMED, disturbed_by::nothing),
              LANDING_ARMED);  // 50 % is below the threshold
    EXPECT_EQ(state_after(curr, LANDING_LANDED, disturbed_by::nothing), LANDING_LANDED);
    EXPECT_EQ(state_after(curr, LANDING_FULL, disturbed_by::nothing), LANDING_IDLE);
    said.take();
    EXPECT_EQ(state_after(curr, 9, disturbed_by::nothing), LANDING_IDLE);
    EXPECT_EQ(said.take(),
              std::vector<std::string>{"log 6 --- vorn DYN_SOC error: unexpected landing algo state: 9 ---"});
}

TEST_F(Estimator, StartsTheLandingAboveItsThreshold) {
    dyn_soc_record curr = start_running();
    charge_steadily(curr);
    curr.landing_state = LANDING_ARMED;
    // 900 * 2550 / 1000 = 2295 tenths of a millivolt hide 23179 m% on a slope of 1010.
    curr.soc_scal = 95000 - 23179;
    update_landing_state(curr);
    EXPECT_EQ(curr.landing_state, LANDING_ARMED);
    curr.soc_scal += 1;
    curr.soc_off = -3000;  // of an earlier landing
    s.i_avg_ma = 1009;
    update_landing_state(curr);
    EXPECT_EQ(curr.landing_state, LANDING_LANDING);
    EXPECT_EQ(curr.i_targ_ma, 807);  // 80 %
    EXPECT_EQ(curr.soc_off, 0);
    s.i_avg_ma = 807;
    update_landing_state(curr);
    EXPECT_EQ(curr.landing_state, LANDING_LANDING);
    s.i_avg_ma = 806;
    update_landing_state(curr);
    EXPECT_EQ(curr.landing_state, LANDING_LANDED);
    EXPECT_TRUE(s.smoother_jump);
}

TEST_F(Estimator, TakesStepsOfOnePercentWhileLanding) {
    dyn_soc_record curr = start_running();
    charge_steadily(curr);
    s.toc_slope_temp = 500;
    curr.landing_state = LANDING_LANDING;
    // (1000 - 450) * 900 / 1000 = 495, which hides 495 * 1010 / 100 = 4999 m%.
    curr.soc_act = 95001;
    curr.soc_scal = 96000;
    update_toc_landing_algo(curr);
    EXPECT_EQ(curr.soc_act, 96000);  // not above the line in the cycle before
    EXPECT_FALSE(s.smoother_jump);
    update_toc_landing_algo(curr);
    EXPECT_EQ(curr.soc_act, 95000);
    EXPECT_TRUE(s.smoother_jump);
    update_toc_landing_algo(curr);
    EXPECT_EQ(curr.soc_off, -1000);
}

TEST_F(Estimator, FollowsTheCurrentOnceLanded) {
    dyn_soc_record curr = start_running();
    charge_steadily(curr);
    s.toc_slope_temp = 500;
    s.prev.landing_state = curr.landing_state = LANDING_LANDING;
    s.prev.soc_scal = 96000;
    s.prev.soc_act = 93000;
    curr.i_targ_ma = 1200;
    curr.soc_ext = 970;
    curr.soc_off = -2000;
    curr.volt = 44405;
    update_toc_landing_algo(curr);
    EXPECT_EQ(curr.soc_act, 95001);
    EXPECT_EQ(said.take(),
              std::vector<std::string>{
                  "record soc_landed soc_scal=96000;IN,soc_land=95001;IN,soc_ext=970;IN,v_mv=4440;IN,"
                  "i_avg_ma=1000;IN,i_targ_ma=1200;IN,soc_off=-2000;IN,ver=11;SY"});
    s.prev.landing_state = LANDING_LANDED;
    const auto soc_at = [&](std::int32_t i_avg_ma) {
        s.i_avg_ma = i_avg_ma;
        update_toc_landing_algo(curr);
        return curr.soc_act.value;
    };
    EXPECT_EQ(soc_at(450), 100000);
    EXPECT_EQ(soc_at(449), 100000);  // 0.9 tenths of a millivolt are none
    EXPECT_EQ(soc_at(448), 93000);   // one is -1010: above 100 %, so what there was
    s.toc_slope = 99;
    EXPECT_EQ(soc_at(448), 100000);
    s.toc_slope = 100;
    EXPECT_EQ(soc_at(448), 93000);
    EXPECT_TRUE(said.take().empty());

    curr.chg_sts = 4;
    update_toc_landing_algo(curr);
    EXPECT_EQ(curr.soc_act, 100000);
}

TEST_F(Estimator, TakesTheSlopeNearTheTopWhileLanding) {
    dyn_soc_record curr = start_running();
    charge_steadily(curr);
    s.toc_slope = 7;
    s.toc_slope_temp = 500;
    curr.temp = 510;
    update_toc_landing_algo(curr);  // idle before: not needed yet
    EXPECT_EQ(s.toc_slope, 7);
    curr.temp = 509;
    update_toc_landing_algo(curr);
    EXPECT_EQ(s.toc_slope, 7);
    curr.temp = 510;
    update_toc_landing_algo(curr);
    EXPECT_EQ(s.toc_slope, 1010);
    EXPECT_EQ(s.toc_slope_temp, 510);
}

}  // namespace
