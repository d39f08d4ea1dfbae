// A cell is drawn empty and charged full under the whole daemon, which estimates it, learns its resistance and
// remembers that over a restart.

#include <algorithm>
#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "battery/vendor_table.h"
#include "tests/support/replay.h"

namespace {

using lab::column;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr double CAPACITY_AS = 26000;
constexpr double RESISTANCE_OHM = 0.120;  // the daemon starts from 0.090
constexpr double TOC_V = 4.45;
constexpr double STEP_S = 10;
constexpr int CURVE_25C = 1;

// Open-circuit voltage, V, at a state of charge of 0 to 1: the ATL curve, continued beyond full.
double ocv_v(double soc) {
    const auto& curve = batt_ATL.ocv_curves[CURVE_25C];
    const double at = (1 - soc) * 100000 / 1010;
    const auto i = static_cast<std::size_t>(std::clamp(at, 0.0, 98.0));
    return (curve[i] + (at - static_cast<double>(i)) * (curve[i + 1] - curve[i])) / 10000;
}

// What the daemon should find: 0 % at 3.4 V, 100 % at the top of charge.
double soc_between_limits(double soc) {
    const auto soc_at = [](double volt) {
        double low = -0.1;
        double high = 1.1;
        for (int i = 0; i < 40; ++i) (ocv_v((low + high) / 2) < volt ? low : high) = (low + high) / 2;
        return low;
    };
    static const double empty = soc_at(3.4);
    static const double full = soc_at(TOC_V);
    return (soc - empty) / (full - empty);
}

struct drive {
    test::trace_rows rows = test::trace_rows::healthy();
    double soc = 0.9;
    std::vector<double> truth_pct;  // of each row

    void step(double current_a, const std::string& status) {
        const double volt = ocv_v(soc) + current_a * RESISTANCE_OHM;
        rows.row({{"voltage_now", std::to_string(std::lround(volt * 1e6))},
                  {"current_now", std::to_string(std::lround(current_a * 1e6))},
                  {"status", status}});
        truth_pct.push_back(100 * soc_between_limits(soc));
        soc += current_a * STEP_S / CAPACITY_AS;
    }

    void draw_empty() {
        for (int i = 0; ocv_v(soc) > 3.4; ++i) step(i / 5 % 2 == 0 ? -0.4 : -1.4, "Discharging");
    }

    // 3 A, then at the top of charge as much as it takes, to 450 mA; then full for a while.
    void charge_full() {
        double current_a = 3;
        while (current_a > 0.45) {
            step(current_a, "Charging");
            current_a = std::min(3.0, (TOC_V - ocv_v(soc)) / RESISTANCE_OHM);
        }
        for (int i = 0; i < 20; ++i) step(0, "Full");
    }
};

std::vector<std::int32_t> distinct(const std::vector<lab::cycle>& cycles, column which) {
    std::vector<std::int32_t> values;
    for (const lab::cycle& each : cycles) values.push_back(each[which]);
    values.erase(std::unique(values.begin(), values.end()), values.end());
    return values;
}

std::int32_t word(const std::string& file, std::size_t index) {
    std::int32_t value = 0;
    file.copy(reinterpret_cast<char*>(&value), sizeof value, index * sizeof value);
    return value;
}

TEST(ChargeAndDischarge, FollowsACellToEmptyAndRemembersIt) {
    drive use;
    use.draw_empty();
    use.rows.next_boot();
    const test::replay_result result = test::replay(use.rows.csv());
    const std::size_t last = use.truth_pct.size() - 1;

    double worst_pct = 0;
    for (std::size_t i = 0; i <= last; ++i) {
        worst_pct =
            std::max(worst_pct, std::abs(result.cycles[i][column::soc_scal] / 1000.0 - use.truth_pct[i]));
        if (i == 0) continue;
        const std::int32_t drop = result.cycles[i - 1][column::soc_ui] - result.cycles[i][column::soc_ui];
        EXPECT_TRUE(drop == 0 || drop == 1) << i;
    }
    EXPECT_LT(worst_pct, 4.0);
    EXPECT_LE(result.cycles[last][column::soc_ui], 1);
    EXPECT_NEAR(result.cycles[last][column::dcr], 1200, 60);
    // One record at the start, one on the way into the last two percent, one after the restart.
    EXPECT_THAT(result.records("soc_parameters"), SizeIs(3));

    const auto writes = result.of(lab::event_kind::write, "/mnt/vendor/nvcfg/vorn/dyn_soc_params");
    ASSERT_GE(writes.size(), 2U);
    EXPECT_EQ(writes[0].elapsed_s, 600);
    for (std::size_t i = 1; i < writes.size(); ++i)
        EXPECT_GE(writes[i].elapsed_s - writes[i - 1].elapsed_s, 600);
    const std::string& file = writes.back().text;
    ASSERT_EQ(file.size(), 20U);
    EXPECT_THAT(result.logs("PQX DYN_SOC"),
                ElementsAre(HasSubstr("file version 1: " + std::to_string(word(file, 1)))));
    EXPECT_EQ(result.cycles.back()[column::dcr], word(file, 1) * 10000 / word(file, 2) / 10);
}

TEST(ChargeAndDischarge, LandsAtFullOnTime) {
    drive use;
    use.soc = 0.2;
    use.charge_full();
    const test::replay_result result = test::replay(use.rows.csv());

    EXPECT_THAT(distinct(result.cycles, column::landing_state), ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT(result.records("soc_landed"), SizeIs(1));
    const auto shown = distinct(result.cycles, column::soc_ui);
    EXPECT_TRUE(std::is_sorted(shown.begin(), shown.end()));
    EXPECT_EQ(shown.back(), 100);
    std::int32_t shown_before_full = 0;
    for (const lab::cycle& each : result.cycles) {
        if (each.seen.status == 1) shown_before_full = each[column::soc_ui];
    }
    EXPECT_EQ(shown_before_full, 99);
    EXPECT_EQ(result.cycles.back()[column::soc_smooth], 100000);
}

}  // namespace
