// vorn-lab simulate: the daemon on a simulated phone.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/daemon_option.h"
#include "lab/cli/outputs.h"
#include "lab/cli/progress_bar.h"
#include "lab/compare/process_pool.h"
#include "lab/compare/run_json.h"
#include "lab/compare/run_one.h"
#include "lab/compare/run_text.h"
#include "lab/io/error.h"
#include "lab/io/narrow_stream.h"
#include "lab/io/print.h"
#include "lab/io/time_text.h"
#include "lab/report/provenance.h"
#include "lab/session/session.h"
#include "lab/simulation/ageing_range.h"
#include "lab/simulation/simulation.h"
#include "lab/simulation/story_printer.h"
#include "lab/tally/worth.h"

namespace lab {

namespace {

struct simulate_options {
    std::vector<std::string> files;
    std::vector<std::string> overrides;
    output_options outputs;
    bool shows_routine = false;
    bool is_quiet = false;
    bool prints_keys = false;
    bool prints_json = false;

    bool is_silent() const { return is_quiet || prints_json || outputs.is_on_standard_output(); }
};

void check(const simulate_options& options) {
    if (options.files.empty()) throw input_error("simulate: no scenario file");
    if (options.outputs.has_any() && options.files.size() > 1)
        throw input_error(
            "--root, --save-root, --events, --series, --trace and --report take one scenario at a time");
    if (options.prints_json && options.outputs.is_on_standard_output())
        throw input_error("--json: standard output is taken already");
}

void print_end(std::ostream& out, const run_result& result, const cost& counted) {
    out << "\nHow it ended\n"
        << run_text(result) << "\nWhat the daemon cost\n"
        << cost_text(counted)
        << text_of("took %.2f s here: %.0f cycles a second\n", result.host_s,
                   static_cast<double>(result.whole.cost.cycles) / result.host_s);
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
    report::facts facts{title, "simulation", true, simulated_truth_names(), plan.duration_s()};
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
    outcome_meter meter(simulated_truth_names(), start);
    progress_bar bar;
    std::vector<listener*> listeners = {&meter, &bar};
    heard.listen(listeners);
    run_simulation(ignoring, start, listeners);
    outcome ignored = meter.result();
    ignored.stopped_s = 0;  // asked for, but not done
    return ignored;
}

std::string verdict_text(const run_result& result, const simulate_options& options) {
    const std::size_t held = result.expected - result.failures.size();
    const std::string count = std::to_string(held) + " of " + std::to_string(result.expected);
    if (options.prints_json || options.outputs.is_on_standard_output()) return "";
    if (!options.is_quiet) return "\n" + count + " expectations hold\n";
    const char* const word = result.status == run_status::good ? "ok      " : "FAILED  ";
    return word + result.about.input + ": " + count + " expectations hold\n";
}

// Prints to `out` while the run goes on. A crash is in the result, and what led to it has been kept.
run_result simulate(const scenario& plan, const simulate_options& options, std::ostream& out) {
    const local_zone zone(plan.time_zone);  // for what is printed before and after the run, too
    const device_image start = image_at_start(plan, image_in_root(options.outputs));
    outputs files(options.outputs, {"FILE", plan.file}, facts_of(plan, plan.title), start);
    run_wishes wishes{{}, files.trace()};
    files.listen(wishes.listeners);
    outcome_meter heeded(simulated_truth_names(), start);
    const bool is_compared = !options.outputs.report.empty() && plan.phone.charger.obeys;
    if (is_compared) wishes.listeners.push_back(&heeded);
    std::optional<story_printer> printer;
    if (!options.is_silent())
        wishes.listeners.push_back(&printer.emplace(out, plan, start, options.shows_routine));
    cost counted;
    wishes.listeners.push_back(&counted);
    ageing_range ageing;
    if (printer || !options.outputs.report.empty()) wishes.listeners.push_back(&ageing);
    progress_bar bar;
    const bool is_one = options.files.size() == 1;  // of many, whoever waits for them shows how far they are
    if (is_one && (options.is_silent() || ::isatty(STDOUT_FILENO) == 0)) wishes.listeners.push_back(&bar);

    const run_end end = run_scenario(plan, start, options.overrides, wishes);
    bar.wipe();
    if (printer) printer->finish();
    if (printer && ageing.beyond_s() > 0) out << '\n' << ageing.text() << '\n';
    if (end.result.status == run_status::crashed) {
        files.keep(nullptr);  // what led to the crash is worth keeping, but there is nothing to compare
        return end.result;
    }
    counted.known_span_s = plan.duration_s();
    if (printer) print_end(out, end.result, counted);
    report_recorder::ending how;
    how.caution = ageing.text();
    for (const auto& each : end.expectations)
        how.expectations.push_back({each.what, each.found, each.found.empty()});
    second_run ignored(facts_of(plan, "The daemon ignored"), start);
    if (is_compared) {
        how.compared = {heeded.result(), run_ignored(plan, start, ignored)};
        how.other = &ignored.finished();
    }
    files.keep(&end.image, how);
    out << verdict_text(end.result, options);
    return end.result;
}

void print_failures(const run_result& result) {
    for (const std::string& each : result.failures) std::cerr << each << '\n';
}

// Each in a process of its own, on all cores; printed in the order given.
std::vector<run_result> simulate_side_by_side(const std::vector<scenario>& plans,
                                              const simulate_options& options) {
    std::vector<run_result> results(plans.size());
    progress_bar bar;
    double done = 0;
    in_order printing([&](std::size_t i, const job_end& end) {
        if (end.is_good) {
            const auto told = nlohmann::ordered_json::parse(end.output);
            results[i] = run_from_json(told.at("run"));
            if (i > 0 && !options.is_silent()) std::cout << "\n\n";
            std::cout << told.at("text").get<std::string>() << std::flush;
        } else {
            results[i].about.input = plans[i].file;
            results[i].status = run_status::failed;
            results[i].error = end.error;
        }
        print_failures(results[i]);
    });
    run_jobs(
        plans.size(), 0,
        [&](std::size_t i) {
            std::ostringstream text;
            const run_result result = simulate(plans[i], options, text);
            const nlohmann::ordered_json told{{"text", text.str()}, {"run", json_of(result)}};
            return told.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
        },
        [&](std::size_t i, job_end end) {
            bar.wipe();
            printing.take(i, std::move(end));
            bar.on_progress(++done / static_cast<double>(plans.size()));
        });
    return results;
}

std::vector<run_result> simulate_each(const std::vector<scenario>& plans, const simulate_options& options) {
    if (plans.size() > 1) return simulate_side_by_side(plans, options);
    std::vector<run_result> results{simulate(plans.front(), options, std::cout)};
    print_failures(results.front());
    return results;
}

// How the command ends: input that cannot be run says more than a crash, and a crash more than an expectation.
void end_by(const std::vector<run_result>& results) {
    std::size_t failed = 0;
    for (const run_result& each : results) {
        if (each.status == run_status::failed) throw input_error(each.error);
        failed += each.status == run_status::good ? 0 : 1;
    }
    for (const run_result& each : results) {
        if (each.status == run_status::crashed) throw daemon_crashed(each.error);
    }
    if (failed > 0) {
        throw expectation_failed(std::to_string(failed) + " of " + std::to_string(results.size()) +
                                 " scenarios did not go as expected");
    }
}

void simulate_all(const simulate_options& options) {
    if (options.prints_keys) {
        std::cout << scenario_reference();
        return;
    }
    check(options);
    // All are read before the first one runs, so that a mistake in the last costs no waiting.
    std::vector<scenario> plans;
    for (const std::string& file : options.files) plans.push_back(read_scenario(file, options.overrides));
    const bool is_for_programs = options.prints_json || options.outputs.is_on_standard_output();
    const narrow_stream shown(std::cout, is_for_programs ? 0 : columns_of_terminal(STDOUT_FILENO));
    const std::vector<run_result> results = simulate_each(plans, options);
    if (options.prints_json) {
        std::vector<nlohmann::ordered_json> runs;
        for (const run_result& each : results) runs.push_back(json_of(each));
        std::cout << run_document(runs) << std::flush;
    }
    end_by(results);
}

}  // namespace

void add_simulate_command(CLI::App& app) {
    const auto options = std::make_shared<simulate_options>();
    CLI::App& command = *app.add_subcommand("simulate", "Run the daemon on a simulated phone");
    command.add_option("FILE", options->files, "Scenarios in TOML (docs/scenarios.md)");
    add_output_options(command, options->outputs);
    command.add_option("--trace", options->outputs.trace, "Write what the device's sensors read as a trace")
        ->type_name("FILE");
    command.add_option("--set", options->overrides, "Replace a value: cell.soc_pct=20, phase.*.load_mw=300")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    add_daemon_option(command);
    command.add_flag("--all", options->shows_routine, "Show routine decisions too");
    command.add_flag("--json", options->prints_json, "Print the results as JSON (docs/formats.md)");
    command.add_flag("--quiet", options->is_quiet, "Only say whether the expectations hold");
    command.add_flag("--keys", options->prints_keys, "Print the reference of the scenario's keys");
    command.callback([options] { simulate_all(*options); });
}

}  // namespace lab
