#include "lab/state/diff.h"

#include <algorithm>
#include <charconv>
#include <nlohmann/json.hpp>

#include "lab/io/error.h"
#include "lab/io/print.h"
#include "lab/state/daemon_view.h"
#include "lab/state/stress_table.h"
#include "lab/state/values.h"

namespace lab {

namespace {

constexpr const char* NONE = "none";

template <typename T>
T parsed(const std::string& text) {
    T value{};
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

std::string integer_difference(const std::string& from, const std::string& to) {
    std::int64_t difference = 0;
    if (__builtin_sub_overflow(parsed<std::int64_t>(to), parsed<std::int64_t>(from), &difference)) return "";
    std::string text;
    print(text, "%+lld", static_cast<long long>(difference));
    return text;
}

std::string real_difference(const std::string& from, const std::string& to) {
    std::string text;
    print(text, "%+.7g", parsed<double>(to) - parsed<double>(from));
    return text;
}

std::string note_on(const state_place& place, const std::string& to) {
    if (place.file->name == "batt_stress") {
        return bucket_text(static_cast<std::int32_t>(place.row), static_cast<std::int32_t>(place.column));
    }
    if (is_time(place) && to != NONE) return utc_text(parsed<std::int64_t>(to)).value_or("");
    return "";
}

void compare_fields(const stored_file& before, const stored_file& after, std::vector<state_change>& changes) {
    for (const state_place& place : state_places_of(*before.kind)) {
        const std::string from = value_text(before, place).value_or(NONE);
        const std::string to = value_text(after, place).value_or(NONE);
        if (from == to) continue;
        state_change change = {place.name(),      from, to, std::string(place.field->unit), "",
                               note_on(place, to)};
        if (from != NONE && to != NONE) {
            const bool is_real = place.field->type == field_type::f32;
            change.difference = is_real ? real_difference(from, to) : integer_difference(from, to);
        }
        changes.push_back(std::move(change));
    }
}

std::string condition_text(const stored_file& file) {
    std::string text(words(file.condition));
    if (file.condition == file_condition::longer || file.condition == file_condition::shorter)
        text += " (" + std::to_string(file.size) + " bytes)";
    return text;
}

void compare_numbers(const char* name, std::int64_t from, std::int64_t to, const char* unit,
                     std::vector<state_change>& changes) {
    if (from == to) return;
    const std::string from_text = std::to_string(from);
    const std::string to_text = std::to_string(to);
    changes.push_back({name, from_text, to_text, unit, integer_difference(from_text, to_text), ""});
}

void compare_resistances(std::int32_t from, std::int32_t to, std::vector<state_change>& changes) {
    if (from == to) return;
    state_change change = {"resistance taken", "", "", "mΩ", "", ""};
    print(change.from, "%.1f", from / 10.0);
    print(change.to, "%.1f", to / 10.0);
    print(change.difference, "%+.1f", (to - from) / 10.0);
    changes.push_back(std::move(change));
}

void compare_views(const stored_state& before, const stored_state& after, std::string_view kind,
                   std::vector<state_change>& changes) {
    const daemon_view from = ask_daemon(before);
    const daemon_view to = ask_daemon(after);
    const auto concerns = [&](std::string_view name) { return kind.empty() || kind == name; };
    if (concerns("batt_stress")) {
        compare_numbers("stress hours", from.stress_hours, to.stress_hours, "h", changes);
        compare_numbers("step that the stress hours ask for", from.trip_step, to.trip_step, "", changes);
    }
    if (concerns("dyn_soc_params")) {
        compare_resistances(from.resistance, to.resistance, changes);
        compare_numbers("capacity taken", from.capacity_c, to.capacity_c, "C", changes);
    }
    if (concerns("toc_clients")) {
        compare_numbers("top of charge", voltage_of_step(from.toc_step), voltage_of_step(to.toc_step), "mV",
                        changes);
    }
}

}  // namespace

std::vector<state_change> compare_states(const stored_state& before, const stored_state& after) {
    std::vector<state_change> changes;
    bool has_pair = false;
    for (const stored_file& old_file : before.files) {
        const auto new_file = std::ranges::find(after.files, old_file.kind, &stored_file::kind);
        if (new_file == after.files.end()) continue;
        has_pair = true;
        if (condition_text(old_file) != condition_text(*new_file)) {
            changes.push_back({"file " + std::string(old_file.kind->name), condition_text(old_file),
                               condition_text(*new_file), "", "", ""});
        }
        compare_fields(old_file, *new_file, changes);
    }
    if (!has_pair) throw input_error(before.source + " and " + after.source + ": no file of the same kind");
    const bool is_one_kind = before.files.size() == 1 || after.files.size() == 1;
    const auto& fewer = before.files.size() == 1 ? before.files : after.files;
    compare_views(before, after, is_one_kind ? fewer[0].kind->name : std::string_view{}, changes);
    return changes;
}

std::string changes_as_text(const std::vector<state_change>& changes) {
    if (changes.empty()) return "no difference\n";
    std::string out;
    for (const state_change& each : changes) {
        print(out, "%-34s %s -> %s", each.name.c_str(), each.from.c_str(), each.to.c_str());
        if (!each.unit.empty()) out += " " + each.unit;
        if (!each.difference.empty()) out += " (" + each.difference + ")";
        if (!each.note.empty()) out += "  " + each.note;
        out += '\n';
    }
    return out;
}

nlohmann::ordered_json changes_as_json(const std::vector<state_change>& changes) {
    auto result = nlohmann::ordered_json::array();
    for (const state_change& each : changes) {
        nlohmann::ordered_json change = {{"name", each.name}, {"from", each.from}, {"to", each.to}};
        if (!each.unit.empty()) change["unit"] = each.unit;
        if (!each.difference.empty()) change["difference"] = each.difference;
        if (!each.note.empty()) change["note"] = each.note;
        result.push_back(std::move(change));
    }
    return result;
}

}  // namespace lab
