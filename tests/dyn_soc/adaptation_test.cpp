#include "tests/dyn_soc/estimator.h"

namespace {

using namespace dyn_soc;
using test::Estimator;

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
    EXPECT_EQ(said.take(), std::vector<std::string>{
                               "log 6 --- vorn DYN_SOC error: prevented divide by 0 in DCR adapt! ---"});
    EXPECT_EQ(after_learning_with(300000, 10000).dcr_num.whole, 298501);
    EXPECT_EQ(said.take(),
              std::vector<std::string>{"log 6 --- vorn DYN_SOC error: prevented overflow in DCR adapt! ---"});
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
