#include "tests/dyn_soc/estimator.h"
#include "util/sensor_value.h"

namespace {

using namespace dyn_soc;
using test::Estimator;

TEST(DisplaySoc, BeginsAtTheEstimate) {
    EXPECT_EQ(next_display_soc(1, INVALID_VALUE, 4), 100);
    EXPECT_EQ(next_display_soc(0, INVALID_VALUE, 4), 0);
    EXPECT_EQ(next_display_soc(100000, INVALID_VALUE, 3), 99);
    EXPECT_EQ(next_display_soc(500, INVALID_VALUE, 1), 1);
    EXPECT_EQ(next_display_soc(0, INVALID_VALUE, 1), 1);
    EXPECT_EQ(next_display_soc(42999, INVALID_VALUE, 2), 42);
    EXPECT_EQ(next_display_soc(0, INVALID_VALUE, 2), 0);
}

TEST(DisplaySoc, MovesByOnePercent) {
    struct {
        std::int32_t soc_smooth, shown, status, next;
    } const cases[] = {
        {100000, 42, 1, 43}, {100000, 98, 1, 99}, {100000, 99, 1, 99}, {42999, 42, 1, 42}, {30000, 42, 1, 42},
        {0, 42, 1, 42},      {41001, 42, 2, 42},  {40999, 42, 2, 41},  {41000, 42, 3, 41}, {90000, 42, 3, 42},
        {0, 42, 3, 0},       {-1, 42, 4, 0},      {1, 42, 4, 43},      {1, 100, 4, 100},   {1, 42, 9, 42},
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
        "record soc_parameters "
        "soc_v=50000;IN,soc_c=50000;IN,soc_raw=50000;IN,soc_scal=50000;IN,soc_ext=500;IN,"
        "soc_act=49000;IN,soc_smooth=50000;IN,soc_past=";
    const std::string after =
        ";IN,soc_ui=50;IN,chg_sts=2;IN,chg_sts_sec=610;IN,dcr=900;IN,qmax=27000;IN,vend=ATL;SY,err_flags=17;"
        "IN,"
        "num_aborts=3;IN,ver=11;SY";
    log_params_metric(curr);
    EXPECT_EQ(said.take(), std::vector<std::string>{before + "-1" + after});
    vorn_queue__overwrite(&s.soc_past_queue, 60014);
    s.last_daily_metric = INVALID_VALUE;
    log_params_metric(curr);
    EXPECT_EQ(said.take(), std::vector<std::string>{before + "60000" + after});
}

}  // namespace
