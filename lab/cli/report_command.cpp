// vorn-lab report: the page of a run made earlier, from the events and the series that it left.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/io/distinct_files.h"
#include "lab/io/error.h"
#include "lab/recordings/from_files.h"
#include "lab/report/recorder.h"

namespace lab {

namespace {

struct report_options {
    std::string events;
    std::string series;
    std::string output;
    std::string title;
};

// The two files are easily given the wrong way round.
void check(const report_options& options) {
    require_distinct_files({{"EVENTS", options.events}, {"SERIES", options.series}},
                           {{"--output", options.output}});
    if (options.events == "-" && options.series == "-")
        throw input_error("EVENTS and SERIES: both from standard input");
    if (options.series != "-" && std::ifstream(options.series).peek() == '{')
        throw input_error(options.series + ": holds events, where the series should be (EVENTS comes first)");
}

void write_report(const report_options& options) {
    check(options);
    series_reader series(input_file::open(options.series));
    const bool has_samples = series.has_samples();
    // Standard input can be read only once.
    const bool needs_clocks = !has_samples && options.events != "-";
    const boot_clocks clocks =
        needs_clocks ? boot_clocks(event_reader(input_file::open(options.events))) : boot_clocks();

    const std::string title =
        options.title.empty() ? std::filesystem::path(options.events).stem().string() : options.title;
    report_recorder recorder(options.output, {title, "files", has_samples, series.truth_names()}, {});
    std::vector<listener*> listeners;
    recorder.listen(listeners);
    tell_from_files(event_reader(input_file::open(options.events)), std::move(series), clocks, listeners);
    recorder.finish();
    recorder.commit();
}

}  // namespace

void add_report_command(CLI::App& app) {
    const auto options = std::make_shared<report_options>();
    CLI::App& command =
        *app.add_subcommand("report", "Make the page of a run from its events and its series");
    command.add_option("EVENTS", options->events, "Events as JSON Lines, from --events; - is standard input")
        ->required();
    command
        .add_option("SERIES", options->series, "Series as CSV, from --series, with --samples for all charts")
        ->required();
    command.add_option("-o,--output", options->output, "The page; - is standard output")
        ->type_name("FILE")
        ->required();
    command.add_option("--title", options->title, "Its title; without, the name of the events' file")
        ->type_name("TEXT");
    command.callback([options] { write_report(*options); });
}

}  // namespace lab
