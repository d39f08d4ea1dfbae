// Whether what a population says can be run, before the first phone is.

#include <algorithm>
#include <charconv>
#include <iterator>
#include <strings.h>

#include "lab/fleet/population.h"
#include "lab/fleet/results.h"
#include "lab/io/error.h"

namespace lab {

namespace {

// The line of the scenario's text that a message of its reader begins with; 0 when it begins otherwise.
std::size_t line_in(std::string_view message, std::string_view name) {
    if (!message.starts_with(name) || message.size() <= name.size() + 1) return 0;
    const std::string_view rest = message.substr(name.size() + 1);
    std::size_t line = 0;
    std::from_chars(rest.data(), rest.data() + rest.size(), line);
    return line;
}

// Whether the scenario takes this phone; what it refuses is told where the population says it.
void try_phone(const population& of, const std::vector<std::size_t>& options,
               const chance_of_key& chance_of) {
    constexpr std::string_view NAME = "scenario";
    const composed_phone made = compose_phone(of, 0, options, chance_of);
    try {
        (void)parse_scenario(made.plan.scenario_text, std::string(NAME));
    } catch (const input_error& refused) {
        const std::string message = refused.what();
        if (!message.starts_with(NAME)) throw;  // of another file, which it names
        const std::size_t line = line_in(message, NAME);
        const bool has_place = line > 0 && line <= made.places.size() && made.places[line - 1].begin.line > 0;
        const auto what = message.find(": ");
        const std::string told = what == std::string::npos ? message : message.substr(what + 2);
        if (has_place) fail_at(of.file, made.places[line - 1], told);
        throw input_error(of.file + ": " + told);
    }
}

// Every kind of phone, at the ends of its distributions and in between, before the first one is run.
void try_phones(const population& of) {
    constexpr std::size_t MOST_TRIES = 6000;
    static constexpr double ENDS[] = {1e-7, 0.5, 1 - 1e-7};
    std::size_t kinds = 1, probes = std::size(ENDS);
    for (const population_group& group : of.groups) {
        kinds = std::min(kinds * group.options.size(), MOST_TRIES);
        for (const population_option& option : group.options) {
            for (const population_key& key : option.keys) probes = std::max(probes, key.draw.values.size());
        }
    }
    for (const population_key& key : of.keys) probes = std::max(probes, key.draw.values.size());
    for (std::size_t kind = 0; kind < std::min(kinds, MOST_TRIES / probes); ++kind) {
        std::vector<std::size_t> options;
        std::size_t rest = kind;
        for (const population_group& group : of.groups) {
            options.push_back(rest % group.options.size());
            rest /= group.options.size();
        }
        for (std::size_t probe = 0; probe < probes; ++probe) {
            try_phone(of, options, [probe](const population_key& key) {
                if (key.draw.is_number()) return ENDS[probe % std::size(ENDS)];
                double below = 0, sum = 0;
                const std::size_t which = probe % std::max<std::size_t>(1, key.draw.values.size());
                for (std::size_t i = 0; i < key.draw.weights.size(); ++i) {
                    sum += key.draw.weights[i];
                    below += i < which ? key.draw.weights[i] : i == which ? key.draw.weights[i] / 2 : 0;
                }
                return sum > 0 ? below / sum : 0.5;
            });
        }
    }
}

// Columns have the names of groups and keys: no two the same but for capital letters, nor one that a phone has anyway.
void try_columns(const population& of) {
    const std::string nowhere = ":memory:";
    try {
        const results unused(nowhere, of, {}, {});
    } catch (const input_error& refused) {
        const std::string why = "groups and keys are columns of the results: " +
                                std::string(refused.what()).substr(nowhere.size() + 2);
        const std::string column = why.substr(why.rfind(' ') + 1);
        for (const population_group& group : of.groups)
            if (::strcasecmp(group.name.c_str(), column.c_str()) == 0) fail_at(of.file, group.place, why);
        throw input_error(of.file + ": " + why);
    }
}

}  // namespace

void check_population(const population& of) {
    try_columns(of);
    try_phones(of);
}

}  // namespace lab
