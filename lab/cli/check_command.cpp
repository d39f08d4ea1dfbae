// vorn-lab check: is this device wired as the daemon expects?

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
#include "lab/io/text.h"
#include "lab/report/provenance.h"
#include "lab/wiring/wiring_checks.h"

namespace lab {

namespace {

struct check_options {
    std::vector<std::string> inputs;
    std::string explained;
    std::string assumed;
    bool as_json = false;
    bool lists = false;
};

int current_factor_of(const std::string& assumed) {
    if (assumed.empty() || assumed == "sign=+") return 1;
    if (assumed == "sign=-") return -1;
    throw input_error("--assume: neither sign=+ nor sign=-: " + for_message(assumed));
}

// Nothing to look at is no verdict on a device.
void require_checkable(const dossier& device) {
    if (!device.trace && device.image.files.empty())
        throw input_error("check: neither samples nor state files in " + on_one_line(device.input) +
                          " (tools/capture.sh takes samples)");
}

std::vector<finding> findings_of(const dossier& device, int current_factor) {
    if (!device.trace) return check_wiring(device, nullptr);
    trace_reader reader(device.trace->file.again(), {}, [](const std::string&) {});
    const sample_facts facts = gather_samples(reader, current_factor);
    return check_wiring(device, &facts);
}

struct checked_device {
    const dossier* device = nullptr;
    std::vector<finding> findings;
};

void print_json(const checked_device& of, const std::string& assumed, bool is_one_of_many) {
    nlohmann::ordered_json object = document_head("vorn-lab/check/1");
    object["assumed"] = assumed;
    if (is_one_of_many) object["device"] = without_personal(of.device->input);
    object["contradictions"] = of.device->contradictions;
    object["findings"] = findings_json(of.findings);
    std::cout << object.dump(is_one_of_many ? -1 : 2, ' ', false, nlohmann::json::error_handler_t::replace)
              << '\n';
}

void print_text(const checked_device& of, bool is_one_of_many) {
    if (is_one_of_many) {
        std::cout << without_personal(of.device->input) << ": " << findings_summary(of.findings) << '\n';
        return;
    }
    for (const std::string& each : of.device->contradictions)
        std::cout << "Contradicts itself: " << each << ".\n";
    std::cout << findings_text(of.findings);
}

void check_evidence(const check_options& options) {
    if (options.inputs.empty()) throw input_error("check: no evidence");
    const int current_factor = current_factor_of(options.assumed);
    const given_devices given = read_devices(options.inputs);
    std::vector<checked_device> checked;
    for (const dossier& each : given.devices) {
        require_checkable(each);
        checked.push_back({&each, findings_of(each, current_factor)});
    }
    std::ranges::stable_sort(checked, std::ranges::greater(),
                             [](const checked_device& each) { return troubles_in(each.findings); });
    const narrow_stream shown(std::cout, options.as_json ? 0 : columns_of_terminal(STDOUT_FILENO));
    if (!options.as_json && !options.assumed.empty()) std::cout << "assuming " << options.assumed << '\n';
    for (const checked_device& each : checked) {
        if (options.as_json) {
            print_json(each, options.assumed, checked.size() > 1);
        } else {
            print_text(each, checked.size() > 1);
        }
        std::cout.flush();
        std::cerr << sources_text(*each.device);
    }
    require_all_read(given);
    if (troubles_in(checked.front().findings).first == 0) return;
    throw expectation_failed(checked.size() == 1 ? "this device is not wired as the daemon expects"
                                                 : "not all are wired as the daemon expects");
}

}  // namespace

void add_check_command(CLI::App& app) {
    const auto options = std::make_shared<check_options>();
    CLI::App& command = *app.add_subcommand("check", "Tell whether a device is wired as the daemon expects");
    command.add_option("EVIDENCE", options->inputs, "A trace, pulled state files, or an archive with them")
        ->type_name("");
    command
        .add_option("--assume", options->assumed, "Look at the samples as if: sign=- turns the current round")
        ->type_name("WHAT");
    command.add_option("--explain", options->explained, "Tell what a check or a log line means, and end")
        ->type_name("ID");
    command.add_flag("--list", options->lists, "Print the table of all checks, and end");
    command.add_flag("--json", options->as_json, "Print JSON, of several devices an object a line");
    command.footer(
        "Exit status 1: a verdict is \"wrong\".\n\nFor example\n  vorn-lab check trace.csv pulled_folder");
    command.callback([options] {
        if (options->lists) {
            std::cout << checks_reference();
        } else if (!options->explained.empty()) {
            std::cout << explanation_of(options->explained);
        } else {
            check_evidence(*options);
        }
    });
}

}  // namespace lab
