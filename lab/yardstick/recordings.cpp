// Recorded batteries: foreign cells, whose curves the estimator does not know, against the level that each
// recording carries.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "charge_mgr/charge_mgr.h"
#include "lab/io/error.h"
#include "lab/io/print.h"
#include "lab/io/text.h"
#include "lab/recordings/trace.h"
#include "lab/yardstick/yardstick.h"
#include "util/status.h"

namespace lab::yardstick {

using nlohmann::ordered_json;

namespace {

struct row {
    sample seen;
    double level_pct;
};

constexpr std::size_t VOLTAGE = place_of_node("voltage_now");
constexpr std::size_t CURRENT = place_of_node("current_now");
constexpr std::size_t TEMPERATURE = place_of_node("temp");
constexpr std::size_t LEVEL = place_of_node("capacity");
constexpr std::size_t STATUS = place_of_node("status");

std::int32_t status_code(std::string_view text) {
    if (text == "Charging") return STATUS_CHARGING;
    if (text == "Discharging") return STATUS_DISCHARGING;
    if (text == "Not charging") return STATUS_NOT_CHARGING;
    return text == "Full" ? STATUS_FULL : STATUS_UNKNOWN;
}

std::vector<row> read_rows(const std::string& path) {
    trace_reader reader(input_file::open(path), {}, [](const std::string&) {});
    std::vector<row> rows;
    trace_row read;
    while (reader.next(read)) {
        const auto number = [&](std::size_t node) { return parse_integer(read.nodes[node]); };
        const auto voltage = number(VOLTAGE);
        const auto current = number(CURRENT);
        const auto temperature = number(TEMPERATURE);
        const auto gauge = number(LEVEL);
        const double level_pct = reader.has_true_soc() ? read.true_soc_pct
                                 : gauge               ? static_cast<double>(*gauge)
                                                       : NAN;
        if (!voltage || !current || !temperature || std::isnan(level_pct)) continue;
        rows.push_back({{static_cast<std::uint64_t>(read.elapsed_s), static_cast<std::int32_t>(*voltage),
                         static_cast<std::int32_t>(*current), static_cast<std::int32_t>(*temperature),
                         status_code(read.nodes[STATUS])},
                        level_pct});
    }
    if (rows.empty())
        throw input_error(
            path +
            ": no reference: in no row are voltage_now, current_now, temp, and soc_true_pct or capacity");
    return rows;
}

// The step of the top of charge that lies next to the highest voltage: where the charger stopped.
std::int32_t step_beside(const std::vector<row>& rows) {
    constexpr std::int32_t STEP_MV = 50, LOWEST_MV = FULL_TOC_MV - 9 * STEP_MV, UV_PER_MV = 1000;
    std::int32_t highest_uv = 0;
    for (const row& each : rows) highest_uv = std::max(highest_uv, each.seen.voltage_uv);
    const std::int32_t next_mv = (highest_uv / UV_PER_MV + STEP_MV / 2) / STEP_MV * STEP_MV;
    return std::clamp(next_mv, LOWEST_MV, FULL_TOC_MV);
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

recorded_run run_over(const std::vector<row>& rows, const recording_result& of, const std::string& vendor,
                      const cell& start) {
    constexpr double HOUR_S = 3600;
    recorded_run run;
    estimator::start(vendor.c_str(), of.toc_mv, start);
    for (const row& each : rows) {
        if (!estimator::update(each.seen)) {
            run.refused += 1;
            continue;
        }
        run.estimated.add(estimator::soc_pct(), each.level_pct);
        run.shown.add(estimator::shown_pct(), each.level_pct);
        run.errors_pct.emplace_back(static_cast<double>(each.seen.elapsed_s) / HOUR_S,
                                    estimator::soc_pct() - each.level_pct);
    }
    run.learnt = estimator::learnt();
    return run;
}

ordered_json json_of(const score& of) {
    if (of.is_empty()) return nullptr;
    return {{"mean_pct", of.mean_pct()},
            {"mean_magnitude_pct", of.mean_magnitude_pct()},
            {"greatest_pct", of.greatest_pct()}};
}

ordered_json json_of(const cell& of) {
    return {{"resistance_mohm", of.resistance_mohm}, {"capacity_as", of.capacity_as}};
}

}  // namespace

recording_result measure_recording(const recording& of) {
    const std::vector<row> rows = read_rows(of.path);
    recording_result result;
    result.name = std::filesystem::path(of.path).stem().string();
    result.rows = rows.size();
    result.spacing_s = usual_spacing_s(rows);
    result.shown = shown_by(rows);
    result.toc_mv = of.toc_mv ? *of.toc_mv : step_beside(rows);
    const std::vector<row> joined = every_ten_seconds(rows);
    for (const auto& [name, way] : {std::pair("as recorded", &rows), std::pair("every 10 s", &joined)}) {
        for (const auto& [start_name, start] :
             {std::pair("defaults", DEFAULTS), std::pair("as shown", result.shown)}) {
            result.runs.push_back(run_over(*way, result, of.vendor, start));
            result.runs.back().rows = name;
            result.runs.back().start = start_name;
        }
    }
    return result;
}

std::string text_of(const recording_result& of) {
    std::string out;
    print(out, "%s: %zu rows, usually %llu s apart; shows %.0f mOhm, %.0f As\n", of.name.c_str(), of.rows,
          static_cast<unsigned long long>(of.spacing_s), of.shown.resistance_mohm, of.shown.capacity_as);
    print(out, "  %-12s %-9s %18s %18s %18s\n", "", "", "estimate, %", "shown, %", "at the end");
    print(out, "  %-12s %-9s %s %s %8s %8s %8s\n", "rows", "start", SCORE_COLUMNS, SCORE_COLUMNS, "mOhm",
          "As", "refused");
    for (const recorded_run& each : of.runs) {
        print(out, "  %-12s %-9s", each.rows.c_str(), each.start.c_str());
        each.estimated.append(out);
        each.shown.append(out);
        print(out, " %8.0f %8.0f %8zu\n", each.learnt.resistance_mohm, each.learnt.capacity_as, each.refused);
    }
    return out;
}

ordered_json json_of(const recording_result& of) {
    auto runs = ordered_json::array();
    for (const recorded_run& each : of.runs)
        runs.push_back({{"rows", each.rows},
                        {"start", each.start},
                        {"estimated", json_of(each.estimated)},
                        {"shown", json_of(each.shown)},
                        {"learnt", json_of(each.learnt)},
                        {"refused", each.refused}});
    return {{"name", of.name},
            {"rows", of.rows},
            {"spacing_s", of.spacing_s},
            {"toc_mv", of.toc_mv},
            {"shows", json_of(of.shown)},
            {"runs", runs}};
}

}  // namespace lab::yardstick
