// Recorded batteries: foreign cells, whose curves the estimator does not know, against the level that each
// recording carries.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <optional>
#include <vector>

#include "bench/yardstick/yardstick.h"
#include "lab/io/text.h"
#include "lab/recordings/trace.h"
#include "util/status.h"

namespace yardstick {

namespace {

struct recording {
    const char* name;
    std::int32_t toc_mv;  // the step of the top of charge next to where its charger stops
};
constexpr recording RECORDINGS[] = {
    {"phone_day_23h", 4400},
    {"remarkable_charge", 4200},
    {"panasonic18650pf_25c_1c_cycles", 4200},
    {"nasa_b0047_4c", 4200},
};

struct row {
    sample seen;
    double level_pct;
};

constexpr std::size_t VOLTAGE = lab::place_of_node("voltage_now");
constexpr std::size_t CURRENT = lab::place_of_node("current_now");
constexpr std::size_t TEMPERATURE = lab::place_of_node("temp");
constexpr std::size_t LEVEL = lab::place_of_node("capacity");
constexpr std::size_t STATUS = lab::place_of_node("status");

std::int32_t status_code(std::string_view text) {
    if (text == "Charging") return STATUS_CHARGING;
    if (text == "Discharging") return STATUS_DISCHARGING;
    if (text == "Not charging") return STATUS_NOT_CHARGING;
    return text == "Full" ? STATUS_FULL : STATUS_UNKNOWN;
}

std::vector<row> read_rows(const std::string& path) {
    lab::trace_reader reader(lab::input_file::open(path), {}, [](const std::string&) {});
    std::vector<row> rows;
    lab::trace_row read;
    while (reader.next(read)) {
        const auto number = [&](std::size_t node) { return lab::parse_integer(read.nodes[node]); };
        const auto voltage = number(VOLTAGE);
        const auto current = number(CURRENT);
        const auto temperature = number(TEMPERATURE);
        const auto level = number(LEVEL);
        if (!voltage || !current || !temperature || !level) continue;
        rows.push_back({{static_cast<std::uint64_t>(read.elapsed_s), static_cast<std::int32_t>(*voltage),
                         static_cast<std::int32_t>(*current), static_cast<std::int32_t>(*temperature),
                         status_code(read.nodes[STATUS])},
                        static_cast<double>(*level)});
    }
    return rows;
}

// The cell as the recording itself shows it: the charge moved per level, and the slope of the voltage's
// changes over the current's.
cell shown_by(const std::vector<row>& rows) {
    constexpr double LONGEST_S = 120;
    constexpr double LEAST_STEP_A = 0.1;
    double charge_as = 0;
    double level_pct = 0;
    double products = 0;
    double squares = 0;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        const sample& before = rows[i - 1].seen;
        const sample& now = rows[i].seen;
        const auto dt_s = static_cast<double>(now.elapsed_s - before.elapsed_s);
        if (dt_s > LONGEST_S) continue;
        const double step_a = (now.current_ua - before.current_ua) / 1e6;
        charge_as += std::abs(now.current_ua / 2e6 + before.current_ua / 2e6) * dt_s;
        level_pct += std::abs(rows[i].level_pct - rows[i - 1].level_pct);
        if (std::abs(step_a) < LEAST_STEP_A) continue;
        products += step_a * (now.voltage_uv - before.voltage_uv) / 1e6;
        squares += step_a * step_a;
    }
    return {squares > 0 ? 1000 * products / squares : 0, level_pct > 0 ? charge_as / level_pct * 100 : 0};
}

// The recording at the daemon's own pace: rows that are further apart are joined by straight lines, but gaps
// of more than two minutes stay.
std::vector<row> every_ten_seconds(const std::vector<row>& rows) {
    constexpr std::uint64_t CYCLE_S = 10;
    constexpr std::uint64_t LONGEST_S = 120;
    std::vector<row> joined;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        joined.push_back(rows[i]);
        if (i + 1 == rows.size()) break;
        const row& from = rows[i];
        const row& to = rows[i + 1];
        const std::uint64_t gap_s = to.seen.elapsed_s - from.seen.elapsed_s;
        if (gap_s > LONGEST_S) continue;
        for (std::uint64_t in_s = CYCLE_S; in_s < gap_s; in_s += CYCLE_S) {
            const double share = static_cast<double>(in_s) / static_cast<double>(gap_s);
            const auto between = [share](std::int32_t a, std::int32_t b) {
                return static_cast<std::int32_t>(std::lround(a + share * (b - a)));
            };
            row made = from;
            made.seen.elapsed_s += in_s;
            made.seen.voltage_uv = between(from.seen.voltage_uv, to.seen.voltage_uv);
            made.seen.current_ua = between(from.seen.current_ua, to.seen.current_ua);
            made.seen.temperature_decic = between(from.seen.temperature_decic, to.seen.temperature_decic);
            made.level_pct += share * (to.level_pct - from.level_pct);
            joined.push_back(made);
        }
    }
    return joined;
}

std::uint64_t usual_spacing_s(const std::vector<row>& rows) {
    std::vector<std::uint64_t> spacings;
    for (std::size_t i = 1; i < rows.size(); ++i)
        spacings.push_back(rows[i].seen.elapsed_s - rows[i - 1].seen.elapsed_s);
    if (spacings.empty()) return 0;
    std::nth_element(spacings.begin(), spacings.begin() + static_cast<std::ptrdiff_t>(spacings.size() / 2),
                     spacings.end());
    return spacings[spacings.size() / 2];
}

void run(const recording& of, const std::vector<row>& rows, const char* rows_name, const cell& start,
         const char* start_name) {
    score estimated;
    score shown;
    std::size_t refused = 0;
    estimator::start("ATL", of.toc_mv, start);
    for (const row& each : rows) {
        if (estimator::update(each.seen)) {
            estimated.add(estimator::soc_pct(), each.level_pct);
            shown.add(estimator::shown_pct(), each.level_pct);
        } else {
            refused += 1;
        }
    }
    const cell learnt = estimator::learnt();
    std::printf("  %-12s %-9s", rows_name, start_name);
    estimated.print();
    shown.print();
    std::printf(" %8.0f %8.0f %8zu\n", learnt.resistance_mohm, learnt.capacity_as, refused);
}

}  // namespace

void run_recordings(const std::string& directory) {
    for (const recording& of : RECORDINGS) {
        const std::string path = directory + "/" + of.name + ".csv";
        if (!std::filesystem::exists(path)) {
            std::cout << of.name << ": skipped, there is no " << path << "\n\n";
            continue;
        }
        const std::vector<row> rows = read_rows(path);
        const cell shown = shown_by(rows);
        std::printf("%s: %zu rows, usually %llu s apart; shows %.0f mOhm, %.0f As\n", of.name, rows.size(),
                    static_cast<unsigned long long>(usual_spacing_s(rows)), shown.resistance_mohm,
                    shown.capacity_as);
        std::printf("  %-12s %-9s %18s %18s %18s\n", "", "", "estimate, %", "shown, %", "at the end");
        std::printf("  %-12s %-9s %s %s %8s %8s %8s\n", "rows", "start", SCORE_COLUMNS, SCORE_COLUMNS, "mOhm",
                    "As", "refused");
        run(of, rows, "as recorded", DEFAULTS, "defaults");
        run(of, rows, "as recorded", shown, "as shown");
        const std::vector<row> joined = every_ten_seconds(rows);
        run(of, joined, "every 10 s", DEFAULTS, "defaults");
        run(of, joined, "every 10 s", shown, "as shown");
        std::printf("\n");
        std::fflush(stdout);
    }
}

}  // namespace yardstick
