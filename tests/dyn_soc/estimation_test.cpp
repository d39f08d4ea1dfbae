#include "tests/dyn_soc/estimator.h"

namespace {

using namespace dyn_soc;
using test::Estimator;

// With the straight cell: 100000 - (45000 - v) * 10.1 at 50 °C, and 1010 more per colder curve.
TEST_F(Estimator, ReadsTheCurves) {
    start();
    EXPECT_EQ(soc_from_curves(45000, 500), 100000);
    EXPECT_EQ(soc_from_curves(40000, 500), 49500);
    EXPECT_EQ(soc_from_curves(40000, 250), 50510);
    EXPECT_EQ(soc_from_curves(40000, 370), 50025);   // w = 13 / 25 = 520: 49500 + 525.2
    EXPECT_EQ(soc_from_curves(40000, 379), 50025);   // whole degrees
    EXPECT_EQ(soc_from_curves(40000, 600), 49096);   // w = -400: 49500 - 404
    EXPECT_EQ(soc_from_curves(40000, -250), 55055);  // k = 3, w = 2500: 49500 + 3030 + 2525
    EXPECT_EQ(soc_from_curves(45500, 500), 105050);
    EXPECT_EQ(soc_from_curves(34900, 500), -2010);
    EXPECT_EQ(calc_soc_vs_ocv(40000, 500), 1010);
}

TEST_F(Estimator, BlendsCountedChargeAndVoltage) {
    dyn_soc_record curr = start_running();
    s.prev.curr_ma = -500;
    s.prev.soc_c = curr.soc_c = {0, 50000, 10000};
    curr.curr_ma = -1000;
    curr.volt = 39500;
    curr.dcr = 700;  // learnt in this cycle; the estimate uses what was known before
    curr.qmax = 5;
    soc_delta delta = {};
    update_soc_estimate(curr, delta);
    EXPECT_EQ(delta.dt_s, 10);
    EXPECT_EQ(delta.dq_mas, -7500);  // mean of -500 and -1000 mA for 10 s
    // Drop: 90 mΩ * -1000 mA = -90 mV, so measured +4000 (1/100 of 0.1 mV: 40000). Counted: -7500 * 10000 /
    // 27000 = -2777, on a slope of 1010 that predicts -274. Half the sum: 19863, that is 198 tenths of a
    // millivolt.
    EXPECT_EQ(curr.ocv, 40198);
    EXPECT_EQ(curr.ocv_avg, 40198);
    EXPECT_EQ(curr.soc_v, 51500);
    // 50000 - 27.77, then 10/10000 of 51500 - 49973.
    EXPECT_EQ(curr.soc_c.whole, 49973);
    EXPECT_EQ(curr.soc_c.frac, 7570);
    EXPECT_EQ(curr.soc_raw, 50278);  // 80 % of 49973, 20 % of 51500
    EXPECT_EQ(curr.soc_min, 50000);
    EXPECT_EQ(curr.soc_max, 50278);
    EXPECT_EQ(delta.dsoc, 0);  // no new minimum
}

TEST_F(Estimator, TrustsThePredictionForTwentySeconds) {
    struct {
        std::uint64_t dt_s;
        std::int32_t dq_mas;
        std::int32_t ocv;
    } const cases[] = {
        {19, -14250, 40197},  // counted -5277, predicts -522: (40000 - 522) / 2 = 19739
        {20, 100, 40200},     // 5 mA while asleep, predicts 3
        {21, 105, 40400},     // measured alone
    };
    for (const auto& expected : cases) {
        dyn_soc_record curr = start_running();
        s.prev.curr_ma = -500;
        curr.curr_ma = -1000;
        curr.volt = 39500;
        curr.time_s = s.prev.time_s + expected.dt_s;
        soc_delta delta = {};
        update_soc_estimate(curr, delta);
        EXPECT_EQ(delta.dq_mas, expected.dq_mas) << expected.dt_s;
        EXPECT_EQ(curr.ocv, expected.ocv) << expected.dt_s;
    }
}

// No time passes and no current flows, so the open-circuit voltage is the voltage and the count stays.
TEST_F(Estimator, TrustsTheVoltageNearEmpty) {
    struct {
        std::int32_t volt;
        std::int32_t soc_v;
        std::int32_t soc_raw;
    } const cases[] = {
        {36090, 10009, 50001},  // 80 % of 60000
        {36089, 9999, 49499},   // 9999 / 125 = 79 %
        {35600, 5060, 27036},   // 40 %
        {34900, 0, 0},          // 2010 below empty
    };
    for (const auto& expected : cases) {
        dyn_soc_record curr = start_running();
        s.prev.soc_c.whole = curr.soc_c.whole = 60000;
        s.prev.ocv = curr.volt = expected.volt;
        curr.time_s = s.prev.time_s;
        soc_delta delta = {};
        update_soc_estimate(curr, delta);
        EXPECT_EQ(curr.soc_v, expected.soc_v);
        EXPECT_EQ(curr.soc_raw, expected.soc_raw);
    }
}

TEST_F(Estimator, RestartsTheCountWhenFullOrAfterALongGap) {
    const auto counted = [&](std::uint64_t dt_s, std::int32_t status, std::int32_t state) {
        dyn_soc_record curr = start_running();
        vorn_queue__overwrite(&s.ocv_queue, 30000);  // forgotten with a change of status and a long gap
        s.dyn_soc_state = state;
        s.prev.soc_c.whole = curr.soc_c.whole = 10;
        s.prev.chg_sts = 2;
        curr.chg_sts = status;
        curr.time_s = s.prev.time_s + dt_s;
        soc_delta delta = {};
        update_soc_estimate(curr, delta);
        return std::pair(curr.soc_c.whole == curr.soc_v, curr.ocv_avg.value);
    };
    EXPECT_EQ(counted(10, 2, STATE_RUNNING), std::pair(false, 35000));
    EXPECT_EQ(counted(10, 4, STATE_RUNNING), std::pair(true, 40000));
    EXPECT_EQ(counted(10, 1, STATE_RUNNING), std::pair(false, 40000));
    EXPECT_EQ(counted(26999, 2, STATE_RUNNING), std::pair(false, 35000));
    EXPECT_EQ(counted(27000, 2, STATE_RUNNING), std::pair(true, 40000));  // the capacity, as seconds
    EXPECT_EQ(counted(10, 2, STATE_FIRST_CYCLE), std::pair(true, 35000));
}

TEST_F(Estimator, LearnsFromNewExtremesOnly) {
    const auto change = [&](std::int32_t status, std::int32_t volt) {
        dyn_soc_record curr = start_running();
        s.prev.chg_sts = curr.chg_sts = status;
        s.prev.soc_min = 45000;
        s.prev.soc_max = 55000;
        s.prev.ocv = curr.volt = volt;
        curr.time_s = s.prev.time_s;
        soc_delta delta = {};
        update_soc_estimate(curr, delta);
        return delta.dsoc.value;
    };
    // 4.2 V is 69700: soc_raw 53940. 3.7 V is 19200: 43840. 4.3 V is 79800: 55960.
    EXPECT_EQ(change(2, 42000), 0);
    EXPECT_EQ(change(2, 37000), -1160);
    EXPECT_EQ(change(1, 42000), 0);
    EXPECT_EQ(change(1, 43000), 960);
    EXPECT_EQ(change(3, 42000), 3940);  // against the last value, not an extreme
}

TEST_F(Estimator, RemembersTheLimitsItLookedUp) {
    dyn_soc_record curr = start_running();
    curr.soc_pre_scal = 50000;
    const auto rescaled_at = [&](std::int32_t temp) {
        s.tocboc_changed = s.smoother_jump = false;
        curr.temp = temp;
        rescale_to_limits(curr);
        return curr.soc_scal.value;
    };
    // 4450 and 3400 mV at 50 °C: 94950 and -11100. (50000 + 11100) * 1000 / 1060.
    EXPECT_EQ(rescaled_at(500), 57641);
    EXPECT_TRUE(s.tocboc_changed && s.smoother_jump);
    EXPECT_EQ(rescaled_at(509), 57641);  // 0.9 °C: as it was
    EXPECT_EQ(s.tocboc_cache[0].temp, 500);
    EXPECT_EQ(rescaled_at(510), 57679);  // 1.0 °C: anew (w = -40: 94910, -11140), yet no new limit
    EXPECT_FALSE(s.tocboc_changed || s.smoother_jump);
    set_toc_step(4);
    EXPECT_EQ(rescaled_at(510), 71258);  // 4250 mV: 74710, 61140 * 1000 / 858
    EXPECT_TRUE(s.tocboc_changed && s.smoother_jump);

    // A top below the bottom says nothing: the estimate stays as it is, and so does the memory.
    tocboc_lookup& slot = s.tocboc_cache[0];
    const auto [soc_toc, soc_boc] = look_up_soc_at_toc_boc(34000, 34000, 510, slot);
    EXPECT_EQ(std::pair(soc_toc.value, soc_boc.value), std::pair(100000, 0));
    EXPECT_EQ(slot.toc_key, 42500);
}

}  // namespace
