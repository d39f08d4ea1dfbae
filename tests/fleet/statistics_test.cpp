// The fleet's intervals cover as often as they promise; its curve is that of a case worked by hand.

#include "lab/fleet/statistics.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <vector>

#include "lab/phone/chance.h"

namespace lab {
namespace {

double uniform(std::uint64_t trial, std::int64_t which) {
    return phone::draws({77, trial}, phone::stream::population, which).uniform(0);
}

TEST(Share, OfNoneAndAllHasItsOtherEnd) {
    EXPECT_DOUBLE_EQ(share_of(0, 300).within.high, 0.01);  // the rule of three
    EXPECT_DOUBLE_EQ(share_of(0, 300).within.low, 0);
    EXPECT_DOUBLE_EQ(share_of(1, 300).within.low, 0.99);
    EXPECT_DOUBLE_EQ(share_of(0, 2).within.high, 1);
    // 10 of 50 (Newcombe 1998 has such tables): 0.1124 to 0.3304.
    EXPECT_NEAR(share_of(0.2, 50).within.low, 0.1124, 1e-4);
    EXPECT_NEAR(share_of(0.2, 50).within.high, 0.3304, 1e-4);
    EXPECT_EQ(share_of({}).within.high, 1);
}

// Plain draws and draws with a rare kind three times as often, which counts a third.
TEST(Share, IntervalsCoverAsPromised) {
    constexpr std::uint64_t TRIALS = 3000;
    constexpr std::int64_t PHONES = 120;
    for (const double oversample : {1.0, 3.0}) {
        for (const double rate : {0.05, 0.3, 0.9}) {
            int covered = 0, paired = 0;
            for (std::uint64_t trial = 0; trial < TRIALS; ++trial) {
                std::vector<weighted> phones;
                double first = 0, second = 0;
                const double rare = 0.2 * oversample / (0.8 + 0.2 * oversample);
                for (std::int64_t i = 0; i < PHONES; ++i) {
                    const bool is_rare = uniform(trial, 3 * i) < rare;
                    const bool is_so = uniform(trial, 3 * i + 1) < rate;
                    // The other arm turns one in ten round where it is so.
                    const bool other = is_so && uniform(trial, 3 * i + 2) >= 0.1;
                    phones.push_back({is_so ? 1.0 : 0.0, is_rare ? 0.2 / rare : 0.8 / (1 - rare)});
                    first += is_so && !other ? 1 : 0;
                    second += !is_so && other ? 1 : 0;
                }
                const share found = share_of(phones);
                covered += found.within.low <= rate && rate <= found.within.high ? 1 : 0;
                const auto difference = paired_difference(first / PHONES, second / PHONES, PHONES);
                paired +=
                    difference.within.low <= -0.1 * rate && -0.1 * rate <= difference.within.high ? 1 : 0;
            }
            EXPECT_NEAR(covered / static_cast<double>(TRIALS), 0.95, 0.025) << rate << " x" << oversample;
            EXPECT_GT(paired / static_cast<double>(TRIALS), 0.93) << rate;
        }
    }
}

TEST(Mean, IntervalCoversAsPromised) {
    int covered = 0;
    constexpr std::uint64_t TRIALS = 2000;
    for (std::uint64_t trial = 0; trial < TRIALS; ++trial) {
        std::vector<weighted> values;
        for (std::int64_t i = 0; i < 60; ++i) values.push_back({uniform(trial, i), i % 3 == 0 ? 0.5 : 1.0});
        const mean_value found = mean_of(values);
        covered += std::abs(found.value - 0.5) <= found.half_width ? 1 : 0;
    }
    EXPECT_NEAR(covered / static_cast<double>(TRIALS), 0.95, 0.02);
}

// Ten phones: events at 1, 2, 2 and 5; one leaves at 2, one at 3; four are watched to 6, one of them crashed.
TEST(Curve, IsKaplanAndMeiersByHand) {
    std::vector<life> lives{{1, life_end::event},    {2, life_end::event},    {2, life_end::event},
                            {2, life_end::censored}, {3, life_end::censored}, {5, life_end::event},
                            {6, life_end::censored}, {6, life_end::censored}, {6, life_end::censored},
                            {4, life_end::other}};
    constexpr std::array<double, 5> TIMES{0.5, 1, 2, 4.5, 5};
    const auto curve = survival_curve(lives, TIMES);
    EXPECT_DOUBLE_EQ(curve[0].left.value, 1);
    EXPECT_DOUBLE_EQ(curve[1].left.value, 0.9);
    EXPECT_DOUBLE_EQ(curve[2].left.value, 0.7);            // 0.9 * 7 / 9: who leaves at 2 was still there
    EXPECT_NEAR(curve[4].left.value, 0.7 * 4 / 5, 1e-12);  // the crashed phone stays in the number
    EXPECT_EQ(curve[3].at_risk, 4);
    EXPECT_EQ(curve[4].events, 4);
    EXPECT_EQ(curve[4].censored, 2);
    EXPECT_EQ(curve[4].others, 1);
    // Greenwood: 0.56^2 * (1 / (10 * 9) + 2 / (9 * 7) + 1 / (5 * 4)), as of a plain share of so many phones.
    const double variance = 0.56 * 0.56 * (1 / 90.0 + 2 / 63.0 + 1 / 20.0);
    EXPECT_NEAR(curve[4].left.number, 0.56 * 0.44 / variance, 1e-9);
}

TEST(Curve, OfPhonesWatchedEquallyLongIsThePlainShare) {
    std::vector<life> lives;
    std::vector<weighted> went;
    for (int i = 0; i < 40; ++i) {
        const bool event = i % 4 == 0;
        const double weight = i % 3 == 0 ? 0.25 : 1.5;
        lives.push_back({event ? 10.0 + i : 100.0, event ? life_end::event : life_end::censored, weight});
        went.push_back({event ? 0.0 : 1.0, weight});
    }
    // At the very end, too: who is watched to the end is at risk there. Beyond it nobody is, and nothing more is learnt.
    constexpr std::array<double, 2> END{100, 101};
    const auto curve = survival_curve(lives, END);
    EXPECT_EQ(curve[0].at_risk, 30);
    EXPECT_DOUBLE_EQ(curve[1].left.number, curve[0].left.number);
    constexpr std::array<life, 2> NEVER{life{5, life_end::censored}, life{5, life_end::censored}};
    EXPECT_DOUBLE_EQ(survival_curve({NEVER.begin(), NEVER.end()}, END)[0].left.number, 2);
    EXPECT_NEAR(curve[0].left.value, share_of(went).value, 1e-12);
    EXPECT_NEAR(curve[0].left.within.low, share_of(went).within.low, 1e-9);
    EXPECT_NEAR(curve[0].left.within.high, share_of(went).within.high, 1e-9);
}

TEST(Quantile, AndRanksByHand) {
    EXPECT_FALSE(quantile_of({}, 0.5).has_value());
    EXPECT_DOUBLE_EQ(*quantile_of({{3}, {1}, {2}}, 0.5), 2);
    EXPECT_DOUBLE_EQ(*quantile_of({{1, 1}, {2, 3}}, 0.125), 1);
    EXPECT_DOUBLE_EQ(*quantile_of({{1, 0}, {7, 2}}, 0.01), 7);
    const std::array<double, 4> one{1, 2, 3, 4}, other{10, 30, 20, 40}, same{5, 5, 5, 5}, weights{1, 1, 1, 1};
    EXPECT_NEAR(*rank_correlation(one, other, weights), 0.8, 1e-12);
    EXPECT_FALSE(rank_correlation(one, same, weights).has_value());
}

}  // namespace
}  // namespace lab
