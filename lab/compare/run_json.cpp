#include "lab/compare/run_json.h"

#include <array>
#include <cmath>

#include "lab/io/error.h"
#include "lab/report/provenance.h"

namespace lab {

namespace {

using nlohmann::ordered_json;

constexpr std::array<std::string_view, 4> STATUS_NAMES{"good", "unexpected", "crashed", "failed"};
constexpr std::array<std::string_view, 3> WEIGHT_NAMES{"action", "finding", "routine"};

template <typename Names>
std::size_t index_in(const Names& names, std::string_view name) {
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == name) return i;
    }
    return 0;
}

// Three decimals are a second of an hour and a thousandth of a percent.
double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

ordered_json optional_number(const std::optional<double>& value) {
    return value ? ordered_json(rounded(*value)) : ordered_json();
}

std::optional<double> number_or_none(const ordered_json& from, const char* key) {
    if (!from.contains(key) || !from.at(key).is_number()) return std::nullopt;
    return from.at(key).get<double>();
}

template <typename T>
void take(const ordered_json& from, const char* key, T& into) {
    if (from.contains(key) && !from.at(key).is_null()) from.at(key).get_to(into);
}
// JSON has no word for what is no number.
void take(const ordered_json& from, const char* key, double& into) {
    if (from.contains(key)) into = from.at(key).is_null() ? NAN : from.at(key).get<double>();
}

const ordered_json& list_in(const ordered_json& from, const char* key) {
    static const ordered_json NONE = ordered_json::array();
    return from.contains(key) ? from.at(key) : NONE;
}

ordered_json json_of(const std::optional<error_figures>& of) {
    if (!of) return {};
    return {{"samples", of->samples},
            {"mean_pct", rounded(of->mean_pct)},
            {"mean_magnitude_pct", rounded(of->mean_magnitude_pct)},
            {"p95_pct", rounded(of->p95_pct)},
            {"greatest_pct", rounded(of->greatest_pct)},
            {"greatest_at_s", of->greatest_at_s}};
}

std::optional<error_figures> errors_from(const ordered_json& from, const char* key) {
    if (!from.contains(key) || from.at(key).is_null()) return std::nullopt;
    const ordered_json& object = from.at(key);
    error_figures read;
    take(object, "samples", read.samples);
    take(object, "mean_pct", read.mean_pct);
    take(object, "mean_magnitude_pct", read.mean_magnitude_pct);
    take(object, "p95_pct", read.p95_pct);
    take(object, "greatest_pct", read.greatest_pct);
    take(object, "greatest_at_s", read.greatest_at_s);
    return read;
}

// Both directions from one list of names.
template <typename Cost, typename Visit>
void visit_cost(Cost& of, Visit visit) {
    visit("cycles", of.cycles);
    visit("log_lines", of.log_lines);
    visit("records", of.records);
    visit("log_bytes", of.log_bytes);
    visit("property_writes", of.property_writes);
    visit("file_writes", of.file_writes);
    visit("failed_writes", of.failed_writes);
    visit("file_bytes", of.file_bytes);
}

ordered_json json_of(const span_figures& of) {
    ordered_json cost;
    visit_cost(of.cost, [&](const char* key, std::int64_t value) { cost[key] = value; });
    return {{"boot", of.boot},
            {"begin_s", of.begin_s},
            {"end_s", of.end_s},
            {"toc_mv", of.toc_mv},
            {"stress_h", rounded(of.stress_h)},
            {"high_h", rounded(of.high_h)},
            {"stopped_h", rounded(of.stopped_h)},
            {"equivalent_cycles", rounded(of.equivalent_cycles)},
            {"capacity_left_pct", optional_number(of.capacity_left_pct)},
            {"resistance_pct", optional_number(of.resistance_pct)},
            {"estimated", json_of(of.estimated)},
            {"shown", json_of(of.shown)},
            {"cost", cost}};
}

span_figures span_from(const ordered_json& from) {
    span_figures read;
    take(from, "boot", read.boot);
    take(from, "begin_s", read.begin_s);
    take(from, "end_s", read.end_s);
    take(from, "toc_mv", read.toc_mv);
    take(from, "stress_h", read.stress_h);
    take(from, "high_h", read.high_h);
    take(from, "stopped_h", read.stopped_h);
    take(from, "equivalent_cycles", read.equivalent_cycles);
    read.capacity_left_pct = number_or_none(from, "capacity_left_pct");
    read.resistance_pct = number_or_none(from, "resistance_pct");
    read.estimated = errors_from(from, "estimated");
    read.shown = errors_from(from, "shown");
    if (from.contains("cost"))
        visit_cost(read.cost,
                   [&](const char* key, std::int64_t& value) { take(from.at("cost"), key, value); });
    return read;
}

ordered_json json_of(const run_decision& of) {
    ordered_json numbers = ordered_json::object();
    for (const number& each : of.what.numbers) numbers[each.name] = each.value;
    return {{"t_s", of.t_s},
            {"boot", of.what.boot},
            {"elapsed_s", of.what.elapsed_s},
            {"weight", WEIGHT_NAMES[static_cast<std::size_t>(of.what.weight)]},
            {"feature", of.what.feature},
            {"sentence", of.what.sentence},
            {"numbers", numbers}};
}

run_decision decision_from(const ordered_json& from) {
    run_decision read;
    take(from, "t_s", read.t_s);
    take(from, "boot", read.what.boot);
    take(from, "elapsed_s", read.what.elapsed_s);
    take(from, "feature", read.what.feature);
    take(from, "sentence", read.what.sentence);
    read.what.weight = static_cast<importance>(index_in(WEIGHT_NAMES, from.value("weight", "action")));
    if (!from.contains("numbers")) return read;
    for (const auto& [name, value] : from.at("numbers").items()) read.what.numbers.push_back({name, value});
    return read;
}

void take_lists(const ordered_json& from, run_result& into) {
    for (const auto& each : list_in(from, "boots")) into.boots.push_back(span_from(each));
    for (const auto& each : list_in(from, "steps")) {
        stress_step& step = into.steps.emplace_back();
        take(each, "t_s", step.t_s);
        take(each, "boot", step.boot);
        take(each, "step", step.step);
        take(each, "toc_mv", step.toc_mv);
        take(each, "stress_h", step.stress_h);
    }
    for (const auto& each : list_in(from, "charge_stopped")) {
        charge_stop& stop = into.stops.emplace_back();
        take(each, "why", stop.why);
        take(each, "begin_s", stop.begin_s);
        take(each, "lasted_s", stop.lasted_s);
        take(each, "is_open", stop.is_open);
    }
    for (const auto& each : list_in(from, "decisions")) into.decisions.push_back(decision_from(each));
    for (const auto& each : list_in(from, "files")) {
        file_cost& file = into.files[each.value("path", "")];
        take(each, "writes", file.writes);
        take(each, "failed", file.failed);
        take(each, "bytes", file.bytes);
    }
}

}  // namespace

ordered_json json_of(const run_result& result) {
    ordered_json all;
    all["input"] = result.about.input;
    all["title"] = result.about.title;
    all["origin"] = result.about.origin;
    all["time_zone"] = result.about.time_zone;
    all["seed"] = result.about.seed;
    all["settings"] = result.about.settings;
    all["status"] = STATUS_NAMES[static_cast<std::size_t>(result.status)];
    all["error"] = result.error;
    all["expectations"] = {{"count", result.expected}, {"failures", result.failures}};
    all["end"] = json_of(result.whole);
    all["reference"] = result.reference;
    all["steps"] = ordered_json::array();
    for (const stress_step& each : result.steps) {
        all["steps"].push_back({{"t_s", each.t_s},
                                {"boot", each.boot},
                                {"step", each.step},
                                {"toc_mv", each.toc_mv},
                                {"stress_h", each.stress_h}});
    }
    all["charge_stopped"] = ordered_json::array();
    for (const charge_stop& each : result.stops) {
        all["charge_stopped"].push_back({{"why", each.why},
                                         {"begin_s", each.begin_s},
                                         {"lasted_s", each.lasted_s},
                                         {"is_open", each.is_open}});
    }
    all["decision_count"] = result.decision_count;
    all["decisions"] = ordered_json::array();
    for (const run_decision& each : result.decisions) all["decisions"].push_back(json_of(each));
    all["boot_count"] = result.boot_count;
    all["boots"] = ordered_json::array();
    for (const span_figures& each : result.boots) all["boots"].push_back(json_of(each));
    all["files"] = ordered_json::array();
    for (const auto& [path, file] : result.files) {
        all["files"].push_back(
            {{"path", path}, {"writes", file.writes}, {"failed", file.failed}, {"bytes", file.bytes}});
    }
    all["digests"] = {{"events", result.events_digest}, {"cycles", result.cycles_digest}};
    return all;
}

ordered_json json_of(const build_identity& build) {
    return {
        {"version", build.version}, {"commit", program_commit}, {"daemon", build.daemon}, {"lab", build.lab}};
}

std::string run_document(const std::vector<ordered_json>& runs) {
    const ordered_json all{{"schema", RUN_SCHEMA}, {"build", json_of(this_build())}, {"runs", runs}};
    return all.dump(1, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

run_result run_from_json(const ordered_json& from) {
    run_result read;
    take(from, "input", read.about.input);
    take(from, "title", read.about.title);
    take(from, "origin", read.about.origin);
    take(from, "time_zone", read.about.time_zone);
    take(from, "seed", read.about.seed);
    take(from, "settings", read.about.settings);
    read.status = static_cast<run_status>(index_in(STATUS_NAMES, from.value("status", "good")));
    take(from, "error", read.error);
    if (from.contains("expectations")) {
        take(from.at("expectations"), "count", read.expected);
        take(from.at("expectations"), "failures", read.failures);
    }
    if (from.contains("end")) read.whole = span_from(from.at("end"));
    take(from, "reference", read.reference);
    take(from, "decision_count", read.decision_count);
    take(from, "boot_count", read.boot_count);
    take_lists(from, read);
    if (from.contains("digests")) {
        take(from.at("digests"), "events", read.events_digest);
        take(from.at("digests"), "cycles", read.cycles_digest);
    }
    return read;
}

run_report read_run_document(std::string_view text, const std::string& name) {
    run_report read;
    try {
        const auto all = ordered_json::parse(text);
        if (all.value("schema", "") != RUN_SCHEMA)
            throw input_error(name + ": not a result of runs (\"schema\": \"" + std::string(RUN_SCHEMA) +
                              "\")");
        for (const auto& each : all.at("runs")) read.runs.push_back(run_from_json(each));
        if (all.contains("build")) {
            take(all.at("build"), "version", read.build.version);
            take(all.at("build"), "daemon", read.build.daemon);
            take(all.at("build"), "lab", read.build.lab);
        }
    } catch (const nlohmann::json::exception& wrong) {
        throw input_error(name + ": not a result of runs: " + wrong.what());
    }
    return read;
}

}  // namespace lab
