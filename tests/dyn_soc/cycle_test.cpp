// The life of the estimator: its parameter file, its cycles, and whatever may come.

#include <cstring>
#include <random>

#include "charge_mgr/charge_mgr.h"
#include "tests/dyn_soc/estimator.h"
#include "util/sensor_value.h"

namespace {

using namespace dyn_soc;
using test::Estimator;
using test::reading;
using test::update;

TEST_F(Estimator, StartsFromDefaultsWithoutAUsableFile) {
    struct {
        std::optional<words> file_words;
        std::string says;
    } const cases[] = {
        {{}, " error: failed to read params from file---"},
        {words{}, ": file version mismatch: got 0 expected 1; discarding data ---"},
        {words{2, 9000, 10000, 2000, 740}, ": file version mismatch: got 2 expected 1; discarding data ---"},
    };
    for (const auto& file_case : cases) {
        start(file_case.file_words);
        EXPECT_EQ(said.take().back(), "log 6 --- vorn DYN_SOC" + file_case.says);
        EXPECT_EQ(s.err_flags, ERR_PARAMS_READ);
        EXPECT_EQ(s.prev.dcr, 900);
        EXPECT_EQ(s.prev.qmax, 27000);
        EXPECT_EQ(s.written_dcr, 0);
        EXPECT_EQ(s.written_qmax, 0);
        EXPECT_EQ(s.dyn_soc_state, STATE_FIRST_CYCLE);
    }
}

TEST_F(Estimator, AcceptsEachPlausiblePairOfTheFile) {
    struct {
        words file_words;
        std::int32_t dcr, written_dcr, qmax, written_qmax;
    } const cases[] = {
        {{1, 9000, 10000, 2000, 740}, 900, 900, 27027, 27027},
        {{1, 9000, 0, 2000, 740}, 900, 0, 27027, 27027},
        {{1, 9000, 10000, 2000, 0}, 900, 900, 27000, 0},
        {{1, 4509, 10000, 2700, 10000}, 900, 0, 27000, 0},
        {{1, 4510, 10000, 2701, 10000}, 451, 451, 2701, 2701},
        {{1, 17999, 10000, 32399, 10000}, 1799, 1799, 32399, 32399},
        {{1, 9000, 10000, 42950, 1},
         900,
         900,
         27000,
         0},  // 429500000 C, of which ten times wrap into the range
        {{1, 18000, 10000, 32400, 10000}, 900, 0, 27000, 0},
        {{1, -9000, -10000, -2000, -740}, 900, 900, 27027, 27027},
        {{1, 300000, 300000, 2000, 740}, 900, 0, 27027, 27027},  // 300000 * 10000 wraps
        {{1, 8000}, 900, 0, 27000, 0},                           // ends early: the rest is 0
    };
    for (const auto& file_case : cases) {
        start(file_case.file_words);
        EXPECT_EQ(s.prev.dcr, file_case.dcr) << file_case.file_words[1];
        EXPECT_EQ(s.written_dcr, file_case.written_dcr) << file_case.file_words[1];
        EXPECT_EQ(s.prev.qmax, file_case.qmax);
        EXPECT_EQ(s.written_qmax, file_case.written_qmax);
        EXPECT_EQ(s.err_flags, 0U);
    }
    start(words{1, 8000, 10000, 2000, 740});
    EXPECT_EQ(s.prev.dcr_num.whole, 8000);
    EXPECT_EQ(said.take().back(),
              "log 6 --- vorn PQX DYN_SOC: read values from file version 1: 8000 10000 2000 740 ---");
}

TEST_F(Estimator, KeepsAVendorNameThatFits) {
    keep_vendor("FIFTEEN LETTERS");
    EXPECT_STREQ(s.vend, "FIFTEEN LETTERS");
    EXPECT_TRUE(said.take().empty());
    keep_vendor("SIXTEEN LETTERS!");
    EXPECT_STREQ(s.vend, "UNKNOWN");
    keep_vendor("");
    EXPECT_STREQ(s.vend, "UNKNOWN");
    EXPECT_EQ(said.take(), (lines{"log 6 --- vorn DYN_SOC error: unexpected cell vendor string len=16---",
                                  "log 6 --- vorn DYN_SOC error: unexpected cell vendor string len=0---"}));
}

TEST_F(Estimator, WritesWhatChangedByTwoPercent) {
    start_running();
    const auto writes = [&](std::uint64_t time_s, std::int32_t written_dcr, std::int32_t written_qmax) {
        file.remove();
        s.prev.time_s = time_s;
        s.last_write_time = 1000;
        s.written_dcr = written_dcr;
        s.written_qmax = written_qmax;
        write_back_params();
        return file.exists;
    };
    EXPECT_FALSE(writes(1599, 0, 0));
    EXPECT_FALSE(writes(1600, 883, 27000));  // 1.9 %
    EXPECT_TRUE(writes(1600, 882, 27000));
    EXPECT_TRUE(writes(1600, 918, 27000));
    EXPECT_FALSE(writes(1600, 900, 27539));
    EXPECT_TRUE(writes(1600, 900, 27540));
    EXPECT_EQ(s.written_qmax, 27000);
    EXPECT_EQ(s.last_write_time, 1600U);
    EXPECT_TRUE(writes(999, 0, 0));  // the clock went back: a vast interval

    // 1, 9000, 10000, 2000, 740
    EXPECT_EQ(file.bytes, std::string("\x01\0\0\0\x28\x23\0\0\x10\x27\0\0\xd0\x07\0\0\xe4\x02\0\0", 20));
}

TEST_F(Estimator, TriesAFailedWriteAgain) {
    start_running();
    file.write_fails = true;
    s.prev.time_s = 1000;
    write_back_params();
    EXPECT_EQ(said.take().back(), "log 6 --- vorn DYN_SOC error: failed to write params to file---");
    EXPECT_EQ(s.err_flags, ERR_PARAMS_READ | ERR_PARAMS_WRITE);
    file.write_fails = false;
    s.prev.time_s = 1010;
    write_back_params();
    EXPECT_EQ(said.take().back(), "log 6 --- vorn DYN_SOC: successful write to file, version=1 ---");
    EXPECT_EQ(s.last_write_time, 1010U);
    EXPECT_EQ(s.written_dcr, 900);
}

TEST(DynSoc, NeedsBatteryParameters) {
    test::effects said;
    s = {};
    EXPECT_EQ(update({}), RESULT_NOT_INITIALISED);
    EXPECT_EQ(dyn_soc::start(nullptr, nullptr, nullptr), 1);
    EXPECT_EQ(said.take().at(0), "log 6 --- vorn DYN_SOC error: invalid battery info! ---");
    EXPECT_EQ(s.err_flags, ERR_NO_BATT_INFO);
    EXPECT_EQ(update({}), RESULT_FAILED);
    EXPECT_TRUE(said.take().empty());
}

TEST_F(Estimator, BeginsWithTheFirstSample) {
    start();
    said.take();
    // 4 V at 500 mA into 90 mΩ: 3.955 V open-circuit, 50 less 4.545 %.
    EXPECT_EQ(update({.elapsed_s = 7, .current_ua = 500000, .thermal_mc = INVALID_VALUE, .status = 1}),
              RESULT_DONE);
    EXPECT_EQ(s.dyn_soc_state, STATE_RUNNING);
    EXPECT_EQ(s.prev.curr_ma, 500);
    EXPECT_EQ(s.prev.virt_temp, INVALID_VALUE);
    EXPECT_EQ(s.prev.soc_ext, 50000);
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
    EXPECT_EQ(update({.elapsed_s = 50, .current_ua = INVALID_VALUE, .status = 3}), RESULT_REFUSED);
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
    EXPECT_EQ(update({.elapsed_s = 5, .voltage_uv = 2000000, .status = 1}), RESULT_REFUSED);
    EXPECT_EQ(s.dyn_soc_state, STATE_FIRST_CYCLE);
    EXPECT_EQ(update({.elapsed_s = 500, .thermal_mc = 25099}), RESULT_DONE);
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
        start(words{1, any() >> (random() % 32), any() >> (random() % 32), any() >> (random() % 32),
                    any() >> (random() % 32)});
        if (one_in(2)) s.battery = batt_info__get();
        std::uint64_t elapsed_s = 0;
        std::int32_t status = 2;
        for (int cycle = 0; cycle < 200; ++cycle) {
            elapsed_s += one_in(20) ? static_cast<std::uint64_t>(any()) << (random() % 33) : 10;
            if (one_in(20)) status = near(2, 3);
            if (one_in(50)) (void)charge_mgr__set_temp_toc(static_cast<std::uint8_t>(random() % 10), 0);
            const bool is_wild = one_in(10);
            const std::int32_t result = update(
                {elapsed_s, is_wild ? any() : near(3800000, 700000), is_wild ? any() : near(0, 4000000),
                 is_wild ? any() : near(250, 600), any(), is_wild ? any() : status, any()});
            EXPECT_TRUE(result >= RESULT_DONE && result <= RESULT_REFUSED);
            EXPECT_TRUE(s.dyn_soc_state == STATE_FIRST_CYCLE || (s.prev.soc_ui >= 0 && s.prev.soc_ui <= 100));
        }
    }
}

}  // namespace
