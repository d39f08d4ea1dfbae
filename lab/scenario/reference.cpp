// The reference of all keys, written from the tables that the reader reads by.

#include <charconv>

#include "lab/scenario/keys.h"

namespace lab {

namespace {

std::string number_text(double value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

template <typename S>
std::string default_text(const key<S>& of, const S& defaults) {
    if (const auto* member = std::get_if<double S::*>(&of.to)) return number_text(defaults.*(*member));
    if (const auto* flag = std::get_if<bool S::*>(&of.to)) return defaults.*(*flag) ? "true" : "false";
    if (const auto* choice = std::get_if<choice_of<S>>(&of.to)) {
        return "\"" + std::string(choice->names[choice->get(defaults)]) + "\"";
    }
    return std::to_string(defaults.*(std::get<seconds_of<S>>(of.to).member)) + " s";
}

template <typename S>
std::string limits_text(const key<S>& of) {
    if (std::holds_alternative<double S::*>(of.to)) {
        return number_text(of.least) + " to " + number_text(of.greatest);
    }
    if (std::holds_alternative<bool S::*>(of.to)) return "true, false";
    if (const auto* choice = std::get_if<choice_of<S>>(&of.to)) {
        std::string text;
        for (const auto name : choice->names)
            text += (text.empty() ? "\"" : ", \"") + std::string(name) + "\"";
        return text;
    }
    return "duration";
}

template <typename S>
void append_table(std::string& text, std::string_view title, std::span<const key<S>> keys) {
    if (!title.empty()) {
        text +=
            "\n### " + std::string(title) + "\n\n| key | default | may be | meaning |\n|---|---|---|---|\n";
    }
    const S defaults;
    for (const auto& each : keys) {
        text += "| `" + std::string(each.name) + "` | " + default_text(each, defaults) + " | " +
                limits_text(each) + " | " + std::string(each.meaning) + " |\n";
    }
}

std::string habit_names() {
    std::string text;
    for (const habit& each : habits) text += (text.empty() ? "\"" : ", \"") + std::string(each.name) + "\"";
    return text;
}

template <typename S>
void append_names(std::vector<std::string>& names, std::string_view section, std::span<const key<S>> keys) {
    for (const key<S>& each : keys) names.push_back(std::string(section) + "." + std::string(each.name));
}

}  // namespace

std::vector<std::string> scenario_key_names() {
    std::vector<std::string> names{"seed",       "start",        "time_zone",         "title",
                                   "user.habit", "weather.file", "phone.cell_vendor", "phone.cycle_s"};
    append_names(names, "phase.*", condition_keys);
    append_names(names, "weather", weather_keys);
    append_names(names, "user", user_keys);
    append_names(names, "phone", power_keys);
    append_names(names, "phone", age_keys);
    append_names(names, "boot_loader", boot_loader_keys);
    append_names(names, "cell", cell_keys);
    append_names(names, "ageing", ageing_keys);
    append_names(names, "thermal", thermal_keys);
    append_names(names, "charger", charger_keys);
    append_names(names, "gauge", gauge_keys);
    return names;
}

std::string scenario_reference() {
    std::string text;
    append_table(text, "`[[phase]]` and its `daily` entries", condition_keys);
    append_table(text, "`[weather]`", weather_keys);
    text += "| `file` | | text | CSV of the hours of a year, column `ambient_c`, in place of the swings |\n";
    append_table(text, "`[user]`", user_keys);
    text += "| `habit` | | " + habit_names() + " | what the others begin from |\n";
    append_table(text, "`[phone]`", power_keys);
    text +=
        "| `cell_vendor` | \"ATL\" | text | what the vendor's node reads |\n"
        "| `cycle_s` | 10 | 1 to 86400 | between two cycles of the daemon, s; 10 on a real phone |\n";
    append_table(text, "", age_keys);
    append_table(text, "`[boot_loader]`", boot_loader_keys);
    append_table(text, "`[cell]`", cell_keys);
    append_table(text, "`[ageing]`", ageing_keys);
    append_table(text, "`[thermal]`", thermal_keys);
    append_table(text, "`[charger]`", charger_keys);
    append_table(text, "`[gauge]`", gauge_keys);
    return text;
}

}  // namespace lab
