// From a sample to the raw estimate: inputs, curves, counted charge, and what is learnt of the cell.

#include "charge_mgr/charge_mgr.h"
#include "tests/dyn_soc/estimator.h"
#include "util/sensor_value.h"

namespace {

using namespace dyn_soc;
using test::Estimator;

TEST_F(Estimator, TakesSamplesWithinTheirRanges) {
    const dyn_soc_record good = start_running();
    const auto is_valid_with = [&](wrap32 dyn_soc_record::*field, std::int32_t value) {
        dyn_soc_record curr = good;
        curr.virt_temp = INVALID_VALUE;
        curr.*field = value;
        return validate_inputs(curr);
    };
    const auto expect_range = [&](wrap32 dyn_soc_record::*field, std::int32_t min, std::int32_t max) {
        EXPECT_TRUE(is_valid_with(field, min) && is_valid_with(field, max));
        EXPECT_FALSE(is_valid_with(field, min - 1) || is_valid_with(field, max + 1));
        EXPECT_FALSE(is_valid_with(field, INVALID_VALUE));
    };
    expect_range(&dyn_soc_record::volt, 25000, 50000);
    expect_range(&dyn_soc_record::curr_ma, -4000, 4000);
    expect_range(&dyn_soc_record::temp, -300, 800);
    said.take();

    dyn_soc_record curr = good;
    curr.chg_sts = 7;
    EXPECT_TRUE(validate_inputs(curr));
    curr.chg_sts = 0;
    EXPECT_FALSE(validate_inputs(curr));
    EXPECT_EQ(said.take(), lines{"log 6 --- vorn DYN_SOC error: bad charge status input 0 ---"});
}

TEST_F(Estimator, FallsBackToTheThermalZone) {
    dyn_soc_record curr = start_running();
    curr.temp = 801;
    curr.virt_temp = 250;
    EXPECT_TRUE(validate_inputs(curr));
    EXPECT_EQ(curr.temp, 250);
    EXPECT_EQ(said.take(), (lines{"log 6 --- vorn DYN_SOC error: bad temperature input 801 ---",
                                  "log 6 --- vorn DYN_SOC warning: falling back to virtual temp ---"}));
    curr.temp = -301;
    curr.virt_temp = 801;
    EXPECT_FALSE(validate_inputs(curr));
    EXPECT_EQ(curr.temp, -301);
    EXPECT_EQ(said.take(), lines{"log 6 --- vorn DYN_SOC error: bad temperature input -301 ---"});
}

TEST_F(Estimator, SetsOneOutlierAsideWhileCharging) {
    dyn_soc_record curr = start_running();
    const auto average_after = [&](std::int32_t curr_ma) {
        curr.curr_ma = curr_ma;
        update_avg_curr(curr);
        return s.i_avg_ma.value;
    };
    curr.chg_sts = s.prev.chg_sts = 1;
    EXPECT_EQ(average_after(500), 500);
    EXPECT_EQ(average_after(1500), 1000);  // one sample is not yet an average
    EXPECT_EQ(average_after(1251), 1000);  // two are
    EXPECT_EQ(average_after(1250), 1083);  // a quarter above 1000 still counts; (500 + 1500 + 1250) / 3
    EXPECT_EQ(average_after(813), 1015);   // and a quarter below: 1083 - 270
    EXPECT_EQ(average_after(1269), 1015);  // 1015 + 253 is the limit
    EXPECT_EQ(average_after(1000), 1012);  // a good one in between
    EXPECT_EQ(average_after(0), 1012);
    EXPECT_EQ(average_after(1300), 1300);  // two in a row: the new level
    EXPECT_EQ(s.curr_queue.count, 1U);
}

TEST_F(Estimator, AveragesTenCurrentsOfOneStatus) {
    dyn_soc_record curr = start_running();
    for (int i = 1; i <= 12; ++i) {
        curr.curr_ma = -100 * i;  // far apart, yet no outliers while discharging
        update_avg_curr(curr);
    }
    EXPECT_EQ(s.i_avg_ma, -750);  // of the last ten, -300 to -1200
    curr.chg_sts = 3;
    update_avg_curr(curr);
    EXPECT_EQ(s.i_avg_ma, -1200);
}

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
    bool has_changed = false;
    const auto rescaled_at = [&](std::int32_t temp) {
        curr.temp = temp;
        has_changed = rescale_to_limits(curr);
        return curr.soc_scal.value;
    };
    // 4450 and 3400 mV at 50 °C: 94950 and -11100. (50000 + 11100) * 1000 / 1060.
    EXPECT_EQ(rescaled_at(500), 57641);
    EXPECT_TRUE(has_changed);
    EXPECT_EQ(rescaled_at(509), 57641);  // 0.9 °C: as it was
    EXPECT_EQ(s.tocboc_cache[0].temp, 500);
    EXPECT_EQ(rescaled_at(510), 57679);  // 1.0 °C: anew (w = -40: 94910, -11140), yet no new limit
    EXPECT_FALSE(has_changed);
    (void)charge_mgr__set_temp_toc(4, 0);
    EXPECT_EQ(rescaled_at(510), 71258);  // 4250 mV: 74710, 61140 * 1000 / 858
    EXPECT_TRUE(has_changed);

    // A top below the bottom says nothing: the estimate stays as it is, and so does the memory.
    tocboc_lookup& slot = s.tocboc_cache[0];
    const soc_limits limits = look_up_soc_at_toc_boc(34000, 34000, 510, slot);
    EXPECT_EQ(limits.soc_toc, 100000);
    EXPECT_EQ(limits.soc_boc, 0);
    EXPECT_FALSE(limits.have_changed);
    EXPECT_EQ(slot.toc_key, 42500);
}

TEST_F(Estimator, LearnsTheResistanceFromACurrentStep) {
    dyn_soc_record curr = start_running();
    curr.curr_ma = 200;
    curr.volt = s.prev.volt + 100;  // 10 mV over 200 mA: 50 mΩ
    EXPECT_TRUE(adapt_dcr_estimate(curr));
    EXPECT_EQ(curr.dcr_num.whole, 9055);   // 9000 + (20000 - 9000) / 200
    EXPECT_EQ(curr.dcr_den.whole, 10150);  // 10000 + (40000 - 10000) / 200
    EXPECT_EQ(curr.dcr, 892);
    EXPECT_EQ(s.prev.dcr, 900);
}

TEST_F(Estimator, LearnsTheResistanceFromPlausibleStepsOnly) {
    const auto learns_from = [&](std::int32_t from_ma, std::int32_t to_ma, std::int32_t dv) {
        dyn_soc_record curr = start_running();
        s.prev.curr_ma = from_ma;
        curr.curr_ma = to_ma;
        curr.volt = s.prev.volt + dv;
        return adapt_dcr_estimate(curr);
    };
    EXPECT_TRUE(learns_from(-1000, 1000, 902));  // 45.1 mΩ
    EXPECT_FALSE(learns_from(-1000, 1000, 901));
    EXPECT_TRUE(learns_from(-1000, 1000, 3599));  // 179.95 mΩ
    EXPECT_FALSE(learns_from(-1000, 1000, 3600));
    EXPECT_FALSE(learns_from(1000, -1000, 2000));  // the wrong way
    EXPECT_TRUE(learns_from(0, 100, 90));
    EXPECT_TRUE(learns_from(0, -100, -90));
    EXPECT_FALSE(learns_from(0, 99, 90) || learns_from(0, -99, -90));
    EXPECT_FALSE(learns_from(1000, 1000, 90));

    dyn_soc_record curr = start_running();
    s.good_cycles = 5;
    curr.curr_ma = 100;
    curr.volt += 90;
    EXPECT_FALSE(adapt_dcr_estimate(curr));
}

TEST_F(Estimator, KeepsTheResistanceWhereItCannotBeComputed) {
    const auto after_learning_with = [&](std::int32_t num, std::int32_t den) {
        dyn_soc_record curr = start_running();
        s.prev.curr_ma = 99;
        curr.curr_ma = 100;
        curr.volt += 1;
        curr.dcr_num.whole = num;
        curr.dcr_den.whole = den;
        EXPECT_FALSE(adapt_dcr_estimate(curr));
        EXPECT_EQ(curr.dcr, 900);
        return curr;
    };
    EXPECT_EQ(after_learning_with(9000, 0).dcr_num.whole, 8956);  // the filters go on
    EXPECT_EQ(said.take(), lines{"log 6 --- vorn DYN_SOC error: prevented divide by 0 in DCR adapt! ---"});
    EXPECT_EQ(after_learning_with(300000, 10000).dcr_num.whole, 298501);
    EXPECT_EQ(said.take(), lines{"log 6 --- vorn DYN_SOC error: prevented overflow in DCR adapt! ---"});
}

TEST_F(Estimator, LearnsTheCapacityFromChargeAndItsEffect) {
    dyn_soc_record curr = start_running();
    curr.qmax_num.frac = 99000;
    const soc_delta delta = {10, -5000, -18};  // implies 27777 C
    EXPECT_TRUE(adapt_qmax_estimate(delta, curr));
    EXPECT_EQ(curr.qmax_num.whole, 2001);  // 0.99 + (5000 - 2000) / 100000
    EXPECT_EQ(curr.qmax_num.frac, 2000);
    EXPECT_EQ(curr.qmax_den.frac, 1060);  // (1800 - 740) / 100000
    EXPECT_EQ(curr.qmax, 27040);          // 2001 * 10000 / 740

    curr.qmax_den = {0, 0, 100000};
    EXPECT_FALSE(adapt_qmax_estimate(delta, curr));
    EXPECT_EQ(curr.qmax, 27040);
}

TEST_F(Estimator, LearnsTheCapacityOnlyWhileUndisturbed) {
    const auto learns = [&](std::int32_t dt_s, std::int32_t status, std::int32_t good_cycles) {
        dyn_soc_record curr = start_running();
        curr.chg_sts = status;
        s.good_cycles = good_cycles;
        return adapt_qmax_estimate({dt_s, -5000, -18}, curr);
    };
    EXPECT_TRUE(learns(20, 1, 6) && learns(20, 2, 6));
    EXPECT_FALSE(learns(21, 2, 6));
    EXPECT_FALSE(learns(20, 2, 5));
    EXPECT_FALSE(learns(20, 3, 6) || learns(20, 4, 6));
}

// A sample outside 2.7 to 32.4 kC may pull the capacity back into that band, never further out of it.
TEST_F(Estimator, LetsAnImplausibleSampleOnlyPullTheCapacityBack) {
    const auto accepts = [&](std::int32_t charge, std::int32_t change, std::int32_t qmax) {
        dyn_soc_record curr = start_running();
        curr.qmax = qmax;
        return adapt_qmax_estimate({10, charge, change}, curr);
    };
    EXPECT_TRUE(accepts(5000, 0, 32399));
    EXPECT_FALSE(accepts(5000, 0, 32400));
    EXPECT_TRUE(accepts(33000, 100, 32399));  // implies 33000
    EXPECT_FALSE(accepts(33000, 100, 32400));
    EXPECT_TRUE(accepts(32000, 100, 99999));  // implies 32000, within
    EXPECT_TRUE(accepts(2600, 100, 2701));    // implies 2600
    EXPECT_FALSE(accepts(2600, 100, 2700));
    EXPECT_TRUE(accepts(2800, 100, 2000));  // implies 2800, within
}

}  // namespace
