// vorn-lab report: the page of a run made earlier, from the events and the series that it left, or of a device, from
// whatever that left.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/evidence_progress.h"
#include "lab/evidence/evidence_page.h"
#include "lab/evidence/evidence_text.h"
#include "lab/io/distinct_files.h"
#include "lab/io/error.h"
#include "lab/recordings/from_files.h"
#include "lab/recordings/trace_course.h"
#include "lab/report/provenance.h"
#include "lab/report/recorder.h"

namespace lab {

namespace {

struct report_options {
    std::vector<std::string> inputs;
    std::string output;
    std::string title;
    std::string zone;
};

void check(const report_options& options) {
    std::vector<named_file> inputs;
    std::size_t piped = 0;
    for (const std::string& each : options.inputs) {
        inputs.push_back({"EVIDENCE", each});
        piped += each == "-" ? 1 : 0;
    }
    require_distinct_files(inputs, {{"--output", options.output}});
    if (piped > 1) throw input_error("EVIDENCE: standard input is there once only");
}

// The two files of a run, as given, in this order.
struct run_files {
    input_file events, series;
    std::string events_path;
};

bool begins_with(const input_file& file, std::string_view words) {
    std::string head(words.size(), '\0');
    return file.read(0, head.data(), head.size()) == head.size() && head == words;
}

// A run without a single effect leaves no events.
bool may_be_events(const input_file& file) {
    char first = 0;
    return file.read(0, &first, 1) == 0 || first == '{';
}

// Given either way round. What else may be in them is for the readers to say.
std::optional<run_files> as_run(const std::vector<std::string>& inputs) {
    if (inputs.size() != 2) return std::nullopt;
    for (const std::string& each : inputs) {
        if (each != "-" && std::filesystem::is_directory(each)) return std::nullopt;
    }
    input_file first = input_file::open(inputs[0]);
    input_file second = input_file::open(inputs[1]);
    constexpr std::string_view SERIES = "boot,elapsed_s,toc_mv,";
    if (may_be_events(first) && begins_with(second, SERIES))
        return run_files{std::move(first), std::move(second), inputs[0]};
    if (may_be_events(second) && begins_with(first, SERIES))
        return run_files{std::move(second), std::move(first), inputs[1]};
    return std::nullopt;
}

void write_report_of_run(const report_options& options, run_files files) {
    series_reader series(std::move(files.series));
    const bool has_samples = series.has_samples();
    event_reader events(std::move(files.events));
    const boot_clocks clocks = has_samples ? boot_clocks() : boot_clocks(events);
    const std::string title =
        options.title.empty() ? std::filesystem::path(files.events_path).stem().string() : options.title;
    report::facts facts{title, "files", has_samples, series.truth_names()};
    // A simulated phone always has a clock.
    if (facts.truth_names.empty()) facts.made_up_clock_s = DEFAULT_WALL_CLOCK_S;
    facts.source = files.events_path;
    facts.digest = digest_text(files.events_path);
    report_recorder recorder(options.output, std::move(facts), {});
    std::vector<listener*> listeners;
    recorder.listen(listeners);
    tell_from_files(std::move(events), std::move(series), clocks, listeners);
    recorder.finish();
    recorder.file().commit();
}

void write_report_of_device(const report_options& options) {
    const dossier evidence = read_device(options.inputs);
    const bool has_series_only =
        evidence.series && !evidence.events && evidence.log.entries().empty() && !evidence.trace;
    if (has_series_only) throw input_error(evidence.input + ": a series, of which the events are missing");
    const device_zone zone(evidence, options.zone);
    (void)write_evidence_page(evidence, zone, options.output, options.title);
    std::cerr << sources_text(evidence);
}

void write_report(const report_options& options) {
    check(options);
    if (auto run = as_run(options.inputs)) {
        write_report_of_run(options, std::move(*run));
    } else {
        write_report_of_device(options);
    }
}

}  // namespace

void add_report_command(CLI::App& app) {
    const auto options = std::make_shared<report_options>();
    CLI::App& command = *app.add_subcommand(
        "report", "Make the page of a run from its events and series, or of a device from what it left");
    command
        .add_option(
            "EVIDENCE", options->inputs,
            "A run's --events and --series (with --samples for all charts), or what story takes; - is "
            "standard input")
        ->type_name("")
        ->required();
    command.add_option("-o,--output", options->output, "The page; - is standard output")
        ->type_name("FILE")
        ->required();
    command.add_option("--title", options->title, "Its title; without, the name of the input")
        ->type_name("TEXT");
    command.add_option("--timezone", options->zone, "The device's zone, over the one of its properties")
        ->type_name("ZONE");
    command.footer("For example\n  vorn-lab report bugreport.zip -o page.html");
    command.callback([options] { write_report(*options); });
}

}  // namespace lab
