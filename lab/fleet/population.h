// population: many phones as one file says them, and each of them by its number (docs/fleet.md). What a phone is
// follows from the seed and its number alone: not from how many there are, nor from which were drawn before.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lab/fleet/distribution.h"
#include "lab/scenario/scenario.h"

namespace lab {

// A key of the scenario, and what it is from phone to phone.
struct population_key {
    std::string section;  // "cell"; "event[0]" of a list; empty above all sections
    std::string name;     // within it, as TOML has it: "capacity_mah"; empty: the section is there
    distribution draw;
    toml::source_region place;

    std::string path() const { return section.empty() ? name : section + "." + name; }
};

// One of the kinds of phone in a group, such as the hot climate.
struct population_option {
    std::string name;
    double share_pct = 0;   // of the phones out there
    double oversample = 1;  // drawn so many times as often as that
    std::string source;
    std::vector<population_key> keys;

    double chance_of_draw = 0;  // 0 to 1
    double weight = 1;          // what one drawn phone of it counts: its share out there over that chance
};

struct population_group {
    std::string name;  // "climate"
    toml::source_region place;
    std::vector<population_option> options;
};

struct population {
    std::string file;
    std::string title;
    std::uint64_t seed = 1;
    std::uint64_t phones = 0;  // as the file says
    std::int64_t span_s = 0;
    std::vector<population_key> keys;  // of all phones; a group's replace them, a later group's those
    std::vector<population_group> groups;

    // Keys that vary together: their places in this list are the rows of the matrix, whose lower triangle makes
    // independent normal numbers correlated ones (Cholesky).
    std::vector<std::string> correlated;
    std::vector<std::vector<double>> factor;

    // Files that its phones refer to (weather.file), each once, as it names them: beside the population, or copied.
    std::vector<std::string> files;
    std::string copies;  // directory of the copies; empty: there are none
    static std::string copy_name(std::size_t place, const std::string& name);
    std::string path_of(const std::string& name) const;

    // Paths of all keys that differ from phone to phone, in the order of the file, each once.
    std::vector<std::string> drawn_paths() const;
};

// Key whose value names a file.
inline constexpr std::string_view FILE_KEY = "weather.file";
// Key that ends a phone's life before the span does, in days: its battery is replaced.
inline constexpr std::string_view SERVICE_KEY = "service_days";

// `settings` are KEY=VALUE texts that are so for all phones; `copies` is the directory with its files when they are not
// beside it. Throws input_error "FILE:LINE:COLUMN: what is wrong", also for a key or a draw that the scenario refuses.
population parse_population(std::string_view text, const std::string& name,
                            const std::vector<std::string>& settings = {}, const std::string& copies = "");

struct phone_plan {
    std::uint64_t number = 0;
    double weight = 1;
    std::vector<std::size_t> options;                         // for each group
    std::vector<std::pair<std::string, std::string>> values;  // path and TOML text of what was drawn
    std::string scenario_text;
    std::int64_t span_s = 0;  // of its own: the population's, or until it leaves service

    std::string text_of(std::string_view path) const;  // empty when it has no such key
};

phone_plan plan_phone(const population& of, std::uint64_t number);
// To be run; `name` is what it is called.
scenario scenario_of(const population& of, const phone_plan& plan);

// Inside: what parse_population has read can be run: every kind of phone, at the ends of its distributions and in
// between, is one that the scenario takes, and the results can hold it. Throws as it does.
void check_population(const population& of);

// Inside: the phone of these options with each key at the probability that `chance_of` gives for its path, and for
// each line of its scenario the place in the population that brought it (line 0 where none did).
struct composed_phone {
    phone_plan plan;
    std::vector<toml::source_region> places;
};
using chance_of_key = std::function<double(const population_key&)>;
composed_phone compose_phone(const population& of, std::uint64_t number,
                             const std::vector<std::size_t>& options, const chance_of_key& chance_of);

}  // namespace lab
