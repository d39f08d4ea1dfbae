// [[event]] and [[expect]].

#include <algorithm>
#include <array>

#include "lab/io/time_text.h"
#include "lab/records/record_schema.h"
#include "lab/scenario/reader.h"
#include "lab/scenario/truth.h"
#include "lab/session/cycle.h"
#include "lab/session/device_files.h"
#include "lab/state/state_layout.h"

namespace lab {

namespace {

constexpr std::array<std::string_view, 4> READS_NAMES{"text", "missing", "empty", "error"};

std::string needed_text(toml_section& from, std::string_view key) {
    const auto text = from.text(key);
    if (!text) from.fail("needs " + std::string(key));
    return *text;
}

double needed_number(toml_section& from, std::string_view key, double least, double greatest) {
    const auto number = from.number(key, least, greatest);
    if (!number) from.fail("needs " + std::string(key));
    return *number;
}

std::string known_word(toml_section& from, std::string_view key, std::span<const std::string_view> words) {
    auto given = needed_text(from, key);
    if (std::find(words.begin(), words.end(), given) == words.end()) {
        from.fail(*from.content().get(key),
                  "no " + std::string(key) + " \"" + given + "\"" + meant(given, words));
    }
    return given;
}

template <std::size_t N>
std::vector<std::string_view> columns_of(const std::array<device_file, N>& files) {
    std::vector<std::string_view> names;
    for (const auto& each : files) names.push_back(each.name);
    return names;
}

// What a node or mock file reads: a text of its own, or one of the ways not to have one.
void read_content(toml_section& from, scenario_event& into) {
    const auto text = from.text("text");
    const auto reads = from.choice("reads", READS_NAMES);
    if (text.has_value() == reads.has_value()) from.fail("needs either text or reads");
    if (reads) into.reads = static_cast<text_kind>(*reads);
    if (text) into.text = *text;
}

std::string content_text(const scenario_event& of) {
    if (of.reads != text_kind::text) return std::string(READS_NAMES[static_cast<std::size_t>(of.reads)]);
    return "\"" + of.text + "\"";
}

std::string amount_text(double value) {
    std::string text = std::to_string(value);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.')) text.pop_back();
    return text;
}

void read_failing_call(toml_section& from, scenario_event& into) {
    const auto call = from.choice("call", failing_call_names);
    if (!call) from.fail("needs call");
    into.call = static_cast<failing_call>(*call);
    into.target = needed_text(from, "target");
    if (into.call == failing_call::property_set || into.target.starts_with('/')) return;
    std::vector<std::string_view> names;
    for (const auto& each : state_files) names.push_back(each.name);
    const auto* const file = find_state_file(into.target);
    if (file == nullptr) {
        from.fail(*from.content().get("target"),
                  "no state file or path \"" + into.target + "\"" + meant(into.target, names));
    }
    into.target = file->path;
}

void read_action(toml_section& from, scenario_event& into) {
    switch (into.action) {
        case event_action::plug:
            into.charger = static_cast<phone::charger_kind>(
                from.choice("charger", phone::charger_kind_names).value_or(2));
            into.what = "a charger is plugged in: " +
                        std::string(phone::charger_kind_names[static_cast<std::size_t>(into.charger)]);
            break;
        case event_action::unplug:
            into.charger = phone::charger_kind::none;
            into.what = "the charger is unplugged";
            break;
        case event_action::clock_lost:
            into.what = "the wall clock is lost";
            break;
        case event_action::clock_shift: {
            const auto by = from.duration("by");
            if (!by) from.fail("needs by, a duration");
            into.shift_s = *by;
            into.what = "the wall clock is off by " + std::to_string(*by) + " s";
            break;
        }
        case event_action::node:
            into.target = known_word(from, "node", columns_of(DEVICE_NODES));
            read_content(from, into);
            into.what = "the node " + into.target + " reads " + content_text(into);
            break;
        case event_action::mock:
            into.target = known_word(from, "file", columns_of(MOCK_FILES));
            read_content(from, into);
            into.what = "the file " + into.target + " is " + content_text(into);
            break;
        case event_action::fail:
            read_failing_call(from, into);
            into.what = std::string(failing_call_names[static_cast<std::size_t>(into.call)]) + " fails for " +
                        into.target;
            break;
        case event_action::soft_short:
            into.amount = needed_number(from, "ohm", 0.1, 1e6);
            into.what = "a soft short of " + amount_text(into.amount) + " ohm";
            break;
        case event_action::heater:
            into.amount = needed_number(from, "watt", -1000, 1000);
            into.what = "heat from outside: " + amount_text(into.amount) + " W";
            break;
        case event_action::power_cut:
            into.what = "the power is cut";
            break;
        case event_action::reboot:
            into.what = "the phone is rebooted";
            break;
        case event_action::restart:
            into.what = "the daemon is restarted";
            break;
    }
}

// A record by its name in record_index.h, or by the beginning of its schema id.
void check_record(toml_section& from, const std::string& name) {
    std::vector<std::string_view> names;
    bool is_known = false;
    for (const record_schema& each : schemas()) {
        names.push_back(each.name);
        is_known = is_known || name == each.name || (!name.empty() && each.id.starts_with(name));
    }
    if (is_known) return;
    from.fail(*from.content().get("record"), "no record \"" + name + "\"" + meant(name, names));
}

// The columns of a series that are the daemon's.
std::vector<std::string_view> series_quantities() {
    std::vector<std::string_view> names(column_names.begin(), column_names.end());
    names.push_back(STRESS_COLUMN);
    return names;
}

void check_subject(toml_section& from, expectation& into) {
    if (into.of == subject::file) {
        std::vector<std::string_view> names;
        for (const auto& each : state_files) names.push_back(each.name);
        const auto name = known_word(from, "file", names);
        const auto field = needed_text(from, "field");
        const auto* const file = find_state_file(name);
        if (!state_field_text(*file, std::string(file->size, '\0'), field)) {
            from.fail(*from.content().get("field"),
                      name + " has no field " + field + " (docs/state-files.md)");
        }
        into.name = name + "." + field;
    } else if (into.of == subject::record) {
        check_record(from, into.name);
    } else if (into.of == subject::cell) {
        into.name = known_word(from, "cell", truth_column_names);
    } else if (into.of == subject::series) {
        into.name = known_word(from, "series", series_quantities());
    }
}

void check_within(const toml_section& from, std::string_view key, std::int64_t moment_s, std::int64_t last_s,
                  std::int64_t end_s) {
    if (moment_s <= last_s) return;
    from.fail(*from.content().get(key),
              std::string(key) + " comes when the scenario is over: it lasts " + duration_text(end_s));
}

// From when to when: a decision is taken after one moment and before another one.
void read_span(toml_section& from, expectation& into, std::int64_t start_utc_s, std::int64_t end_s) {
    const bool is_decision = into.of == subject::decision;
    const std::string_view begin = is_decision ? "after" : "since";
    const std::string_view end = is_decision ? "before" : "at";
    into.at_s = from.moment(end, start_utc_s);
    into.since_s = from.moment(begin, start_utc_s).value_or(0);
    check_within(from, end, into.at_s.value_or(end_s), end_s, end_s);
    check_within(from, begin, into.since_s, end_s - 1, end_s);
    if (into.since_s > into.at_s.value_or(end_s))
        from.fail(std::string(begin) + " is later than " + std::string(end));
}

void read_limits(toml_section& from, expectation& into) {
    into.is = from.text_or_number("is");
    into.min = from.number("min", -1e18, 1e18);
    into.max = from.number("max", -1e18, 1e18);
    const auto count = from.integer("count", 0, 1000000000);
    if (is_counted(into.of)) {
        if (into.is) from.fail("log lines, records and decisions are counted: count, min or max");
        if (count) into.min = into.max = static_cast<double>(*count);
        if (!into.min && !into.max) into.min = 1;
    } else {
        if (count) from.fail("count is for log lines, records and decisions");
        if (!into.is && !into.min && !into.max) from.fail("needs is, min or max");
    }
}

}  // namespace

scenario_event read_scenario_event(toml_section& from, std::int64_t start_utc_s, std::int64_t end_s) {
    scenario_event read;
    const auto action = from.choice("do", event_action_names);
    if (!action) from.fail("needs do" + meant("", event_action_names));
    read.action = static_cast<event_action>(*action);
    const auto at_s = from.moment("at", start_utc_s);
    if (!at_s) from.fail("needs at");
    check_within(from, "at", *at_s, end_s - 1, end_s);
    read.at_s = *at_s;
    read.for_s = from.duration("for").value_or(0);
    read.every_s = from.duration("every").value_or(0);
    if (read.for_s < 0 || read.every_s < 0) from.fail("for and every must not be negative");
    if (read.every_s > 0 && read.for_s >= read.every_s) from.fail("for must be shorter than every");
    read_action(from, read);
    from.finish();
    return read;
}

expectation read_expectation(toml_section& from, std::int64_t start_utc_s, std::int64_t end_s) {
    expectation read;
    read.where = from.where();
    std::size_t found = 0;
    for (std::size_t i = 0; i < subject_names.size(); ++i) {
        const auto name = from.text(subject_names[i]);
        if (!name) continue;
        read.of = static_cast<subject>(i);
        read.name = *name;
        found += 1;
    }
    if (found != 1) from.fail("needs exactly one of property, file, log, record, decision, cell and series");
    check_subject(from, read);
    read_span(from, read, start_utc_s, end_s);
    read.is_throughout = from.flag("throughout").value_or(false);
    read_limits(from, read);
    from.finish();
    return read;
}

}  // namespace lab
