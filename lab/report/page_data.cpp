#include <algorithm>
#include <cmath>
#include <ctime>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "charge_mgr/charge_mgr.h"
#include "lab/io/time_text.h"
#include "lab/report/decision_diff.h"
#include "lab/report/page.h"
#include "lab/report/provenance.h"
#include "lab/report/zone.h"
#include "lab/story/log_table.h"
#include "stress/stress_trip.h"

namespace lab::page_parts {

namespace {

using nlohmann::json;

constexpr std::array<std::string_view, 4> KIND_NAMES = {"log", "record", "property", "write"};
constexpr std::array<std::string_view, 4> END_NAMES = {"going_on", "unplugged", "full", "off"};
constexpr std::int32_t FULL_MV = 4450;  // step 0 of the top of charge
constexpr std::int32_t STEP_MV = 50;
constexpr std::string_view LOG_PREFIX = "--- vorn ";
constexpr std::size_t MAX_DIFFERENCES = 500;
constexpr std::array<std::string_view, 3> WEIGHT_NAMES = {"action", "finding", "routine"};

json stress_json(const report::stress_state& stress) {
    if (!stress.table) return nullptr;
    json hours = json::array(), weights = json::array(), first = json::array();
    constexpr auto columns = static_cast<std::size_t>(TEMP_BANDS);
    std::vector<double> brought(columns * VOLT_BANDS);
    for (const stress_bucket& each : summarise_stress(*stress.table).buckets)
        brought[static_cast<std::size_t>(each.row) * columns + static_cast<std::size_t>(each.column)] =
            each.stress_hours;
    for (std::int32_t row = 0; row < VOLT_BANDS; ++row) {
        for (std::int32_t column = 0; column < TEMP_BANDS; ++column) {
            const float entry =
                (*stress.table)[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
            hours.push_back(static_cast<double>(entry));  // a value that is no number becomes null
            first.push_back(static_cast<double>(
                (*stress.first)[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)]));
            weights.push_back(stress_weight(row, column));
        }
    }
    json levels = json::array();
    for (const auto& each : STRESS_TRIP_LEVELS) {
        levels.push_back({{"above_h", each.above_h}, {"toc_mv", FULL_MV - STEP_MV * each.step}});
    }
    std::reverse(levels.begin(), levels.end());
    json volt_edges = json::array(), temp_edges = json::array();
    for (std::int32_t row = 0; row < VOLT_BANDS - 1; ++row) volt_edges.push_back(volt_band_upper_mv(row));
    for (std::int32_t i = 0; i < TEMP_BANDS - 1; ++i) temp_edges.push_back(temp_band_upper_mc(i) / 1000);
    return {{"hours", hours},        // row after row, as in the file
            {"weights", weights},    // stress hours for one hour
            {"brought", brought},    // stress hours
            {"first_hours", first},  // as `hours`, at first_t
            {"levels", levels},      // lowest first
            {"volt_edges_mv", volt_edges},
            {"temp_edges_c", temp_edges},
            {"total_h", stress.total_h},
            {"first_h", stress.first_h},  // at first_t
            {"first_t", stress.first_t},
            {"last_t", stress.last_t},
            {"pace_from_h", stress.pace_from_h ? json(*stress.pace_from_h) : json()},  // at pace_from_t
            {"pace_from_t", stress.pace_from_t},
            {"has_changed", stress.has_changed},  // the top of charge, in this run
            {"offset_h", stress.offset_h}};
}

// A sentence's times of day, "2026-01-01 00:06:40", as times since the start: of a wall clock that was made up, which
// began at `start_s`.
std::string without_clock(const std::string& text, std::int64_t start_s) {
    static const std::regex time_of_day(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)");
    std::string told;
    auto rest = text.cbegin();
    for (std::sregex_iterator at(text.begin(), text.end(), time_of_day), none; at != none; ++at) {
        std::tm local{};
        std::istringstream(at->str()) >> std::get_time(&local, "%Y-%m-%d %H:%M:%S");
        local.tm_isdst = -1;
        told.append(rest, (*at)[0].first)
            .append(duration_text(std::mktime(&local) - start_s))
            .append(" after the start");
        rest = (*at)[0].second;
    }
    return told.append(rest, text.cend());
}

bool has_clock(const report& run) {
    return run.clock().has_wall_clock() && run.clock().start_real_time_s() != run.about().made_up_clock_s;
}

json clock_json(const report& run) {
    const run_clock& clock = run.clock();
    json jumps = json::array();
    for (const auto& each : clock.stretches()) jumps.push_back({each.t, each.offset_s});
    json zone = json::array();
    const std::int64_t start_s = clock.start_real_time_s();
    for (const auto& each : zone_offsets(start_s, start_s + clock.last())) {
        zone.push_back({each.from_s, each.offset_s, each.name});
    }
    return {{"start_s", has_clock(run) ? json(start_s) : json()},  // UTC, at moment 0 of the axis
            {"stretches", jumps},  // [from moment t on, the wall clock was t + this many seconds]
            {"stretches_left_out", clock.jumps_left_out()},
            {"zone", zone}};  // [from UTC second, offset in seconds, name]
}

json decision_json(const report& run, const report::told& told) {
    const decision& what = told.what;
    const auto text_of = [&run](const std::string& text) {
        return has_clock(run) ? text : without_clock(text, run.clock().start_real_time_s());
    };
    json numbers = json::array();
    for (const auto& [name, value] : what.numbers) numbers.push_back({name, text_of(value)});
    return {{"t", told.t},
            {"weight", WEIGHT_NAMES[static_cast<std::size_t>(what.weight)]},
            {"feature", what.feature},
            {"sentence", text_of(what.sentence)},
            {"numbers", numbers},
            {"line", told.line_id}};  // of the log's lines which shows it; empty: not known
}

json story_json(const report& run) {
    const auto& decisions = run.decisions();
    json told = json::array();
    for (const auto& each : decisions.entries()) told.push_back(decision_json(run, each.what));
    return {{"decisions", told}, {"taken", decisions.seen()}};
}

// The lines of one shape: when they were, and their numbers, all first ones, all second ones, ...: what stands in the
// same place of like lines packs well.
struct shape_lines {
    json dt = json::array();
    std::int64_t last_t = 0;
    std::vector<std::string> columns;

    void add(const log_store::line& line) {
        dt.push_back(line.t - last_t);
        last_t = line.t;
        std::size_t column = 0;
        for (std::size_t at = 0; at <= line.numbers.size(); ++column) {
            const std::size_t end =
                std::min(line.numbers.find(log_store::SEPARATOR, at), line.numbers.size());
            if (columns.size() <= column) columns.resize(column + 1);
            if (dt.size() > 1) columns[column] += log_store::SEPARATOR;
            columns[column].append(line.numbers, at, end - at);
            at = end + 1;
        }
    }
};

json log_json(const log_store& log) {
    std::vector<shape_lines> lines(log.shapes().size());
    json order = json::array();
    for (const auto& each : log.lines().entries()) {
        order.push_back(each.group);
        lines[each.group].add(each.what);
    }
    json shapes = json::array(), explained = json::object();
    for (std::size_t i = 0; i < log.shapes().size(); ++i) {
        const auto& each = log.shapes()[i];
        const auto& count = log.lines().groups()[i];
        if (const log_line* const known = find_log_line(each.line_id))
            explained[std::string(known->id)] = {known->meaning, known->remedy};
        shapes.push_back({{"kind", KIND_NAMES[static_cast<std::size_t>(each.kind)]},
                          {"feature", key_of(each.whose)},
                          {"text", each.text},
                          {"id", each.line_id},  // in docs/log.md; empty: it is none of the daemon's log
                          {"seen", count.seen},
                          {"kept", count.kept},
                          {"dt", lines[i].dt},  // from the line of this shape before
                          {"columns", lines[i].columns}});
    }
    return {{"shapes", shapes},
            {"order", order},          // the shape of each line
            {"explained", explained},  // by id: what it means, what to do
            {"seen", log.lines().seen()}};
}

json outcome_json(const outcome& of) {
    json result = {{"stress_h", of.stress_h},
                   {"high_s", of.high_s},
                   {"stopped_s", of.stopped_s},
                   {"span_s", of.span_s},
                   {"capacity_day_pct", of.capacity_day_pct},  // what a day of the run changes
                   {"resistance_day_pct", of.resistance_day_pct}};
    if (of.capacity_left_pct) result["capacity_left_pct"] = *of.capacity_left_pct;
    if (of.resistance_pct) result["resistance_pct"] = *of.resistance_pct;
    return result;
}

json cost_json(const cost& of) {
    json files = json::array();
    for (const auto& [path, file] : of.files) {
        files.push_back({{"path", path},
                         {"writes_per_year", of.per_year(file.writes)},
                         {"bytes_per_year", of.per_year(file.bytes)},
                         {"writes", file.writes},
                         {"failed", file.failed}});
    }
    return {{"span_s", of.span_s()},
            {"boots", of.boots},
            {"cycles", of.cycles},
            {"cycles_per_day", of.per_day(of.cycles)},
            {"log_lines_per_day", of.per_day(of.log_lines)},
            {"records_per_day", of.per_day(of.records)},
            {"property_writes_per_day", of.per_day(of.property_writes)},
            {"files", files}};
}

json features_json() {
    json features = json::object();
    for (std::size_t i = 0; i < FEATURE_COUNT; ++i) {
        const auto which = static_cast<feature>(i);
        features[std::string(key_of(which))] = title_of(which);
    }
    return features;
}

json about_json(const report::facts& about) {
    return {{"version", program_version},
            {"commit", program_commit},
            {"date", date_text()},
            {"command", about.command.empty() ? command_text() : about.command},
            {"source", about.source},
            {"sha256", about.digest},  // of the source; empty: it could be read only once
            {"seed", about.seed ? json(*about.seed) : json()},
            {"vendor", about.vendor}};
}

// What the page must know of the daemon that made the run.
json daemon_json() {
    return {{"full_mv", FULL_MV},
            {"log_prefix", LOG_PREFIX},  // before the words of every line of its log
            {"high_mv", outcome_meter::HIGH_MV}};
}

json apart_json(const far_apart& of) {
    const auto found = of.longest();
    if (!found) return nullptr;
    return {{"from_t", found->from_t},
            {"to_t", found->to_t},
            {"worst_t", found->worst_t},
            {"worst_pct", found->worst_pct}};  // negative: below
}

json gaps_json(const gap_list& of) {
    json gaps = json::array();
    for (const auto& each : of.gaps()) gaps.push_back({each.from_t, each.to_t, each.is_off ? 1 : 0});
    return {{"gaps", gaps},  // [from t, to t, 1 when the daemon was not running]
            {"forgotten", of.forgotten()},
            {"usual_s", of.usual_s()},
            {"above_s", of.longest_usual_s()}};
}

json sessions_json(const charge_sessions& of) {
    const auto optional = [](const auto& value) { return value ? json(*value) : json(); };
    json sessions = json::array();
    for (const auto& each : of.all()) {
        sessions.push_back({{"from_t", each.from_t},
                            {"to_t", each.to_t},
                            {"from_pct", optional(each.from_pct)},
                            {"to_pct", optional(each.to_pct)},
                            {"mah", each.charge_mas / 3600},
                            {"unmeasured_s", each.unmeasured_s},
                            {"peak_decic", optional(each.peak_decic)},
                            {"stopped", each.was_stopped},
                            {"was_full", each.was_full},
                            {"end", END_NAMES[static_cast<std::size_t>(each.ended)]}});
    }
    return {{"sessions", sessions}, {"seen", of.seen()}};
}

json happenings_json(const std::vector<report::happening>& happenings) {
    json all = json::array();
    for (const auto& each : happenings)
        all.push_back({{"t", each.at_s}, {"for_s", each.for_s}, {"what", each.what}});
    return all;
}

json expectations_json(const std::vector<expectation_outcome>& outcomes) {
    json all = json::array();
    for (const auto& each : outcomes)
        all.push_back({{"what", each.what}, {"found", each.found}, {"holds", each.holds}});
    return all;
}

json samples_json(const report& of, const std::vector<sample_row>& rows) {
    return {{"rows", rows.size()},
            {"cycles", of.series().cycles()},
            {"cycles_per_bucket", of.series().cycles_per_bucket()},
            {"columns", sample_columns(rows)}};
}

json other_json(const report& run, const report& other) {
    const decision_diff diff = compare_decisions(run, other);
    json differences = json::array();
    for (const auto& each : diff.differences) {
        if (differences.size() >= MAX_DIFFERENCES) break;
        json told = decision_json(each.is_of_second ? other : run, *each.told);
        told["of_second"] = each.is_of_second;
        differences.push_back(std::move(told));
    }
    return {{"title", other.about().title},
            {"samples", is_drawn(run, other) ? samples_json(other, means_of(rows_of(other))) : json()},
            {"differences", differences},  // decisions that one of the two took
            {"differences_seen", diff.differences.size()},
            {"same", diff.same}};
}

}  // namespace

std::vector<sample_row> rows_of(const report& run) {
    return sample_rows(run.series(), run.gaps().gaps(), run.closer());
}

// The second run's line is its means alone, which keeps the page small.
std::vector<sample_row> means_of(std::vector<sample_row> rows) {
    for (sample_row& row : rows) {
        row.in_state.clear();
        for (auto& value : row.values) {
            if (value.count > 0)
                value.least = value.greatest = static_cast<std::int32_t>(std::lround(value.mean()));
        }
    }
    return rows;
}

bool is_drawn(const report& run, const report& other) {
    return run.fingerprint() != other.fingerprint();
}

std::string run_json(const report& run, const cost& counted, const run_ending& ending,
                     const std::vector<sample_row>& rows) {
    json data = {{"title", run.about().title},
                 {"origin", run.about().origin},
                 {"is_from_log", ending.is_from_log},
                 {"about", about_json(run.about())},
                 {"daemon", daemon_json()},
                 {"span_s", run.clock().last()},  // from the first moment to the last one
                 {"clock", clock_json(run)},
                 {"features", features_json()},
                 {"samples", samples_json(run, rows)},
                 {"gaps", gaps_json(run.gaps())},
                 {"displayed_from_gauge", apart_json(run.displayed_from_gauge())},
                 {"displayed_from_true", apart_json(run.displayed_from_true())},
                 {"sessions", sessions_json(run.sessions())},
                 {"happenings", happenings_json(run.happenings())},
                 {"expectations", expectations_json(ending.expectations)},
                 {"caution", ending.caution},
                 {"stress", stress_json(run.stress())},
                 {"story", story_json(run)},
                 {"log", log_json(run.log())},
                 {"cost", cost_json(counted)},
                 {"worth", nullptr},
                 {"other", ending.other == nullptr ? json() : other_json(run, *ending.other)}};
    if (ending.compared) {
        data["worth"] = {{"heeded", outcome_json(ending.compared->heeded)},
                         {"ignored", outcome_json(ending.compared->ignored)}};
    }
    // Texts may hold bytes that are not UTF-8.
    return data.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace lab::page_parts
