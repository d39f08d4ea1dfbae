// vorn-lab report: the page of a run made earlier, from the events and the series that it left.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/io/distinct_files.h"
#include "lab/io/error.h"
#include "lab/recordings/from_files.h"
#include "lab/recordings/trace_course.h"
#include "lab/report/provenance.h"
#include "lab/report/recorder.h"

namespace lab {

namespace {

struct report_options {
    std::string events;
    std::string series;
    std::string output;
    std::string title;
};

void check(const report_options& options) {
    require_distinct_files({{"EVENTS", options.events}, {"SERIES", options.series}},
                           {{"--output", options.output}});
    if (options.events == "-" && options.series == "-")
        throw input_error("EVENTS and SERIES: both from standard input");
}

// The two files are easily given the wrong way round.
series_reader open_series(const std::string& path) {
    input_file file = input_file::open(path);
    char first = 0;
    if (file.read(0, &first, 1) == 1 && first == '{')
        throw input_error(file.name() + ": holds events, where the series should be (EVENTS comes first)");
    return series_reader(std::move(file));
}

void write_report(const report_options& options) {
    check(options);
    series_reader series = open_series(options.series);
    const bool has_samples = series.has_samples();
    event_reader events(input_file::open(options.events));
    const boot_clocks clocks = has_samples ? boot_clocks() : boot_clocks(events);
    const std::string title =
        options.title.empty() ? std::filesystem::path(options.events).stem().string() : options.title;
    report::facts facts{title, "files", has_samples, series.truth_names()};
    // A simulated phone always has a clock.
    if (facts.truth_names.empty()) facts.made_up_clock_s = DEFAULT_WALL_CLOCK_S;
    facts.source = options.events;
    facts.digest = digest_text(options.events);
    report_recorder recorder(options.output, std::move(facts), {});
    std::vector<listener*> listeners;
    recorder.listen(listeners);
    tell_from_files(std::move(events), std::move(series), clocks, listeners);
    recorder.finish();
    recorder.file().commit();
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
