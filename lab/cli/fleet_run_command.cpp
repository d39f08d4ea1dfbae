// vorn-lab fleet run, gather and add: results come to be.

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "lab/cli/fleet_commands.h"
#include "lab/cli/fleet_progress.h"
#include "lab/cli/option_checks.h"
#include "lab/fleet/fleet_directory.h"
#include "lab/fleet/fleet_plan.h"
#include "lab/fleet/fleet_run.h"
#include "lab/io/error.h"

namespace lab {

namespace {

struct fleet_run_options {
    fleet_wishes wishes;
    run_limits limits;
    std::string directory;
    std::string also;
    std::uint64_t part = 0;
    bool is_quiet = false;
    std::vector<std::string> others;
};

std::string status_text(const fleet_directory& fleet, const run_progress& end) {
    std::string text = fleet.path() + ": ";
    if (end.not_ok > 0)
        text += std::to_string(end.not_ok) +
                " of the phones run now did not end well, one of them by vorn-lab fleet phone " +
                fleet.path() + " " + std::to_string(end.first_not_ok) + "; ";
    return text;
}

void run_fleet(const fleet_run_options& options) {
    run_limits limits = options.limits;
    if (!options.also.empty()) limits.proof.also = identify("--also", options.also);
    if ((options.part > 0) != (options.wishes.parts > 0))
        throw input_error("--part and --parts belong together");
    if (options.part > options.wishes.parts)
        throw input_error("--part " + std::to_string(options.part) + ": there are " +
                          std::to_string(options.wishes.parts));
    const fleet_directory fleet(options.directory, options.wishes);
    if (options.wishes.parts > fleet.count())
        throw input_error("--parts: more than there are phones, " + std::to_string(fleet.count()));
    const bool is_whole = options.part == 0;
    const phone_range range = is_whole ? phone_range{0, fleet.count() - 1}
                                       : fleet.range_of_part(options.part, options.wishes.parts);
    std::string told;
    run_progress end;
    {
        fleet_progress shown(options.is_quiet);
        end = run_missing(fleet, range, limits, [&](const run_progress& now) { shown.show(now); });
        told = shown.summary(end);
    }
    if (is_whole) gather(fleet);
    if (options.is_quiet) return;
    if (end.done == 0) told = "nothing to do, all phones have been run";
    std::cerr << status_text(fleet, end) << told << '\n';
}

void add_run(CLI::App& fleet) {
    const auto options = std::make_shared<fleet_run_options>();
    CLI::App& command = *fleet.add_subcommand("run", "Run the phones that a directory still lacks");
    command.add_option("POPULATION", options->wishes.population,
                       "Population in TOML (docs/fleet.md); not needed to go on");
    command.add_option("--out", options->directory, "Directory of the results; goes on where it was")
        ->type_name("DIR")
        ->required();
    command
        .add_option("--set", options->wishes.settings, "A value for all phones, such as charger.obeys=false")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    command.add_option("--phones", options->wishes.phones, "How many, instead of what the population says")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, MOST_PHONES).description(""));
    command.add_option("--part", options->part, "Run only this part of --parts, whole or not at all")
        ->type_name("K")
        ->check(CLI::Range(std::uint64_t{1}, MOST_PHONES).description(""));
    command.add_option("--parts", options->wishes.parts, "Into how many parts the fleet is cut")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, MOST_PHONES).description(""));
    command
        .add_option("--jobs", options->limits.at_once, "Phones at a time; one for each core when not given")
        ->type_name("N")
        ->check(at_least_one);
    command
        .add_option("--limit", options->limits.limit_s,
                    "Wall time of a phone in seconds, instead of ten times the median")
        ->type_name("S")
        ->check(CLI::Range(1.0, 1e9).description(""));
    command.add_option("--memory", options->limits.memory_mb, "Memory of a phone's process; 0: any")
        ->type_name("MB")
        ->check(CLI::Range(std::uint64_t{0}, MOST_PHONES).description(""));
    command
        .add_option("--prove", options->limits.proof.twice_every,
                    "Run one phone in N twice and compare; 0: none")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{0}, MOST_PHONES).description(""))
        ->capture_default_str();
    command.add_option("--also", options->also, "Another build of vorn-lab that must end alike")
        ->type_name("BIN");
    command.add_option("--also-every", options->limits.proof.also_every, "For one phone in N")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, MOST_PHONES).description(""));
    command.add_flag("--quiet", options->is_quiet, "Say nothing of progress");
    command.callback([options] { run_fleet(*options); });
}

void add_gather(CLI::App& fleet) {
    const auto directory = std::make_shared<std::string>();
    const auto most_parts = std::make_shared<std::uint64_t>();
    CLI::App& command = *fleet.add_subcommand("gather", "Join the parts of a fleet, or say what is missing");
    command.add_option("DIR", *directory, "Directory of fleet run")->required();
    command.add_option("--most-parts", *most_parts, "Of an array; what scontrol says when not given")
        ->type_name("N")
        ->check(CLI::Range(std::uint64_t{1}, MOST_PHONES).description(""));
    command.callback([directory, most_parts] {
        gather(fleet_directory(*directory), *most_parts > 0 ? *most_parts : most_parts_here());
    });
}

void add_add(CLI::App& fleet) {
    const auto options = std::make_shared<fleet_run_options>();
    CLI::App& command = *fleet.add_subcommand("add", "Take over results of the same fleet from elsewhere");
    command.add_option("DIR", options->directory, "Directory of fleet run that gets them")->required();
    command.add_option("FROM", options->others, "Directories that have some")->type_name("DIR")->required();
    command.callback([options] {
        const fleet_directory to(options->directory);
        for (const std::string& each : options->others) {
            const std::size_t taken = add_parts(to, each);
            std::cout << each << ": " << taken << (taken == 1 ? " part\n" : " parts\n");
        }
        const auto gaps = to.missing({0, to.count() - 1});
        if (gaps.empty()) gather(to);
    });
}

}  // namespace

void add_fleet_run_commands(CLI::App& fleet) {
    add_run(fleet);
    add_gather(fleet);
    add_add(fleet);
}

}  // namespace lab
