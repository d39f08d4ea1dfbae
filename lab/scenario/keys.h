// The keys of a scenario's sections: one table for the reader and for the reference in docs/scenarios.md.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "lab/scenario/scenario.h"
#include "lab/scenario/toml_section.h"

namespace lab {

// A member that holds a choice of names.
template <typename S>
struct choice_of {
    std::span<const std::string_view> names;
    void (*set)(S&, std::size_t);
    std::size_t (*get)(const S&);
};
// A member that holds seconds, written as a duration.
template <typename S>
struct seconds_of {
    std::int64_t S::*member;
};

template <typename S>
struct key {
    std::string_view name;
    std::variant<double S::*, bool S::*, choice_of<S>, seconds_of<S>> to;
    double least = 0, greatest = 0;  // of a number
    std::string_view meaning;
};

template <typename S, typename E, E S::*MEMBER>
constexpr choice_of<S> choice_in(std::span<const std::string_view> names) {
    return {names, [](S& of, std::size_t value) { of.*MEMBER = static_cast<E>(value); },
            [](const S& of) { return static_cast<std::size_t>(of.*MEMBER); }};
}

// All of a section's keys that are given.
template <typename S>
void take_keys(toml_section& from, std::span<const key<S>> keys, S& into) {
    for (const key<S>& each : keys) {
        if (const auto* member = std::get_if<double S::*>(&each.to)) {
            if (const auto value = from.number(each.name, each.least, each.greatest))
                into.*(*member) = *value;
        } else if (const auto* flag = std::get_if<bool S::*>(&each.to)) {
            if (const auto value = from.flag(each.name)) into.*(*flag) = *value;
        } else if (const auto* choice = std::get_if<choice_of<S>>(&each.to)) {
            if (const auto value = from.choice(each.name, choice->names)) choice->set(into, *value);
        } else {
            const auto member_s = std::get<seconds_of<S>>(each.to).member;
            if (const auto value = from.duration(each.name)) into.*member_s = *value;
        }
    }
}

extern const std::span<const key<phone::power_parameters>> power_keys;        // in [phone]
extern const std::span<const key<phone::power_parameters>> boot_loader_keys;  // in [boot_loader]
extern const std::span<const key<phone::cell_parameters>> cell_keys;
extern const std::span<const key<phone::ageing_parameters>> ageing_keys;
extern const std::span<const key<phone::phone_parameters>> age_keys;  // in [phone]
extern const std::span<const key<phone::thermal_parameters>> thermal_keys;
extern const std::span<const key<phone::charger_parameters>> charger_keys;
extern const std::span<const key<phone::gauge_parameters>> gauge_keys;
extern const std::span<const key<conditions>> condition_keys;
extern const std::span<const key<weather_parameters>> weather_keys;
extern const std::span<const key<user_parameters>> user_keys;

// What is known of a kind of person, to begin from.
struct habit {
    std::string_view name;
    user_parameters is;
};
extern const std::span<const habit> habits;

}  // namespace lab
