// vorn-lab simulate: the daemon on a simulated phone.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/outputs.h"
#include "lab/cli/progress_bar.h"
#include "lab/io/error.h"
#include "lab/io/print.h"
#include "lab/io/time_text.h"
#include "lab/report/provenance.h"
#include "lab/scenario/truth.h"
#include "lab/session/session.h"
#include "lab/simulation/simulation.h"
#include "lab/simulation/story_printer.h"
#include "lab/tally/worth.h"

namespace lab {

namespace {

const std::vector<std::string> truth_names(truth_column_names.begin(), truth_column_names.end());

struct simulate_options {
    std::vector<std::string> files;
    std::vector<std::string> overrides;
    output_options outputs;
    bool shows_routine = false;
    bool is_quiet = false;
    bool prints_keys = false;
};

void check(const simulate_options& options) {
    if (options.files.empty()) throw input_error("simulate: no scenario file");
    if (options.outputs.has_any() && options.files.size() > 1)
        throw input_error(
            "--root, --save-root, --events, --series, --trace and --report take one scenario at a time");
}

void print_cost(const simulation_result& result) {
    std::cout << "\nWhat the daemon cost\n"
              << cost_text(result.counted)
              << text_of("took %.2f s here: %.0f cycles a second\n", result.host_s,
                         static_cast<double>(result.counted.cycles) / result.host_s);
}

// What comes again is told each time, as often as MAX_REPEATS.
std::vector<report::happening> happenings_of(const scenario& plan) {
    constexpr std::int64_t MAX_REPEATS = 300;
    std::vector<report::happening> all;
    for (const scenario_event& each : plan.events) {
        const std::int64_t repeats = each.every_s > 0 ? MAX_REPEATS : 1;
        for (std::int64_t i = 0; i < repeats && each.at_s + i * each.every_s < plan.duration_s(); ++i)
            all.push_back({each.at_s + i * each.every_s, each.for_s, each.what});
    }
    std::ranges::stable_sort(all, {}, &report::happening::at_s);
    return all;
}

report::facts facts_of(const scenario& plan, const std::string& title) {
    report::facts facts{title, "simulation", true, truth_names, plan.duration_s()};
    facts.source = plan.file;
    facts.digest = digest_text(plan.file);
    facts.seed = plan.chance.seed;
    facts.vendor = plan.cell_vendor;
    facts.happenings = happenings_of(plan);
    return facts;
}

// What became of the same phone in the same days when its charger obeyed nothing that the daemon asks for.
outcome run_ignored(const scenario& heeded, const device_image& start, second_run& heard) {
    scenario ignoring = heeded;
    ignoring.phone.charger.obeys = false;
    ignoring.expectations.clear();
    outcome_meter meter(truth_names, start);
    progress_bar bar;
    std::vector<listener*> listeners = {&meter, &bar};
    heard.listen(listeners);
    run_simulation(ignoring, start, listeners);
    outcome ignored = meter.result();
    ignored.stopped_s = 0;  // asked for, but not done
    return ignored;
}

void print_verdict(const scenario& plan, const simulation_result& result, bool is_told, bool is_quiet) {
    const std::size_t expected = plan.expectations.size();
    const std::size_t failed = result.failures.size();
    for (const std::string& each : result.failures) std::cerr << each << '\n';
    if (is_told) {
        std::cout << "\n" << (expected - failed) << " of " << expected << " expectations hold\n";
    } else if (is_quiet) {
        std::cout << (failed == 0 ? "ok      " : "FAILED  ") << plan.file << ": " << (expected - failed)
                  << " of " << expected << " expectations hold\n";
    }
}

// Whether all expectations hold.
bool simulate(const scenario& plan, const simulate_options& options) {
    const local_zone zone(plan.time_zone);  // for what is printed before and after the run, too
    const device_image start = image_at_start(plan, image_in_root(options.outputs));
    outputs files(options.outputs, {"FILE", plan.file}, facts_of(plan, plan.title), start);
    std::vector<listener*> listeners;
    files.listen(listeners);
    outcome_meter heeded(truth_names, start);
    const bool is_compared = !options.outputs.report.empty() && plan.phone.charger.obeys;
    if (is_compared) listeners.push_back(&heeded);
    std::optional<story_printer> printer;
    const bool is_silent = options.is_quiet || options.outputs.is_on_standard_output();
    if (!is_silent) listeners.push_back(&printer.emplace(std::cout, plan, start, options.shows_routine));
    progress_bar bar;
    if (is_silent || ::isatty(STDOUT_FILENO) == 0) listeners.push_back(&bar);

    simulation_result result;
    try {
        result = run_simulation(plan, start, listeners, files.trace());
    } catch (const daemon_crashed&) {
        // What led to the crash is worth keeping, but there is nothing to compare.
        if (printer) printer->finish();
        files.keep(nullptr);
        throw;
    }
    if (printer) {
        printer->finish();
        print_cost(result);
    }
    report_recorder::ending how;
    for (const auto& each : result.expectations)
        how.expectations.push_back({each.what, each.found, each.found.empty()});
    second_run ignored(facts_of(plan, "The daemon ignored"), start);
    if (is_compared) {
        how.compared = {heeded.result(), run_ignored(plan, start, ignored)};
        how.other = &ignored.finished();
    }
    files.keep(&result.image, how);
    print_verdict(plan, result, printer.has_value(), options.is_quiet);
    return result.failures.empty();
}

void simulate_all(const simulate_options& options) {
    if (options.prints_keys) {
        std::cout << scenario_reference();
        return;
    }
    check(options);
    // All are read before the first one runs, so that a mistake in the last costs no waiting.
    std::vector<scenario> scenarios;
    for (const std::string& file : options.files) {
        scenarios.push_back(read_scenario(file, options.overrides));
    }
    std::size_t failed = 0;
    for (std::size_t i = 0; i < scenarios.size(); ++i) {
        if (i > 0 && !options.is_quiet) std::cout << "\n\n";
        if (!simulate(scenarios[i], options)) failed += 1;
    }
    if (failed > 0) {
        throw expectation_failed(std::to_string(failed) + " of " + std::to_string(scenarios.size()) +
                                 " scenarios did not go as expected");
    }
}

}  // namespace

void add_simulate_command(CLI::App& app) {
    const auto options = std::make_shared<simulate_options>();
    CLI::App& command = *app.add_subcommand("simulate", "Run the daemon on a simulated phone");
    command.add_option("FILE", options->files, "Scenarios in TOML (docs/scenarios.md)");
    add_output_options(command, options->outputs);
    command.add_option("--trace", options->outputs.trace, "Write what the device's sensors read as a trace")
        ->type_name("FILE");
    command
        .add_option("--set", options->overrides, "Replace what the scenario says, such as cell.soc_pct=20")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    command.add_flag("--all", options->shows_routine, "Show routine decisions too");
    command.add_flag("--quiet", options->is_quiet, "Only say whether the expectations hold");
    command.add_flag("--keys", options->prints_keys, "Print the reference of the scenario's keys");
    command.callback([options] { simulate_all(*options); });
}

}  // namespace lab
