// vorn-lab replay: the daemon over a recorded trace.

#include <CLI/CLI.hpp>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/daemon_option.h"
#include "lab/cli/outputs.h"
#include "lab/cli/progress_bar.h"
#include "lab/compare/run_json.h"
#include "lab/compare/run_one.h"
#include "lab/compare/run_text.h"
#include "lab/io/error.h"
#include "lab/io/narrow_stream.h"
#include "lab/io/time_text.h"
#include "lab/recordings/trace_course.h"
#include "lab/report/provenance.h"
#include "lab/session/session.h"
#include "lab/story/event_log.h"
#include "lab/story/story_lines.h"
#include "lab/tally/cost.h"

namespace lab {

namespace {

struct replay_options {
    std::string trace;
    std::vector<std::string> constants;
    output_options outputs;
    bool shows_log = false;
    bool shows_routine = false;
    bool prints_json = false;
};

trace_reader::constant_columns parse_constants(const std::vector<std::string>& assignments) {
    trace_reader::constant_columns constants;
    for (const std::string& assignment : assignments) {
        const std::size_t equals = assignment.find('=');
        if (equals == assignment.npos) throw input_error("--set: not COLUMN=TEXT: " + assignment);
        const auto [entry, is_new] =
            constants.emplace(assignment.substr(0, equals), assignment.substr(equals + 1));
        if (!is_new) throw input_error("--set: given twice: " + entry->first);
    }
    return constants;
}

// An unknown zone would count as UTC without a word. Other forms than a plain name are the C library's to know.
std::string zone_of_process() {
    const char* const set = std::getenv("TZ");
    if (set == nullptr || *set == '\0') return "this machine's time zone";
    std::string zone = set;
    if (std::isalpha(static_cast<unsigned char>(zone.front())) != 0) local_zone{zone};
    return zone;
}

void print_head(const trace_course& course, const std::string& zone) {
    std::cout << course.source_name() << '\n'
              << (course.has_wall_clock()
                      ? "wall clock of the trace"
                      : "the trace has no wall clock: it counts from 2026-01-01 00:00 UTC")
              << ", " << zone << "\n\n";
}

void print_end(const run_result& result, const cost& counted, const device_image& image) {
    std::cout << "\nHow it ended\n"
              << run_text(result) << '\n'
              << cost_text(counted) << "\nproperties at the end\n";
    for (const auto& [name, value] : image.properties) std::cout << "  " << name << " = " << value << '\n';
}

void replay(const replay_options& options) {
    const std::string zone = zone_of_process();
    trace_course course(
        trace_reader(input_file::open(options.trace), parse_constants(options.constants),
                     [](const std::string& line) { std::cerr << "vorn-lab: " << line << '\n'; }));
    const device_image start = image_in_root(options.outputs);
    const std::string title = std::filesystem::path(options.trace).stem().string();
    report::facts about{title, "replay", true, course.truth_names()};
    about.made_up_clock_s = DEFAULT_WALL_CLOCK_S;
    about.source = options.trace;
    about.digest = digest_text(options.trace);
    about.vendor = course.cell_vendor();
    outputs files(options.outputs, {"TRACE", options.trace}, about, start);
    std::vector<listener*> listeners;
    files.listen(listeners);
    if (options.prints_json && options.outputs.is_on_standard_output())
        throw input_error("--json: standard output is taken already");
    const bool is_silent =
        options.prints_json || !options.outputs.events.empty() || options.outputs.is_on_standard_output();
    const narrow_stream shown(std::cout, is_silent ? 0 : columns_of_terminal(STDOUT_FILENO));
    event_log log(std::cout, !options.shows_routine);
    story_lines lines(std::cout, options.shows_routine);
    story told([&](const decision& what) { lines.tell(what, local_time_text(what.real_time_s)); }, start);
    cost counted;
    if (!is_silent) {
        if (!options.shows_log) print_head(course, zone);
        listener* const printer = options.shows_log ? static_cast<listener*>(&log) : &told;
        listeners.insert(listeners.end(), {printer, &counted});
    }
    progress_bar bar;
    if (is_silent || ::isatty(STDOUT_FILENO) == 0) listeners.push_back(&bar);

    const auto finish_printing = [&] {
        log.finish();
        told.finish();
        lines.finish();
    };
    const run_end end = run_trace(course, start, options.constants, {listeners, nullptr});
    bar.wipe();
    finish_printing();
    const bool has_crashed = end.result.status == run_status::crashed;
    files.keep(has_crashed ? nullptr : &end.image);  // what led to a crash is worth keeping
    if (options.prints_json) std::cout << run_document({json_of(end.result)}) << std::flush;
    if (has_crashed) throw daemon_crashed(end.result.error);
    if (!is_silent) print_end(end.result, counted, end.image);
}

}  // namespace

void add_replay_command(CLI::App& app) {
    const auto options = std::make_shared<replay_options>();
    CLI::App& command = *app.add_subcommand("replay", "Run the daemon over a recorded trace");
    command.add_option("TRACE", options->trace, "CSV file, one row per cycle; - is standard input")
        ->required();
    add_output_options(command, options->outputs);
    command.add_option("--set", options->constants, "Give a column that the trace lacks a constant value")
        ->type_name("COLUMN=TEXT")
        ->allow_extra_args(false);
    command.add_flag("--log", options->shows_log,
                     "Print every log line, record and write instead of the story");
    command.add_flag("--json", options->prints_json, "Print the result as JSON (docs/formats.md)");
    add_daemon_option(command);
    command.add_flag("--all", options->shows_routine,
                     "Show routine decisions too; in the log, each file not found");
    command.callback([options] { replay(*options); });
}

}  // namespace lab
