#include "lab/cli/outputs.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "lab/io/error.h"
#include "lab/io/text.h"
#include "lab/io/time_text.h"
#include "lab/recordings/device_root.h"

namespace lab {

namespace {

constexpr char STANDARD_OUTPUT[] = "-";

bool is_standard_output(const output_file* file) {
    return file->target() == STANDARD_OUTPUT;
}

// A replay of the trace starts from what the phone started from.
std::optional<std::string> root_of_trace(const output_options& options, const device_image& start) {
    const bool has_start = !start.files.empty() || !start.properties.empty();
    if (options.trace.empty() || !has_start) return std::nullopt;
    if (options.trace == STANDARD_OUTPUT)
        throw input_error("--trace -: the scenario starts with state files, which need a file name");
    return options.trace + ".root";
}

// Of --every, in seconds; 0 without it.
std::int64_t stretch_s(const output_options& options) {
    if (options.every.empty()) return 0;
    const auto stretch_s = parse_duration(options.every);
    if (!stretch_s || *stretch_s <= 0)
        throw input_error("--every: not a duration such as 10min or 1h: " + for_message(options.every));
    if (options.series.empty()) throw input_error("--every thins a series: there is no --series");
    return *stretch_s;
}

}  // namespace

bool output_options::has_any() const {
    return !(events.empty() && series.empty() && trace.empty() && report.empty() && root.empty() &&
             save_root.empty());
}

bool output_options::is_on_standard_output() const {
    return events == STANDARD_OUTPUT || series == STANDARD_OUTPUT || trace == STANDARD_OUTPUT ||
           report == STANDARD_OUTPUT;
}

void add_output_options(CLI::App& command, output_options& into) {
    command.add_option("--events", into.events, "Write every effect as JSON Lines; - is standard output")
        ->type_name("FILE");
    command.add_option("--series", into.series, "Write the state after every cycle as CSV")
        ->type_name("FILE");
    command.add_flag("--samples", into.with_samples, "Add what the daemon saw to the series");
    command.add_option("--every", into.every, "Thin the series to a row in each, such as 10min")
        ->type_name("DURATION");
    command.add_option("--report", into.report, "Write a page that shows what happened and why")
        ->type_name("FILE");
    command.add_option("--root", into.root, "The device's files and properties; never changed")
        ->type_name("DIR");
    command.add_option("--save-root", into.save_root, "Keep there what the device holds at the end")
        ->type_name("DIR");
}

device_image image_in_root(const output_options& options) {
    return options.root.empty() ? device_image() : load_device_root(options.root);
}

outputs::outputs(const output_options& options, const named_file& input, const report::facts& about,
                 const device_image& start)
    : options_(options), start_(start) {
    require_distinct_files({input}, {{"--events", options.events},
                                     {"--series", options.series},
                                     {"--trace", options.trace},
                                     {"--report", options.report}});
    (void)root_of_trace(options, start);  // better refused now than after the run
    const std::int64_t every_s = stretch_s(options);
    if (options.with_samples && options.series.empty())
        throw input_error("--samples adds to a series: there is no --series");
    if (!options.save_root.empty()) require_savable_root(options.save_root);
    if (!options.events.empty()) events_.emplace(events_file_.emplace(options.events));
    if (!options.series.empty())
        series_.emplace(series_file_.emplace(options.series), options.with_samples, about.truth_names,
                        every_s);
    if (!options.trace.empty()) trace_.emplace(options.trace);
    if (!options.report.empty()) page_.emplace(options.report, about, start);
}

void outputs::listen(std::vector<listener*>& listeners) {
    if (events_) listeners.push_back(&*events_);
    if (series_) listeners.push_back(&*series_);
    if (page_) page_->listen(listeners);
}

std::vector<output_file*> outputs::files() {
    std::vector<output_file*> files;
    for (auto* each : {&events_file_, &series_file_, &trace_}) {
        if (*each) files.push_back(&**each);
    }
    if (page_) files.push_back(&page_->file());
    // What went to standard output cannot be taken back, and it alone can still fail: so it goes first.
    std::stable_partition(files.begin(), files.end(), is_standard_output);
    return files;
}

void outputs::keep(const device_image* end, const report_recorder::ending& how) {
    if (page_) page_->finish(how);
    std::vector<staged_device_root> roots;
    if (const auto root = root_of_trace(options_, start_)) roots.emplace_back(*root, start_);
    if (end != nullptr && !options_.save_root.empty()) roots.emplace_back(options_.save_root, *end);
    const std::vector<output_file*> all = files();
    // From here on everything is written, and a full disk has been noticed: what is left are the names.
    for (output_file* each : all) each->finish();
    const auto first_named = std::ranges::find_if_not(all, is_standard_output);
    std::for_each(all.begin(), first_named, [](output_file* each) { each->commit(); });
    for (staged_device_root& each : roots) each.commit();
    std::for_each(first_named, all.end(), [](output_file* each) { each->commit(); });
}

}  // namespace lab
