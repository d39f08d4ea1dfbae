// A simulated phone is used until it switches off, then charged full: the whole daemon estimates its cell, learns
// the resistance, remembers that over the restart, and lands at 100 % on time.

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>

#include "lab/scenario/truth.h"
#include "tests/support/replay.h"

namespace {

using lab::column;
using testing::ElementsAre;

constexpr char DAY[] = R"(
[cell]
curve = "ATL"
soc_pct = 90
[[phase]]
for = "9 h"
load_mw = 1500
burst_mw = 5500
burst_pct = 40
[[phase]]
for = "5 h"
charger = "wall"
load_mw = 200
)";

std::vector<std::int32_t> distinct(const std::vector<lab::cycle>& cycles, std::int64_t boot, column which) {
    std::vector<std::int32_t> values;
    for (const lab::cycle& each : cycles) {
        if (each.boot == boot) values.push_back(each[which]);
    }
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

std::int32_t word(const std::string& file, std::size_t index) {
    std::int32_t value = 0;
    file.copy(reinterpret_cast<char*>(&value), sizeof value, index * sizeof value);
    return value;
}

TEST(ChargeAndDischarge, FollowsACellToEmptyAndToFullAndRemembersIt) {
    const test::replay_result result = test::simulate(DAY);
    double worst_pct = 0;
    std::int32_t shown_before_full = 0;
    for (const lab::cycle& each : result.cycles) {
        const double true_pct = each.truth[static_cast<std::size_t>(lab::truth_column::true_soc_pct)];
        if (each.boot == 1)
            worst_pct = std::max(worst_pct, std::abs(each[column::soc_raw] / 1000.0 - true_pct));
        if (each.seen.status == 1) shown_before_full = each[column::soc_ui];
    }
    EXPECT_LT(worst_pct, 4.0);
    EXPECT_EQ(shown_before_full, 99);
    EXPECT_EQ(result.cycles.back()[column::soc_smooth], 100000);

    // It switches off empty, and boots once it is on the charger.
    const auto second = std::find_if(result.cycles.begin(), result.cycles.end(),
                                     [](const lab::cycle& each) { return each.boot == 2; });
    EXPECT_LT(std::prev(second)->truth[static_cast<std::size_t>(lab::truth_column::true_mv)], 3500);
    EXPECT_NEAR(second->truth[static_cast<std::size_t>(lab::truth_column::sim_s)], 9.2 * 3600, 0.3 * 3600);

    // Down to empty and up to full, one percent at a time.
    std::vector<std::int32_t> down = distinct(result.cycles, 1, column::soc_ui);
    EXPECT_LE(down.back(), 1);
    EXPECT_EQ(static_cast<std::int32_t>(down.size()), down.front() - down.back() + 1);
    EXPECT_TRUE(std::is_sorted(down.rbegin(), down.rend()));
    const std::vector<std::int32_t> up = distinct(result.cycles, 2, column::soc_ui);
    EXPECT_EQ(up.back(), 100);
    EXPECT_TRUE(std::is_sorted(up.begin(), up.end()));
    EXPECT_THAT(distinct(result.cycles, 2, column::landing_state), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(result.story({"soc_landed"}), testing::SizeIs(1));

    // 90 mOhm at 25 °C, where the daemon begins too; the phone in use is warmer.
    EXPECT_NEAR(distinct(result.cycles, 1, column::dcr).back(), 770, 60);
    std::vector<lab::event> writes;
    for (const lab::event& each : result.events) {
        if (each.kind == lab::event_kind::write && each.name.ends_with("dyn_soc_params") && each.boot == 1)
            writes.push_back(each);
    }
    ASSERT_GE(writes.size(), 2U);
    EXPECT_EQ(writes[0].elapsed_s, 600);
    for (std::size_t i = 1; i < writes.size(); ++i)
        EXPECT_GE(writes[i].elapsed_s - writes[i - 1].elapsed_s, 600);
    const std::string& file = writes.back().text;
    ASSERT_EQ(file.size(), 20U);
    EXPECT_THAT(result.story({"PQX DYN_SOC"}),
                ElementsAre(testing::HasSubstr("file version 1: " + std::to_string(word(file, 1)))));
    EXPECT_EQ(distinct(result.cycles, 2, column::dcr).front(), word(file, 1) * 10000 / word(file, 2) / 10);
}

}  // namespace
