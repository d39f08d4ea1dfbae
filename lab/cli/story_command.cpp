// vorn-lab story: what happened to a device and why, from whatever it left.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <numeric>
#include <string>
#include <unistd.h>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/evidence_progress.h"
#include "lab/cli/explanation.h"
#include "lab/evidence/evidence_text.h"
#include "lab/io/error.h"
#include "lab/io/narrow_stream.h"
#include "lab/io/text.h"
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

// The places of the devices, the worst first.
std::vector<std::size_t> worst_first(const std::vector<device_state>& states) {
    std::vector<std::size_t> order(states.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, std::ranges::greater(), [&](std::size_t i) { return states[i].badness; });
    return order;
}

void print_json(const dossier& device, const evidence_story& told, bool is_one_of_many) {
    auto object = evidence_json(device, told);
    if (is_one_of_many) object["device"] = without_personal(device.input);
    std::cout << object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

void tell_stories(const story_options& options) {
    const narrow_stream shown(std::cout, options.as_json ? 0 : columns_of_terminal(STDOUT_FILENO));
    const given_devices given = read_devices(options.inputs, options.each_by_itself);
    const std::vector<dossier>& devices = given.devices;
    const bool are_many = options.inputs.size() > 1 && (devices.size() > 1 || options.each_by_itself);
    std::vector<evidence_story> told;
    std::vector<device_state> states;
    std::uint64_t troubles = 0;
    for (const dossier& each : devices) {
        const device_zone zone(each, options.zone);
        const log_timeline timeline = make_timeline(each);
        told.push_back(tell_evidence(each, timeline, zone));
        states.push_back(state_at_end(each, told.back()));
        troubles += each.troubles();
    }
    for (const std::size_t i : worst_first(states)) {
        const device_zone zone(devices[i], options.zone);  // what is printed tells its times
        if (options.as_json) {
            print_json(devices[i], told[i], are_many);
        } else if (are_many) {
            std::cout << without_personal(devices[i].input) << ": " << states[i].words << '\n';
        } else {
            print_evidence(std::cout, devices[i], told[i], {options.shows_routine, options.shows_places});
        }
        std::cout.flush();
        std::cerr << sources_text(devices[i]);
    }
    require_all_read(given);
    if (options.is_strict && troubles > 0)
        throw expectation_failed(counted(troubles, "source") + " not read whole");
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
