#include <algorithm>
#include <functional>
#include <nlohmann/json.hpp>

#include "charge_mgr/charge_mgr.h"
#include "lab/report/pack.h"
#include "lab/report/page.h"
#include "lab/report/zone.h"
#include "stress/stress_trip.h"

namespace lab::page_parts {

namespace {

using nlohmann::json;

constexpr std::array<std::string_view, 4> KIND_NAMES = {"log", "record", "property", "write"};
constexpr std::array<std::string_view, 3> WEIGHT_NAMES = {"action", "finding", "routine"};

constexpr std::uint32_t WHOLE_SHARE = 255;  // of a bucket's cycles; 0 and this mean none and all, exactly

// One column of the samples: its name and what it holds for a bucket.
struct sample_column {
    std::string name;
    std::function<std::int64_t(std::size_t bucket)> value;
};

std::int64_t share(std::uint32_t in_state, std::uint32_t cycles) {
    if (in_state == 0 || in_state == cycles) return in_state == 0 ? 0 : WHOLE_SHARE;
    const std::uint64_t scaled = std::uint64_t{in_state} * WHOLE_SHARE / cycles;
    return static_cast<std::int64_t>(std::clamp<std::uint64_t>(scaled, 1, WHOLE_SHARE - 1));
}

// Least value, how much greater the greatest is, and whether there is a value.
void add_channel(std::vector<sample_column>& columns, const thinned_series& series, std::size_t channel) {
    const auto range = [&series, channel](std::size_t bucket) -> const thinned_series::range& {
        return series.value(channel, bucket);
    };
    const auto has_value = [range](std::size_t bucket) {
        return range(bucket).least != thinned_series::NO_VALUE;
    };
    bool is_used = false;
    for (std::size_t i = 0; i < series.size() && !is_used; ++i) is_used = has_value(i);
    if (!is_used) return;
    const std::string name(channel_names[channel]);
    columns.push_back({name + ".least", [=](std::size_t i) { return has_value(i) ? range(i).least : 0; }});
    columns.push_back(
        {name + ".spread", [=](std::size_t i) { return std::int64_t{range(i).greatest} - range(i).least; }});
    columns.push_back({name + ".has", [=](std::size_t i) { return has_value(i) ? 1 : 0; }});
}

void add_state(std::vector<sample_column>& columns, const thinned_series& series, std::size_t state) {
    bool is_used = false;
    for (std::size_t i = 0; i < series.size() && !is_used; ++i)
        is_used = series.cycles_in_state(state, i) > 0;
    if (!is_used) return;
    columns.push_back({std::string(state_names[state]), [&series, state](std::size_t i) {
                           return share(series.cycles_in_state(state, i), series.bucket(i).cycles);
                       }});
}

std::vector<sample_column> columns_of(const thinned_series& series) {
    std::vector<sample_column> columns;
    columns.push_back({"first_t", [&series](std::size_t i) { return series.bucket(i).first_t; }});
    columns.push_back({"length_s", [&series](std::size_t i) {
                           return series.bucket(i).last_t - series.bucket(i).first_t;
                       }});
    for (std::size_t i = 0; i < channel_names.size(); ++i) add_channel(columns, series, i);
    for (std::size_t i = 0; i < state_names.size(); ++i) add_state(columns, series, i);
    return columns;
}

json clock_json(const run_clock& clock) {
    json jumps = json::array();
    for (const auto& each : clock.stretches()) jumps.push_back({each.t, each.offset_s});
    json zone = json::array();
    const std::int64_t start_s = clock.start_real_time_s();
    for (const auto& each : zone_offsets(start_s, start_s + clock.last())) {
        zone.push_back({each.from_s, each.offset_s, each.name});
    }
    return {{"start_s", clock.has_wall_clock() ? json(start_s) : json()},  // UTC, at moment 0 of the axis
            {"stretches", jumps},  // [from moment t on, the wall clock was t + this many seconds]
            {"stretches_left_out", clock.jumps_left_out()},
            {"zone", zone}};  // [from UTC second, offset in seconds, name]
}

json stress_json(const report::stress_state& stress) {
    if (!stress.table) return nullptr;
    json hours = json::array(), weights = json::array();
    std::vector<double> brought(VOLT_BANDS * TEMP_BANDS);
    for (const stress_bucket& each : summarise_stress(*stress.table).buckets)
        brought[static_cast<std::size_t>(each.row * TEMP_BANDS + each.column)] = each.stress_hours;
    for (std::int32_t row = 0; row < VOLT_BANDS; ++row) {
        for (std::int32_t column = 0; column < TEMP_BANDS; ++column) {
            const float entry =
                (*stress.table)[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
            hours.push_back(static_cast<double>(entry));  // a value that is no number becomes null
            weights.push_back(stress_weight(row, column));
        }
    }
    json levels = json::array();
    for (const auto& each : STRESS_TRIP_LEVELS) {
        levels.push_back({{"above_h", each.above_h}, {"toc_mv", 4450 - 50 * each.step}});
    }
    std::reverse(levels.begin(), levels.end());
    json volt_edges = json::array(), temp_edges = json::array();
    for (std::int32_t row = 0; row < VOLT_BANDS - 1; ++row) volt_edges.push_back(volt_band_upper_mv(row));
    for (std::int32_t i = 0; i < TEMP_BANDS - 1; ++i) temp_edges.push_back(temp_band_upper_mc(i) / 1000);
    return {{"hours", hours},      // row after row, as in the file
            {"weights", weights},  // stress hours for one hour
            {"brought", brought},  // stress hours
            {"levels", levels},    // lowest first
            {"volt_edges_mv", volt_edges},
            {"temp_edges_c", temp_edges},
            {"total_h", stress.total_h},
            {"first_h", stress.first_h},  // at first_t
            {"first_t", stress.first_t},
            {"last_t", stress.last_t},
            {"offset_h", stress.offset_h}};
}

json story_json(const thinned_list<report::told>& decisions) {
    json told = json::array();
    for (const auto& each : decisions.entries()) {
        const decision& what = each.what.what;
        json numbers = json::array();
        for (const auto& [name, value] : what.numbers) numbers.push_back({name, value});
        told.push_back({{"t", each.what.t},
                        {"weight", WEIGHT_NAMES[static_cast<std::size_t>(what.weight)]},
                        {"feature", what.feature},
                        {"sentence", what.sentence},
                        {"numbers", numbers}});
    }
    return {{"decisions", told}, {"taken", decisions.seen()}};
}

json log_json(const log_store& log) {
    json shapes = json::array();
    for (std::size_t i = 0; i < log.shapes().size(); ++i) {
        const auto& each = log.shapes()[i];
        const auto& count = log.lines().groups()[i];
        shapes.push_back({{"kind", KIND_NAMES[static_cast<std::size_t>(each.kind)]},
                          {"feature", key_of(each.whose)},
                          {"text", each.text},
                          {"seen", count.seen},
                          {"kept", count.kept}});
    }
    json times = json::array(), numbers_of_shapes = json::array(), numbers = json::array();
    std::int64_t last_t = 0;
    for (const auto& each : log.lines().entries()) {
        times.push_back(each.what.t - last_t);
        last_t = each.what.t;
        numbers_of_shapes.push_back(each.group);
        numbers.push_back(each.what.numbers);
    }
    return {{"shapes", shapes},
            {"dt", times},  // from the line before
            {"shape", numbers_of_shapes},
            {"numbers", numbers},
            {"seen", log.lines().seen()}};
}

json outcome_json(const outcome& of) {
    json result = {
        {"stress_h", of.stress_h}, {"high_s", of.high_s}, {"stopped_s", of.stopped_s}, {"span_s", of.span_s}};
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

}  // namespace

std::vector<std::string> sample_columns(const thinned_series& series) {
    std::vector<std::string> names;
    for (const auto& each : columns_of(series)) names.push_back(each.name);
    return names;
}

std::string sample_bytes(const thinned_series& series) {
    std::string bytes;
    for (const auto& each : columns_of(series)) {
        delta_column column;
        for (std::size_t i = 0; i < series.size(); ++i) column.add(each.value(i));
        bytes += column.bytes();
    }
    return bytes;
}

std::string run_json(const report& about, const cost& of, const std::optional<comparison>& compared) {
    json run = {{"title", about.about().title},
                {"origin", about.about().origin},
                {"span_s", about.clock().last()},  // from the first moment to the last one
                {"clock", clock_json(about.clock())},
                {"features", features_json()},
                {"samples",
                 {{"buckets", about.series().size()},
                  {"cycles", about.series().cycles()},
                  {"cycles_per_bucket", about.series().cycles_per_bucket()},
                  {"columns", sample_columns(about.series())}}},
                {"stress", stress_json(about.stress())},
                {"story", story_json(about.decisions())},
                {"log", log_json(about.log())},
                {"cost", cost_json(of)},
                {"worth", nullptr}};
    if (compared) {
        run["worth"] = {{"heeded", outcome_json(compared->heeded)},
                        {"ignored", outcome_json(compared->ignored)}};
    }
    // Texts may hold bytes that are not UTF-8.
    return run.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace lab::page_parts
