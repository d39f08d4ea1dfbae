// What a population draws: against the closed forms of its distributions, and by phone rather than by order.

#include "lab/fleet/population.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <string>

#include "lab/fleet/probability.h"
#include "lab/fleet/statistics.h"
#include "lab/io/error.h"

namespace lab {
namespace {

constexpr std::uint64_t PHONES = 20000;
const std::string HEAD = "seed = 3\nspan = \"2 d\"\n";

std::vector<double> drawn(const population& of, const std::string& path) {
    std::vector<double> values;
    for (std::uint64_t i = 0; i < PHONES; ++i) values.push_back(std::stod(plan_phone(of, i).text_of(path)));
    return values;
}

TEST(Probability, AgreesWithPublishedValues) {
    EXPECT_NEAR(normal_quantile(0.975), 1.959963984540054, 1e-14);
    EXPECT_NEAR(normal_quantile(1e-10), -6.361340902404056, 1e-12);
    for (double p = 1e-9; p < 1; p += 0.0137) EXPECT_NEAR(normal_cdf(normal_quantile(p)), p, 1e-14);
    EXPECT_NEAR(beta_cdf(0.3, 2, 1), 0.09, 1e-14);                     // x^2
    EXPECT_NEAR(beta_cdf(0.25, 0.5, 0.5), 1.0 / 3, 1e-13);             // the arcsine law
    EXPECT_NEAR(beta_quantile(0.5, 1, 3), 1 - std::cbrt(0.5), 1e-14);  // 1 - (1 - x)^3
    EXPECT_NEAR(beta_cdf(beta_quantile(0.01, 40, 2), 40, 2), 0.01, 1e-13);
}

struct moments {
    const char* draw;
    double mean, deviation;
};

TEST(Population, DrawsHaveTheMomentsOfTheirDistributions) {
    const double half_normal = std::sqrt(2 / std::acos(-1.0));
    for (const moments& each : {
             moments{R"(draw = "normal", mean = 5, sd = 2)", 5, 2},
             moments{R"(draw = "normal", mean = 0, sd = 1, least = 0)", half_normal,
                     std::sqrt(1 - half_normal * half_normal)},
             moments{R"(draw = "lognormal", median = 3, sigma_ln = 0.5)", 3 * std::exp(0.125),
                     3 * std::exp(0.125) * std::sqrt(std::exp(0.25) - 1)},
             moments{R"(draw = "lognormal", mean = 3, sigma_ln = 0.5)", 3, 3 * std::sqrt(std::exp(0.25) - 1)},
             moments{R"(draw = "uniform", from = -1, to = 5)", 2, 6 / std::sqrt(12)},
             moments{R"(draw = "beta", a = 2, b = 1.5, from = 0, to = 10)", 10 * 2 / 3.5,
                     10 * std::sqrt(3 / (3.5 * 3.5 * 4.5))},
             moments{R"(draw = "choice", of = [1, 4], weights = [3, 1])", 1.75, 3 * std::sqrt(3.0 / 16)},
             moments{R"(draw = "uniform", from = 0, to = 4, step = 4)", 2, 2},
         }) {
        const population of =
            parse_population(HEAD + "[gauge]\nvoltage_offset_mv = { " + each.draw + " }", "p");
        double sum = 0, squares = 0;
        for (const double value : drawn(of, "gauge.voltage_offset_mv")) {
            sum += value;
            squares += value * value;
        }
        const double mean = sum / PHONES;
        const double error = each.deviation / std::sqrt(PHONES);
        EXPECT_NEAR(mean, each.mean, 4 * error) << each.draw;
        EXPECT_NEAR(std::sqrt(squares / PHONES - mean * mean), each.deviation, 4 * error) << each.draw;
    }
}

TEST(Population, KeysVaryTogetherByRankAsSaid) {
    const population of = parse_population(HEAD + R"(
        [user]
        screen_h = { draw = "lognormal", mean = 3, sigma_ln = 0.4, most = 16 }
        topups_per_day = { draw = "uniform", from = 0, to = 3 }
        night_pct = { draw = "beta", a = 2, b = 1.5, to = 100 }
        [[correlate]]
        keys = ["user.screen_h", "user.topups_per_day"]
        rank = 0.6
        [[correlate]]
        keys = ["user.night_pct", "user.screen_h"]
        rank = -0.3)",
                                           "p");
    const auto screen = drawn(of, "user.screen_h"), topups = drawn(of, "user.topups_per_day"),
               night = drawn(of, "user.night_pct");
    const std::vector<double> weights(PHONES, 1);
    EXPECT_NEAR(*rank_correlation(screen, topups, weights), 0.6, 0.02);
    EXPECT_NEAR(*rank_correlation(screen, night, weights), -0.3, 0.02);
    EXPECT_NEAR(*rank_correlation(topups, night, weights), 0, 0.02);
    EXPECT_LE(*std::ranges::max_element(screen), 16);
}

TEST(Population, APhoneKeepsItsDrawsWhenThePopulationGrows) {
    const std::string cell = "[cell]\nsoc_pct = { draw = \"uniform\", from = 1, to = 99 }\n";
    const population small = parse_population(HEAD + cell, "p");
    const population large = parse_population(
        "phones = 99999\n" + HEAD + "[gauge]\ncurrent_offset_ma = { draw = \"normal\", mean = 0, sd = 9 }\n" +
            cell + "[[group.a]]\nname = \"one\"\nshare_pct = 100\n",
        "q");
    const population other = parse_population("seed = 4\nspan = \"2 d\"\n" + cell, "p");
    for (std::uint64_t i : {0U, 1U, 4711U}) {
        const std::string text = plan_phone(small, i).text_of("cell.soc_pct");
        EXPECT_EQ(plan_phone(large, i).text_of("cell.soc_pct"), text);
        EXPECT_NE(plan_phone(other, i).text_of("cell.soc_pct"), text);
        EXPECT_EQ(scenario_of(small, plan_phone(small, i)).chance.phone, i);
    }
}

// A rare kind drawn often counts less: its weight is never the inverse.
TEST(Population, WeightsGiveBackTheSharesOutThere) {
    const population of = parse_population(HEAD + R"(
        [[group.kind]]
        name = "common"
        share_pct = 98
        [[group.kind]]
        name = "rare"
        share_pct = 2
        oversample = 10)",
                                           "p");
    std::vector<weighted> is_rare;
    double count = 0;
    for (std::uint64_t i = 0; i < PHONES; ++i) {
        const phone_plan plan = plan_phone(of, i);
        is_rare.push_back({static_cast<double>(plan.options[0]), plan.weight});
        count += static_cast<double>(plan.options[0]);
    }
    EXPECT_NEAR(count / PHONES, 0.2 / 1.18, 0.01);
    EXPECT_NEAR(share_of(is_rare).value, 0.02, 0.002);
    EXPECT_NEAR(mean_of(is_rare).value, share_of(is_rare).value, 1e-12);
    EXPECT_LT(effective_number(is_rare), PHONES);
}

}  // namespace
}  // namespace lab
