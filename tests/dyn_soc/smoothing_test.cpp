#include "tests/dyn_soc/estimator.h"

namespace {

using namespace dyn_soc;
using test::Estimator;

// What the smoother shows when soc_act moves on to `soc_act`; the cycle is then the last one.
std::int32_t shown_at(dyn_soc_record& curr, std::int32_t soc_act) {
    curr.soc_act = soc_act;
    update_smoother(curr);
    s.prev = curr;
    curr.time_s += 10;
    return curr.soc_smooth;
}

TEST_F(Estimator, MeetsALowerEstimateAfterFiveGaps) {
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

}  // namespace
