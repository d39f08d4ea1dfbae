// vorn-lab story: what happened to a device and why, from whatever it left.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <unistd.h>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/evidence_progress.h"
#include "lab/cli/explanation.h"
#include "lab/evidence/evidence_text.h"
#include "lab/io/error.h"
#include "lab/io/narrow_stream.h"
#include "lab/io/time_text.h"
#include "lab/story/log_table.h"

namespace lab {

namespace {

struct story_options {
    std::vector<std::string> inputs;
    std::string zone;
    bool each_by_itself = false;
    bool shows_routine = false;
    bool shows_places = false;
    bool as_json = false;
    bool is_strict = false;
    std::string explained;
    bool lists = false;
};

// Two inputs that each hold a device of their own are two devices; otherwise all are parts of one.
bool are_devices(const std::vector<dossier>& inputs) {
    const auto count = [&](auto has) { return std::ranges::count_if(inputs, has); };
    return count([](const dossier& each) { return !each.log.report_times().empty(); }) > 1 ||
           count([](const dossier& each) { return !each.image.files.empty(); }) > 1 ||
           count([](const dossier& each) { return each.trace.has_value(); }) > 1 ||
           count([](const dossier& each) { return each.events.has_value(); }) > 1;
}

std::vector<dossier> read_devices(const story_options& options) {
    std::vector<dossier> devices;
    for (const std::string& input : options.inputs) read_shown(input, devices.emplace_back());
    if (devices.size() < 2 || options.each_by_itself || are_devices(devices)) return devices;
    for (std::size_t i = 1; i < devices.size(); ++i) absorb_evidence(devices.front(), std::move(devices[i]));
    devices.resize(1);
    return devices;
}

void print_many(const std::vector<dossier>& devices, const std::vector<evidence_story>& told) {
    std::vector<std::pair<device_state, std::size_t>> states;
    for (std::size_t i = 0; i < devices.size(); ++i)
        states.emplace_back(state_at_end(devices[i], told[i]), i);
    std::ranges::stable_sort(states,
                             [](const auto& a, const auto& b) { return a.first.badness > b.first.badness; });
    for (const auto& [state, i] : states)
        std::cout << without_personal(devices[i].input) << ": " << state.words << '\n';
}

void tell_stories(const story_options& options) {
    const narrow_stream shown(std::cout, options.as_json ? 0 : columns_of_terminal(STDOUT_FILENO));
    const std::vector<dossier> devices = read_devices(options);
    std::vector<evidence_story> told;
    std::uint64_t troubles = 0;
    for (const dossier& each : devices) {
        const device_zone zone(each, options.zone);
        const log_timeline timeline = make_timeline(each);
        told.push_back(tell_evidence(each, timeline, zone));
        troubles += each.troubles();
        if (options.as_json) {
            auto object = evidence_json(each, told.back());
            if (devices.size() > 1) object["device"] = without_personal(each.input);
            std::cout << object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
        } else if (devices.size() == 1) {
            print_evidence(std::cout, each, told.back(), {options.shows_routine, options.shows_places});
        }
        std::cout.flush();
        std::cerr << sources_text(each);
    }
    if (!options.as_json && devices.size() > 1) print_many(devices, told);
    if (options.is_strict && troubles > 0)
        throw expectation_failed(std::to_string(troubles) + (troubles == 1 ? " source" : " sources") +
                                 " not read whole");
}

}  // namespace

void add_story_command(CLI::App& app) {
    const auto options = std::make_shared<story_options>();
    CLI::App& command = *app.add_subcommand("story", "Tell what happened to a device, from what it left");
    command
        .add_option(
            "EVIDENCE", options->inputs,
            "Bug report (zip, tar, gz, text), log, pulled folder, getprop output, trace, events; - is "
            "standard input")
        ->type_name("");
    command.add_option("--timezone", options->zone, "The device's zone, over the one of its properties")
        ->type_name("ZONE");
    command.add_flag("--each", options->each_by_itself, "Every input is a device of its own");
    command.add_flag("--all", options->shows_routine, "Show routine decisions too");
    command.add_flag("--where", options->shows_places, "Name the line that shows each decision");
    command.add_flag("--json", options->as_json, "Print one JSON object per device");
    command.add_flag("--strict", options->is_strict, "Exit 1 when a source was not read whole");
    command
        .add_option("--explain", options->explained,
                    "Tell what a log line means (its id, or itself), and end")
        ->type_name("LINE");
    command.add_flag("--list", options->lists, "Print the table of the daemon's log lines, and end");
    command.footer("For example\n  adb bugreport report.zip && vorn-lab story report.zip");
    command.callback([options] {
        if (options->lists) {
            std::cout << log_lines_reference();
        } else if (!options->explained.empty()) {
            std::cout << explanation_of(options->explained);
        } else if (options->inputs.empty()) {
            throw input_error("story: no evidence");
        } else {
            tell_stories(*options);
        }
    });
}

}  // namespace lab
