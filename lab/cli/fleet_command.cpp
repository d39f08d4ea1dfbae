// vorn-lab fleet: the daemon on many phones.

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/fleet_commands.h"
#include "lab/fleet/look.h"
#include "lab/fleet/population.h"
#include "lab/io/input_file.h"

namespace lab {

namespace {

struct fleet_options {
    std::string population;
    std::vector<std::string> settings;
    std::uint64_t phones = 0;
};

constexpr std::uint64_t MOST_LOOKED_AT = 1'000'000;

void add_population(CLI::App& command, fleet_options& options) {
    command.add_option("POPULATION", options.population, "Population in TOML (docs/fleet.md)")->required();
    command.add_option("--set", options.settings, "A value for all phones, such as charger.obeys=false")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
}

void add_look(CLI::App& fleet, const std::shared_ptr<fleet_options>& options) {
    CLI::App& command = *fleet.add_subcommand("look", "Draw phones without running them");
    add_population(command, *options);
    command.add_option("--phones", options->phones, "How many; 1000 when not given")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, MOST_LOOKED_AT));
    command.callback([options] {
        constexpr std::uint64_t USUAL = 1000;
        const population read =
            parse_population(read_file(options->population), options->population, options->settings);
        std::cout << look_at(read, options->phones == 0 ? USUAL : options->phones);
    });
}

}  // namespace

void add_fleet_command(CLI::App& app) {
    const auto options = std::make_shared<fleet_options>();
    CLI::App& fleet = *app.add_subcommand("fleet", "Run the daemon on many phones that differ");
    fleet.require_subcommand(1);
    add_look(fleet, options);
    add_fleet_run_commands(fleet);
    add_fleet_result_commands(fleet);
}

}  // namespace lab
