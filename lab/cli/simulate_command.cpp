// vorn-lab simulate: the daemon on a simulated phone.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <unistd.h>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/progress_bar.h"
#include "lab/io/distinct_files.h"
#include "lab/io/error.h"
#include "lab/io/time_text.h"
#include "lab/recordings/device_root.h"
#include "lab/recordings/events.h"
#include "lab/recordings/series.h"
#include "lab/report/recorder.h"
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
    std::string root;
    std::string save_root;
    std::string events;
    std::string series;
    std::string trace;
    std::string report;
    std::vector<std::string> overrides;
    bool with_samples = false;
    bool shows_routine = false;
    bool is_quiet = false;
    bool prints_keys = false;
};

void check(const simulate_options& options) {
    if (options.files.empty()) throw input_error("simulate: no scenario file");
    const bool has_output = !options.root.empty() || !options.save_root.empty() || !options.events.empty() ||
                            !options.series.empty() || !options.trace.empty() || !options.report.empty();
    if (has_output && options.files.size() > 1) {
        throw input_error(
            "--root, --save-root, --events, --series, --trace and --report take one scenario at a time");
    }
    require_distinct_files({{"FILE", options.files.front()}}, {{"--events", options.events},
                                                               {"--series", options.series},
                                                               {"--trace", options.trace},
                                                               {"--report", options.report}});
}

void print_cost(const simulation_result& of) {
    char line[120];
    std::snprintf(line, sizeof line, "took %.2f s here: %.0f cycles a second\n", of.host_s,
                  static_cast<double>(of.counted.cycles) / of.host_s);
    std::cout << "\nWhat the daemon cost\n" << cost_text(of.counted) << line;
}

// What stays open until all of it is written.
struct outputs {
    std::optional<output_file> events_file, series_file, device_file;
    std::optional<event_writer> events;
    std::optional<series_writer> series;
    std::vector<listener*> listeners;

    explicit outputs(const simulate_options& options) {
        if (!options.events.empty()) {
            events_file.emplace(options.events);
            listeners.push_back(&events.emplace(*events_file));
        }
        if (!options.series.empty()) {
            series_file.emplace(options.series);
            listeners.push_back(&series.emplace(*series_file, options.with_samples, truth_names));
        }
        if (!options.trace.empty()) device_file.emplace(options.trace);
    }

    void commit() {
        for (auto* each : {&events_file, &series_file, &device_file}) {
            if (*each) (*each)->finish();
        }
        for (auto* each : {&events_file, &series_file, &device_file}) {
            if (*each) (*each)->commit();
        }
    }
};

// A replay of the trace starts from what the phone started from.
void save_trace_root(const std::string& trace, const device_image& start) {
    if (start.files.empty() && start.properties.empty()) return;
    if (trace == "-")
        throw input_error("--trace -: the scenario starts with state files, which need a file name");
    save_device_root(trace + ".root", start);
}

// The report of a scenario, with what the daemon is worth: the same phone lives the same days again, obeying
// nothing that the daemon asks for.
class scenario_report {
  public:
    scenario_report(const std::string& path, const scenario& of, const device_image& start)
        : scenario_(of),
          start_(start),
          recorder_(path, {of.title, "simulation", true, truth_names, of.duration_s()}, start),
          heeded_(truth_names, start) {}

    void listen(std::vector<listener*>& listeners) {
        recorder_.listen(listeners);
        listeners.push_back(&heeded_);
    }

    // After a crash there is nothing to compare.
    void finish(bool is_compared) {
        std::optional<comparison> compared;
        if (is_compared && scenario_.phone.charger.obeys) compared = {heeded_.result(), run_ignored()};
        recorder_.finish(compared);
    }
    void commit() { recorder_.commit(); }

  private:
    outcome run_ignored() const {
        scenario ignoring = scenario_;
        ignoring.phone.charger.obeys = false;
        ignoring.expectations.clear();
        outcome_meter ignored(truth_names, start_);
        progress_bar bar;
        run_simulation(ignoring, start_, {&ignored, &bar});
        outcome result = ignored.result();
        result.stopped_s = 0;  // asked for, but not done
        return result;
    }

    const scenario& scenario_;
    const device_image& start_;
    report_recorder recorder_;
    outcome_meter heeded_;
};

// Whether all expectations hold.
bool simulate(const scenario& read, const simulate_options& options) {
    const local_zone zone(read.time_zone);  // for what is printed before and after the run, too
    const device_image start =
        image_at_start(read, options.root.empty() ? device_image() : load_device_root(options.root));
    if (!options.save_root.empty()) require_savable_root(options.save_root);
    outputs out(options);
    std::optional<scenario_report> page;
    if (!options.report.empty()) page.emplace(options.report, read, start).listen(out.listeners);
    std::optional<story_printer> printer;
    const bool is_silent = options.is_quiet || options.events == "-" || options.series == "-" ||
                           options.trace == "-" || options.report == "-";
    if (!is_silent) out.listeners.push_back(&printer.emplace(std::cout, read, start, options.shows_routine));
    progress_bar bar;
    if (is_silent || ::isatty(STDOUT_FILENO) == 0) out.listeners.push_back(&bar);

    simulation_result result;
    try {
        result = run_simulation(read, start, out.listeners, out.device_file ? &*out.device_file : nullptr);
    } catch (const daemon_crashed&) {
        if (printer) printer->finish();
        if (page) page->finish(false);
        out.commit();  // what led to the crash is worth keeping
        if (page) page->commit();
        throw;
    }
    if (printer) {
        printer->finish();
        print_cost(result);
    }
    if (!options.trace.empty()) save_trace_root(options.trace, start);
    if (!options.save_root.empty()) save_device_root(options.save_root, result.image);
    if (page) page->finish(true);
    out.commit();
    if (page) page->commit();

    const std::size_t expected = read.expectations.size();
    const std::size_t failed = result.failures.size();
    for (const std::string& each : result.failures) std::cerr << each << '\n';
    if (printer) {
        std::cout << "\n" << (expected - failed) << " of " << expected << " expectations hold\n";
    } else if (options.is_quiet) {
        std::cout << (failed == 0 ? "ok      " : "FAILED  ") << read.file << ": " << (expected - failed)
                  << " of " << expected << " expectations hold\n";
    }
    return failed == 0;
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
    command.add_option("--trace", options->trace, "Write what the device's sensors read as a trace")
        ->type_name("FILE");
    command
        .add_option("--events", options->events,
                    "Write every visible effect as JSON Lines; - is standard output")
        ->type_name("FILE");
    command
        .add_option("--series", options->series, "Write the daemon's and the phone's state after every cycle")
        ->type_name("FILE");
    command
        .add_option(
            "--report", options->report,
            "Write a page that shows what happened and why; runs the phone a second time without the daemon")
        ->type_name("FILE");
    command.add_flag("--samples", options->with_samples, "Add what the daemon saw to the series");
    command
        .add_option("--root", options->root,
                    "Directory with the device's files and properties at the start; never changed")
        ->type_name("DIR");
    command.add_option("--save-root", options->save_root, "Keep there what the device holds at the end")
        ->type_name("DIR");
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
