// From the raw estimate to what is shown: landing, smoothing, display, and the records of it.

#include "tests/dyn_soc/estimator.h"
#include "util/sensor_value.h"

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

bool jumps = false;  // by the change that state_after() last made

std::int32_t state_after(dyn_soc_record curr, std::int32_t state, disturbed_by what) {
    charge_steadily(curr);
    curr.landing_state = state;
    if (what == disturbed_by::full) curr.chg_sts = 4;
    if (what == disturbed_by::new_limit) s.tocboc_changed = true;
    if (what == disturbed_by::unplugged) curr.chg_sts = 3;
    if (what == disturbed_by::negative_current) s.i_avg_ma = -1;
    if (what == disturbed_by::few_samples) --s.curr_queue.count;
    jumps = update_landing_state(curr);
    return curr.landing_state;
}

TEST_F(Estimator, LandsOnlyInASteadyCharge) {
    const dyn_soc_record curr = start_running();
    for (const std::int32_t state :
         {LANDING_IDLE, LANDING_ARMED, LANDING_LANDING, LANDING_LANDED, LANDING_FULL, 9}) {
        EXPECT_EQ(state_after(curr, state, disturbed_by::full), LANDING_FULL);
        EXPECT_FALSE(jumps);
        for (const auto what : {disturbed_by::new_limit, disturbed_by::unplugged,
                                disturbed_by::negative_current, disturbed_by::few_samples}) {
            EXPECT_EQ(state_after(curr, state, what), LANDING_IDLE);
            EXPECT_EQ(jumps, state == LANDING_LANDED);
        }
    }
    EXPECT_EQ(state_after(curr, LANDING_IDLE, disturbed_by::nothing), LANDING_ARMED);
    EXPECT_EQ(state_after(curr, LANDING_ARMED, disturbed_by::nothing),
              LANDING_ARMED);  // 50 % is below the threshold
    EXPECT_EQ(state_after(curr, LANDING_LANDED, disturbed_by::nothing), LANDING_LANDED);
    EXPECT_EQ(state_after(curr, LANDING_FULL, disturbed_by::nothing), LANDING_IDLE);
    said.take();
    EXPECT_EQ(state_after(curr, 9, disturbed_by::nothing), LANDING_IDLE);
    EXPECT_EQ(said.take(), lines{"log 6 --- vorn DYN_SOC error: unexpected landing algo state: 9 ---"});
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
    EXPECT_TRUE(update_landing_state(curr));
    EXPECT_EQ(curr.landing_state, LANDING_LANDED);
}

TEST_F(Estimator, TakesStepsOfOnePercentWhileLanding) {
    dyn_soc_record curr = start_running();
    charge_steadily(curr);
    s.toc_slope_temp = 500;
    curr.landing_state = LANDING_LANDING;
    // (1000 - 450) * 900 / 1000 = 495, which hides 495 * 1010 / 100 = 4999 m%.
    curr.soc_act = 95001;
    curr.soc_scal = 96000;
    EXPECT_FALSE(update_toc_landing_algo(curr).jumps);
    EXPECT_EQ(curr.soc_act, 96000);  // not above the line in the cycle before
    EXPECT_TRUE(update_toc_landing_algo(curr).jumps);
    EXPECT_EQ(curr.soc_act, 95000);
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
    const landing_outcome outcome = update_toc_landing_algo(curr);
    EXPECT_EQ(curr.soc_act, 95001);
    EXPECT_TRUE(outcome.has_landed);
    report_landing(curr, outcome.soc_land);
    EXPECT_EQ(said.take(), lines{"record soc_landed soc_scal=96000 soc_land=95001 soc_ext=970 "
                                 "v_mv=4440 i_avg_ma=1000 i_targ_ma=1200 soc_off=-2000"});
    s.prev.landing_state = LANDING_LANDED;
    const auto soc_at = [&](std::int32_t i_avg_ma) {
        s.i_avg_ma = i_avg_ma;
        EXPECT_FALSE(update_toc_landing_algo(curr).has_landed);
        return curr.soc_act.value;
    };
    EXPECT_EQ(soc_at(450), 100000);
    EXPECT_EQ(soc_at(449), 100000);  // 0.9 tenths of a millivolt are none
    EXPECT_EQ(soc_at(448), 93000);   // one is -1010: above 100 %, so what there was
    s.toc_slope = 99;
    EXPECT_EQ(soc_at(448), 100000);
    s.toc_slope = 100;
    EXPECT_EQ(soc_at(448), 93000);

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

// What the smoother shows when soc_act moves on to `soc_act`; the cycle is then the last one.
std::int32_t shown_at(dyn_soc_record& curr, std::int32_t soc_act) {
    curr.soc_act = soc_act;
    update_smoother(curr);
    s.prev = curr;
    curr.time_s += 10;
    return curr.soc_smooth.value;
}

TEST_F(Estimator, MeetsALowerEstimateAfterFiveGapsAtTenPercentAtTheEarliest) {
    dyn_soc_record curr = start_running();
    s.prev.soc_act = 58000;
    s.prev.soc_smooth = 60000;
    s.smoother_jump = true;
    EXPECT_EQ(shown_at(curr, 58000), 60000);
    EXPECT_FALSE(s.smoother_jump);
    EXPECT_EQ(curr.smooth_target, 10000);     // 58000 - 5 * 2000, but 10 % at the most
    EXPECT_EQ(shown_at(curr, 34000), 35000);  // half the way, half the gap
    EXPECT_EQ(shown_at(curr, 10001), 10021);  // 99 % of the way
    EXPECT_EQ(shown_at(curr, 10000), 10000);
    EXPECT_FALSE(curr.smoothing_active);
}

TEST_F(Estimator, MeetsAHigherEstimateAtEmptyAndAnyAtFull) {
    dyn_soc_record curr = start_running();
    s.prev.soc_smooth = 40000;
    s.smoother_jump = true;
    EXPECT_EQ(shown_at(curr, 50000), 40000);
    EXPECT_EQ(curr.smooth_target, 0);
    EXPECT_EQ(shown_at(curr, 25000), 20000);  // -10000 * 50 / 100
    curr.chg_sts = 1;                         // plugged in: goes on from what is shown
    EXPECT_EQ(shown_at(curr, 30000), 20000);
    EXPECT_EQ(curr.smooth_target, 100000);
    EXPECT_EQ(shown_at(curr, 65000), 60000);
    EXPECT_EQ(shown_at(curr, 100000), 100000);
    EXPECT_FALSE(curr.smoothing_active);
}

TEST_F(Estimator, KeepsTheGapWhenTheEstimateTurnsBack) {
    dyn_soc_record curr = start_running();
    s.prev.soc_act = 5000;
    s.prev.soc_smooth = 6000;
    s.smoother_jump = true;
    EXPECT_EQ(shown_at(curr, 5000), 6000);
    EXPECT_EQ(curr.smooth_target, 0);
    EXPECT_EQ(shown_at(curr, 5500), 6500);
    EXPECT_EQ(curr.smooth_from_act, 5500);
    EXPECT_EQ(curr.smooth_target, 500);
    EXPECT_EQ(shown_at(curr, 99500), 100000);  // limited; target 99500 - 5 * 500, so 10 %
    EXPECT_EQ(curr.smooth_from_smooth, 100000);
    EXPECT_EQ(curr.smooth_target, 10000);
}

TEST_F(Estimator, ShowsThePartOfAJumpThatAnIntervalExplains) {
    const auto shown_after = [&](std::uint64_t dt_s, std::int32_t from_act, std::int32_t from_shown,
                                 std::int32_t act) {
        dyn_soc_record curr = start_running();
        curr.time_s = s.prev.time_s + dt_s;
        s.prev.soc_act = from_act;
        s.prev.soc_smooth = from_shown;
        s.smoother_jump = true;
        return shown_at(curr, act);
    };
    EXPECT_EQ(shown_after(53, 50000, 50000, 60000), 50000);   // 53000 / 54000
    EXPECT_EQ(shown_after(108, 50000, 50000, 60000), 50002);  // 5 mA for 108 s
    EXPECT_EQ(shown_after(108, 50000, 50000, 49999), 49999);
    EXPECT_EQ(shown_after(108000, 50000, 50000, 40000), 48000);
    EXPECT_EQ(shown_after(54000, 50000, 1000, 40000), 1000);  // not to 0 and below
    // The clock went back: the interval wraps to a vast one, which explains all of it.
    EXPECT_EQ(shown_after(~std::uint64_t{99}, 50000, 50000, 60000), 60000);
}

TEST_F(Estimator, PassesTheEstimateAtTheEnds) {
    const auto is_smoothed = [&](std::int32_t status, std::int32_t soc_act, std::int32_t shown) {
        dyn_soc_record curr = start_running();
        s.prev.chg_sts = curr.chg_sts = status;
        s.prev.soc_smooth = 50000;
        s.smoother_jump = true;
        EXPECT_EQ(shown_at(curr, soc_act), shown) << status;
        return curr.smoothing_active;
    };
    EXPECT_FALSE(is_smoothed(2, 0, 0) || is_smoothed(3, -500, 0));
    EXPECT_FALSE(is_smoothed(1, 100000, 100000) || is_smoothed(4, 100500, 100000));
    EXPECT_FALSE(is_smoothed(7, 70000, 70000));
    EXPECT_TRUE(s.smoother_jump);  // left for when it matters
    EXPECT_TRUE(is_smoothed(2, 100500, 50000) && is_smoothed(1, -500, 50000));
}

TEST_F(Estimator, DoesNotRestartOnBecomingFull) {
    dyn_soc_record curr = start_running();
    s.prev.chg_sts = 1;
    curr.chg_sts = 4;
    EXPECT_EQ(shown_at(curr, 99000), 99000);
    curr.chg_sts = 1;
    EXPECT_EQ(shown_at(curr, 98000), 99000);
    EXPECT_TRUE(curr.smoothing_active);
}

TEST(DisplaySoc, BeginsAtTheEstimateAndMovesByOnePercent) {
    constexpr std::int32_t nothing = INVALID_VALUE;
    struct {
        std::int32_t soc_smooth, shown, status, next;
    } const cases[] = {
        {1, nothing, 4, 100}, {0, nothing, 4, 0},      {100000, nothing, 3, 99}, {500, nothing, 1, 1},
        {0, nothing, 1, 1},   {42999, nothing, 2, 42}, {0, nothing, 2, 0},       {100000, 42, 1, 43},
        {100000, 98, 1, 99},  {100000, 99, 1, 99},     {42999, 42, 1, 42},       {30000, 42, 1, 42},
        {0, 42, 1, 42},       {41001, 42, 2, 42},      {40999, 42, 2, 41},       {41000, 42, 3, 41},
        {90000, 42, 3, 42},   {0, 42, 3, 0},           {-1, 42, 4, 0},           {1, 42, 4, 43},
        {1, 100, 4, 100},     {1, 42, 9, 42},
    };
    for (const auto& step : cases) {
        EXPECT_EQ(next_display_soc(step.soc_smooth, step.shown, step.status), step.next)
            << step.soc_smooth << " " << step.shown << " " << step.status;
    }
}

TEST_F(Estimator, ReportsDailyAndAtBothEnds) {
    dyn_soc_record curr = start_running();
    const auto is_reported = [&](std::uint64_t time_s, std::int32_t from, std::int32_t to) {
        curr.time_s = time_s;
        s.prev.soc_ui = from;
        curr.soc_ui = to;
        log_params_metric(curr);
        return !said.take().empty();
    };
    EXPECT_TRUE(is_reported(1000, 50, 50));
    EXPECT_FALSE(is_reported(1010, INVALID_VALUE, 2));
    EXPECT_TRUE(is_reported(1020, 3, 2));
    EXPECT_FALSE(is_reported(1030, 3, 2));
    EXPECT_FALSE(is_reported(1030, 2, 1));
    EXPECT_TRUE(is_reported(1040, 97, 98));
    EXPECT_FALSE(is_reported(1050, 98, 99));
    EXPECT_FALSE(is_reported(87399, 50, 50));
    // The daily trigger is due, and the low one fires with it, so it is not due again 20 s later.
    EXPECT_TRUE(is_reported(87420, 3, 2));
    EXPECT_FALSE(is_reported(87440, 3, 2));
    EXPECT_TRUE(is_reported(87440, 97, 98));
    EXPECT_TRUE(is_reported(0, 50, 50));  // a clock that went back is far from any time stamp
}

TEST_F(Estimator, ReportsEverythingItFound) {
    dyn_soc_record curr = start_running();
    s.err_flags = 17;
    s.num_aborts = 3;
    s.chg_sts_time = 400;
    for (int i = 0; i < 14; ++i) vorn_queue__overwrite(&s.soc_past_queue, 60000 + i);
    curr.soc_ext = 500;
    curr.soc_act = 49000;
    const std::string before =
        "record soc_parameters soc_v=50000 soc_c=50000 soc_raw=50000 soc_scal=50000 soc_ext=500 "
        "soc_act=49000 soc_smooth=50000 soc_past=";
    const std::string after =
        " soc_ui=50 chg_sts=2 chg_sts_sec=610 dcr=900 qmax=27000 vend=ATL err_flags=17 num_aborts=3";
    log_params_metric(curr);
    EXPECT_EQ(said.take(), lines{before + "-1" + after});
    vorn_queue__overwrite(&s.soc_past_queue, 60014);
    s.last_daily_metric = INVALID_VALUE;
    log_params_metric(curr);
    EXPECT_EQ(said.take(), lines{before + "60000" + after});
}

}  // namespace
