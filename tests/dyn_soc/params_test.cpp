#include "dyn_soc/dyn_soc.h"
#include "tests/dyn_soc/estimator.h"

namespace {

using namespace dyn_soc;
using test::Estimator;
using lines = std::vector<std::string>;

TEST_F(Estimator, StartsFromDefaultsWithoutAUsableFile) {
    struct {
        std::optional<std::vector<std::int32_t>> words;
        std::string says;
    } const cases[] = {
        {{}, " error: failed to read params from file---"},
        {{{}}, ": file version mismatch: got 0 expected 1; discarding data ---"},
        {{{2, 9000, 10000, 2000, 740}}, ": file version mismatch: got 2 expected 1; discarding data ---"},
    };
    for (const auto& file_case : cases) {
        start(file_case.words);
        EXPECT_EQ(said.take(), lines{"log 6 --- vorn DYN_SOC" + file_case.says});
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
        std::vector<std::int32_t> words;
        std::int32_t dcr, written_dcr, qmax, written_qmax;
    } const cases[] = {
        {{1, 9000, 10000, 2000, 740}, 900, 900, 27027, 27027},
        {{1, 9000, 0, 2000, 740}, 900, 0, 27027, 27027},
        {{1, 9000, 10000, 2000, 0}, 900, 900, 27000, 0},
        {{1, 4509, 10000, 2700, 10000}, 900, 0, 27000, 0},
        {{1, 4510, 10000, 2701, 10000}, 451, 451, 2701, 2701},
        {{1, 17999, 10000, 32399, 10000}, 1799, 1799, 32399, 32399},
        {{1, 18000, 10000, 32400, 10000}, 900, 0, 27000, 0},
        {{1, -9000, -10000, -2000, -740}, 900, 900, 27027, 27027},
        {{1, 300000, 300000, 2000, 740}, 900, 0, 27027, 27027},  // 300000 * 10000 wraps
        {{1, 8000}, 900, 0, 27000, 0},                           // ends early: the rest is 0
    };
    for (const auto& file_case : cases) {
        start(file_case.words);
        EXPECT_EQ(s.prev.dcr, file_case.dcr) << file_case.words[1];
        EXPECT_EQ(s.written_dcr, file_case.written_dcr) << file_case.words[1];
        EXPECT_EQ(s.prev.qmax, file_case.qmax);
        EXPECT_EQ(s.written_qmax, file_case.written_qmax);
        EXPECT_EQ(s.err_flags, 0U);
    }
    start({{1, 8000, 10000, 2000, 740}});
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
    is_writable = true;
    const auto writes = [&](std::uint64_t time_s, std::int32_t written_dcr, std::int32_t written_qmax) {
        file.clear();
        s.prev.time_s = time_s;
        s.last_write_time = 1000;
        s.written_dcr = written_dcr;
        s.written_qmax = written_qmax;
        write_back_params();
        return !file.empty();
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
    EXPECT_EQ(file, std::string("\x01\0\0\0\x28\x23\0\0\x10\x27\0\0\xd0\x07\0\0\xe4\x02\0\0", 20));
}

TEST_F(Estimator, TriesAFailedWriteAgain) {
    start_running();
    is_writable = false;
    s.prev.time_s = 1000;
    write_back_params();
    EXPECT_EQ(said.take(), lines{"log 6 --- vorn DYN_SOC error: failed to write params to file---"});
    EXPECT_EQ(s.err_flags, ERR_PARAMS_READ | ERR_PARAMS_WRITE);
    is_writable = true;
    s.prev.time_s = 1010;
    write_back_params();
    EXPECT_EQ(said.take(), lines{"log 6 --- vorn DYN_SOC: successful write to file, version=1 ---"});
    EXPECT_EQ(s.last_write_time, 1010U);
    EXPECT_EQ(s.written_dcr, 900);
}

}  // namespace
