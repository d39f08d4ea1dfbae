// vorn-lab sweep: one scenario with many values.

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/option_checks.h"
#include "lab/cli/progress_bar.h"
#include "lab/compare/sweep.h"
#include "lab/io/distinct_files.h"
#include "lab/io/error.h"
#include "lab/io/output_file.h"

namespace lab {

namespace {

struct sweep_options {
    sweep_plan plan;
    std::vector<std::string> varied;
    std::string reference, page;
    bool prints_csv = false, prints_json = false;
};

void sweep(sweep_options& options) {
    if (options.varied.empty()) throw input_error("sweep: nothing to --vary");
    if (options.prints_csv && options.prints_json) throw input_error("--csv and --json: one of the two");
    if (!options.reference.empty() && (options.prints_csv || options.prints_json))
        throw input_error("--reference: --csv and --json hold the results themselves");
    const bool prints = options.page != "-";
    if (!prints && (options.prints_csv || options.prints_json))
        throw input_error("--report: standard output is taken already");
    for (const std::string& each : options.varied) {
        varied_key varied = parse_varied(each);
        for (const varied_key& other : options.plan.varied) {
            if (other.key == varied.key)
                throw input_error("--vary: given twice: " + each.substr(0, each.find('=')));
        }
        options.plan.varied.push_back(std::move(varied));
    }
    if (!options.reference.empty()) {
        sweep_result planned;  // better refused now than after the runs
        for (const varied_key& each : options.plan.varied) planned.keys.push_back(each.key);
        for (auto& values : options.plan.grid()) planned.rows.push_back({std::move(values), {}});
        (void)references(planned, options.reference);
    }
    require_distinct_files({{"SCENARIO", options.plan.scenario}}, {{"--report", options.page}});
    std::optional<output_file> page;
    if (!options.page.empty()) page.emplace(options.page);
    sweep_result found;
    {
        progress_bar bar;
        found = run_sweep(options.plan, [&bar](double share) { bar.on_progress(share); });
    }
    if (found.known > 0) std::cerr << found.known << " of " << found.rows.size() << " were known\n";
    const std::string text = options.prints_csv    ? sweep_csv(found)
                             : options.prints_json ? sweep_document(found)
                                                   : sweep_text(found, options.reference);
    if (prints) std::cout << text << std::flush;
    if (page) {
        page->write(sweep_page(found, options.plan.scenario));
        page->finish();
        page->commit();
    }
    if (found.failed() > 0)
        throw no_answer(std::to_string(found.failed()) + " of " + std::to_string(found.rows.size()) +
                        " did not run to the end");
}

}  // namespace

void add_sweep_command(CLI::App& app) {
    const auto options = std::make_shared<sweep_options>();
    CLI::App& command = *app.add_subcommand("sweep", "Run one scenario with many values");
    command.add_option("SCENARIO", options->plan.scenario, "Scenario in TOML")->required();
    command.add_option("--vary", options->varied, "KEY=V1,V2,... or KEY=FROM..TO:STEP")
        ->type_name("KEY=VALUES")
        ->allow_extra_args(false);
    command.add_option("--set", options->plan.settings, "Replace a value in every run, as simulate does")
        ->type_name("KEY=VALUE")
        ->allow_extra_args(false);
    command.add_flag("--zip", options->plan.is_zipped, "Values side by side, not each with each");
    command.add_option("--reference", options->reference, "Print differences to the runs with this value")
        ->type_name("VALUE")
        ->check(not_empty);
    command.add_option("--keep", options->plan.keep, "Keep results there, and take those that are there")
        ->type_name("DIR")
        ->check(not_empty);
    command.add_option("--report", options->page, "Write a page with the curves")->type_name("FILE");
    command.add_flag("--csv", options->prints_csv, "Print all figures as CSV");
    command.add_flag("--json", options->prints_json, "Print the results as JSON (docs/formats.md)");
    command.add_option("-j,--jobs", options->plan.at_once, "Runs at a time, if not one a core")
        ->type_name("COUNT")
        ->check(at_least_one);
    command.callback([options] { sweep(*options); });
}

}  // namespace lab
