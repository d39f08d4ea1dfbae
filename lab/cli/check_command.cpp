// vorn-lab check: is this device wired as the daemon expects?

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
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

void check_evidence(const check_options& options) {
    if (options.inputs.empty()) throw input_error("check: no evidence");
    const int current_factor = current_factor_of(options.assumed);
    const dossier evidence = read_device(options.inputs);
    std::optional<sample_facts> facts;
    if (evidence.trace) {
        trace_reader reader(evidence.trace->file.again(), {}, [](const std::string&) {});
        facts = gather_samples(reader, current_factor);
    } else if (evidence.image.files.empty()) {
        throw input_error("check: neither samples nor state files in it (tools/capture.sh takes samples)");
    }
    const std::vector<finding> found = check_wiring(evidence, facts ? &*facts : nullptr);
    if (options.as_json) {
        std::cout << nlohmann::ordered_json{{"program", program_json()},
                                            {"assumed", options.assumed},
                                            {"findings", findings_json(found)}}
                         .dump(2, ' ', false, nlohmann::json::error_handler_t::replace)
                  << '\n';
    } else {
        const narrow_stream shown(std::cout, columns_of_terminal(STDOUT_FILENO));
        if (!options.assumed.empty()) std::cout << "assuming " << options.assumed << '\n';
        std::cout << findings_text(found);
    }
    std::cout.flush();
    if (is_wrong(found)) throw expectation_failed("this device is not wired as the daemon expects");
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
    command.add_flag("--json", options->as_json, "Print JSON");
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
