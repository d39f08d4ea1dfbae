// vorn-lab fleet: the daemon on many phones.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/fleet_commands.h"
#include "lab/cli/option_checks.h"
#include "lab/compare/process_pool.h"
#include "lab/fleet/fleet_plan.h"
#include "lab/fleet/look.h"
#include "lab/fleet/phone_row.h"
#include "lab/fleet/population.h"
#include "lab/io/error.h"
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
        ->check(CLI::Range(std::uint64_t{1}, MOST_LOOKED_AT).description(""));
    command.callback([options] {
        constexpr std::uint64_t USUAL = 1000;
        const population read =
            parse_population(read_file(options->population), options->population, options->settings);
        std::cout << look_at(read, options->phones == 0 ? USUAL : options->phones);
    });
}

// Three phones, one after the other: on a core that nobody else of us uses.
void print_plan(const fleet_options& options, cluster_limits limits) {
    constexpr std::uint64_t TRIED = 3;
    const population read =
        parse_population(read_file(options.population), options.population, options.settings);
    double slowest_s = 0;
    std::int64_t memory_kb = 0;
    run_jobs(
        TRIED, 1, [&](std::size_t i) { return packed(run_phone(read, i)); },
        [&](std::size_t, const job_end& end) {
            if (!end.is_good) throw input_error(options.population + ": a phone cannot be run: " + end.error);
            const phone_row row = unpacked_row(end.output);
            slowest_s = std::max(slowest_s, row.host_s);
            memory_kb = std::max(memory_kb, row.memory_kb);
        });
    const std::uint64_t phones = options.phones > 0 ? options.phones : read.phones;
    std::cout << plan_text(plan_parts(phones, slowest_s, memory_kb, limits), options.population);
}

void add_plan(CLI::App& fleet, const std::shared_ptr<fleet_options>& options) {
    const auto limits = std::make_shared<cluster_limits>();
    CLI::App& command = *fleet.add_subcommand("plan", "Time three phones, and cut the fleet for a cluster");
    add_population(command, *options);
    command.add_option("--phones", options->phones, "How many, instead of what the population says")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, MOST_PHONES).description(""));
    command.add_option("--cores", limits->cores, "Of a part")->type_name("N")->check(at_least_one);
    command.add_option("--most-parts", limits->most_parts, "Of an array; what scontrol says when not given")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, MOST_PHONES).description(""));
    command.callback([options, limits] {
        if (limits->most_parts == 0) limits->most_parts = most_parts_here();
        print_plan(*options, *limits);
    });
}

}  // namespace

void add_fleet_command(CLI::App& app) {
    const auto options = std::make_shared<fleet_options>();
    CLI::App& fleet = *app.add_subcommand("fleet", "Run the daemon on many phones that differ");
    fleet.require_subcommand(1);
    add_look(fleet, options);
    add_plan(fleet, options);
    add_fleet_run_commands(fleet);
    add_fleet_result_commands(fleet);
    add_fleet_view_commands(fleet);
}

}  // namespace lab
