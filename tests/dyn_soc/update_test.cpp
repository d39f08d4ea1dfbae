#include <cstring>
#include <random>

#include "dyn_soc/dyn_soc.h"
#include "tests/dyn_soc/estimator.h"
#include "util/sensor_value.h"

namespace {

using namespace dyn_soc;
using test::Estimator;
using test::reading;
using test::update;
using lines = std::vector<std::string>;

TEST(DynSoc, NeedsBatteryParameters) {
    test::effects said;
    EXPECT_EQ(update({}), DYN_SOC_NOT_INITIALISED);
    EXPECT_EQ(dyn_soc__init(nullptr, nullptr), 1);
    EXPECT_EQ(said.take(), lines{"log 6 --- vorn DYN_SOC error: invalid battery info! ---"});
    EXPECT_EQ(s.err_flags, ERR_NO_BATT_INFO);
    EXPECT_EQ(update({}), DYN_SOC_NO_RESULT);
    EXPECT_TRUE(said.take().empty());
}

TEST_F(Estimator, BeginsWithTheFirstSample) {
    start();
    said.take();
    // 4 V at 500 mA into 90 mΩ: 3.955 V open-circuit, 50 less 4.545 %.
    EXPECT_EQ(update({.elapsed_s = 7, .current_ua = 500000, .thermal_mc = INVALID_VALUE, .status = 1}),
              DYN_SOC_UPDATED);
    EXPECT_EQ(s.dyn_soc_state, STATE_RUNNING);
    EXPECT_EQ(s.prev.curr_ma, 500);
    EXPECT_EQ(s.prev.virt_temp, INVALID_VALUE);
    EXPECT_EQ(s.prev.soc_ext, 500);
    EXPECT_EQ(s.prev.ocv, 39550);
    EXPECT_EQ(s.prev.soc_v, 44955);
    EXPECT_EQ(s.prev.soc_c.whole, 44955);
    EXPECT_EQ(s.prev.soc_scal, 52882);  // (44955 + 11100) * 1000 / 1060
    EXPECT_EQ(s.prev.soc_smooth, 52882);
    EXPECT_EQ(s.prev.soc_ui, 52);
    EXPECT_TRUE(s.smoother_jump);  // from the first look-up of the limits
    EXPECT_FALSE(s.tocboc_changed);
    EXPECT_EQ(s.good_cycles, 1);
    EXPECT_EQ(said.take("record").size(), 1U);
}

TEST_F(Estimator, DropsACycleThatItCannotUse) {
    start();
    for (std::uint64_t i = 0; i < 5; ++i)
        update({.elapsed_s = 10 * i});  // four since the last in the history
    EXPECT_EQ(s.cycle_count, 1);
    said.take();
    const dyn_soc_record before = s.prev;
    EXPECT_EQ(update({.elapsed_s = 50, .current_ua = INVALID_VALUE, .status = 3}), DYN_SOC_BAD_INPUT);
    EXPECT_EQ(said.take(), (lines{"log 6 --- vorn DYN_SOC error: bad current input 2147483647 ---",
                                  "log 6 --- vorn DYN_SOC error: invalid inputs ---"}));
    EXPECT_EQ(std::memcmp(&before, &s.prev, sizeof before), 0);
    EXPECT_EQ(s.num_aborts, 1U);
    EXPECT_EQ(s.err_flags, ERR_PARAMS_READ | ERR_BAD_INPUTS);
    EXPECT_EQ(s.good_cycles, 0);
    EXPECT_EQ(s.chg_sts_time, 50U);  // the new status is noted all the same, here and until a cycle succeeds
    update({.elapsed_s = 60, .voltage_uv = 0, .status = 3});
    EXPECT_EQ(s.chg_sts_time, 60U);
    EXPECT_EQ(s.soc_past_queue.count, 1U);
    update({.elapsed_s = 70, .voltage_uv = 0});
    EXPECT_EQ(s.soc_past_queue.count, 2U);  // abandoned cycles count for the history
    EXPECT_EQ(vorn_queue__peek(&s.soc_past_queue), s.prev.soc_smooth);
    EXPECT_EQ(s.ocv_queue.count, 5U);
}

// A sample before the first good one does not leave anything behind that the next would start from.
TEST_F(Estimator, BeginsAnewUntilASampleIsGood) {
    start();
    EXPECT_EQ(update({.elapsed_s = 5, .voltage_uv = 2000000, .status = 1}), DYN_SOC_BAD_INPUT);
    EXPECT_EQ(s.dyn_soc_state, STATE_FIRST_CYCLE);
    EXPECT_EQ(update({.elapsed_s = 500, .thermal_mc = 25099}), DYN_SOC_UPDATED);
    EXPECT_EQ(s.prev.virt_temp, 250);
    EXPECT_EQ(s.prev.ocv, 40000);
    EXPECT_EQ(s.prev.soc_c.whole, 49500);
    EXPECT_EQ(s.chg_sts_time, 0U);
}

TEST_F(Estimator, CountsGoodCyclesFromTheLastDisturbance) {
    start();
    const auto good_cycles_after = [](const reading& seen) {
        update(seen);
        return s.good_cycles.value;
    };
    EXPECT_EQ(good_cycles_after({.elapsed_s = 0}), 1);
    EXPECT_EQ(good_cycles_after({.elapsed_s = 20}), 2);
    EXPECT_EQ(good_cycles_after({.elapsed_s = 41}), 1);  // a gap of more than 20 s
    EXPECT_EQ(good_cycles_after({.elapsed_s = 41}), 2);
    EXPECT_EQ(good_cycles_after({.elapsed_s = 40}), 1);  // back in time
    EXPECT_EQ(good_cycles_after({.elapsed_s = 50}), 2);
    EXPECT_EQ(good_cycles_after({.elapsed_s = 60, .status = 3}), 1);
    EXPECT_EQ(s.chg_sts_time, 60U);
}

// Any reading, any stored word, any time: the sanitizers and the display's range are the judges.
TEST_F(Estimator, SurvivesAnyInput) {
    std::mt19937 random(20240611);
    const auto any = [&] { return static_cast<std::int32_t>(random()); };
    const auto near = [&](std::int32_t middle, std::int32_t reach) {
        return std::uniform_int_distribution(middle - reach, middle + reach)(random);
    };
    const auto one_in = [&](unsigned n) { return random() % n == 0; };
    for (int run = 0; run < 300; ++run) {
        start({{1, any() >> (random() % 32), any() >> (random() % 32), any() >> (random() % 32),
                any() >> (random() % 32)}});
        if (one_in(2)) s.battery = batt_info__get();
        std::uint64_t elapsed_s = 0;
        std::int32_t status = 2;
        for (int cycle = 0; cycle < 200; ++cycle) {
            elapsed_s += one_in(20) ? static_cast<std::uint64_t>(any()) << (random() % 33) : 10;
            if (one_in(20)) status = near(2, 3);
            if (one_in(50)) set_toc_step(static_cast<std::uint8_t>(random() % 10));
            const bool is_wild = one_in(10);
            const std::int32_t result = update(
                {elapsed_s, is_wild ? any() : near(3800000, 700000), is_wild ? any() : near(0, 4000000),
                 is_wild ? any() : near(250, 600), any(), is_wild ? any() : status, any()});
            EXPECT_TRUE(result >= DYN_SOC_UPDATED && result <= DYN_SOC_BAD_INPUT);
            EXPECT_TRUE(s.dyn_soc_state == STATE_FIRST_CYCLE || (s.prev.soc_ui >= 0 && s.prev.soc_ui <= 100));
        }
    }
}

}  // namespace
