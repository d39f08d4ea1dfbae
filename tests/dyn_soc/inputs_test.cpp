#include "tests/dyn_soc/estimator.h"
#include "util/sensor_value.h"

namespace {

using namespace dyn_soc;
using test::Estimator;
using lines = std::vector<std::string>;

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

}  // namespace
