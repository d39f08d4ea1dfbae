// vorn-lab report: the page of a run made earlier, from the events and the series that it left, or of a device, from
// whatever that left.

#include <CLI/CLI.hpp>
#include <algorithm>
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
    std::vector<std::string> beside;  // the two files of a second run
    std::string output;
    std::string title;
    std::string zone;
};

void check(const report_options& options) {
    std::vector<named_file> inputs;
    std::size_t piped = 0;
    const auto note = [&](const std::string& role, const std::vector<std::string>& paths) {
        for (const std::string& each : paths) inputs.push_back({role, each});
        piped += static_cast<std::size_t>(std::count(paths.begin(), paths.end(), "-"));
    };
    note("EVIDENCE", options.inputs);
    note("--beside", options.beside);
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

// A run from its files, opened, and what they say of it.
class told_run {
  public:
    told_run(run_files files, const std::string& title)
        : series_(std::move(files.series)),
          events_(std::move(files.events)),
          clocks_(series_.has_samples() ? boot_clocks() : boot_clocks(events_)),
          facts_{title.empty() ? std::filesystem::path(files.events_path).stem().string() : title, "files",
                 series_.has_samples(), series_.truth_names()} {
        // A simulated phone always has a clock.
        if (facts_.truth_names.empty()) facts_.made_up_clock_s = DEFAULT_WALL_CLOCK_S;
        facts_.source = files.events_path;
        facts_.digest = digest_text(files.events_path);
    }

    const report::facts& facts() const { return facts_; }
    // To be called once; `heard` is a report_recorder or a second_run.
    void tell(auto& heard) {
        std::vector<listener*> listeners;
        heard.listen(listeners);
        tell_from_files(std::move(events_), std::move(series_), clocks_, listeners);
    }

  private:
    series_reader series_;
    event_reader events_;
    boot_clocks clocks_;
    report::facts facts_;
};

void write_report_of_run(const report_options& options, run_files files, std::optional<run_files> beside) {
    told_run run(std::move(files), options.title);
    std::optional<told_run> other;
    if (beside) other.emplace(std::move(*beside), "");
    report_recorder recorder(options.output, run.facts(), {});
    run.tell(recorder);
    report_recorder::ending ending;
    std::optional<second_run> second;
    if (other) {
        other->tell(second.emplace(other->facts(), device_image()));
        ending.other = &second->finished();
    }
    recorder.finish(ending);
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
    auto run = as_run(options.inputs);
    auto beside = as_run(options.beside);
    if (!options.beside.empty() && !(run && beside))
        throw input_error("--beside: " + (run ? options.beside : options.inputs).front() +
                          ": not the events of a run, with its series");
    if (run) {
        write_report_of_run(options, std::move(*run), std::move(beside));
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
    command
        .add_option("--beside", options->beside,
                    "Events and series of a second run, to draw and to compare with the first")
        ->type_name("FILE")
        ->expected(2);
    command.add_option("--title", options->title, "Its title; without, the name of the input")
        ->type_name("TEXT");
    command.add_option("--timezone", options->zone, "The device's zone, over the one of its properties")
        ->type_name("ZONE");
    command.footer("For example\n  vorn-lab report bugreport.zip -o page.html");
    command.callback([options] { write_report(*options); });
}

}  // namespace lab
