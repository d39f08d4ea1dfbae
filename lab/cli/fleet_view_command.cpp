// vorn-lab fleet report and compare: what many phones come to.

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "lab/cli/fleet_commands.h"
#include "lab/fleet/fleet_compare.h"
#include "lab/fleet/fleet_directory.h"
#include "lab/fleet/fleet_page.h"
#include "lab/fleet/fleet_summary.h"
#include "lab/io/output_file.h"

namespace lab {

namespace {

struct view_options {
    std::string directory, other;
    std::string out;  // empty: not given
    bool as_csv = false;
    bool as_json = false;
};

void write_whole(const std::string& path, const std::string& text) {
    output_file file(path);
    file.write(text);
    file.finish();
    file.commit();
}

void report_fleet(const view_options& options) {
    results joined = joined_results(options.directory);
    const fleet_directory fleet(options.directory);
    const fleet_summary summary = summarise_fleet(joined, fleet.phones());
    if (options.as_csv) {
        write_whole(options.out.empty() ? "-" : options.out, curves_csv(summary));
        return;
    }
    write_whole(options.out.empty() ? "fleet.html" : options.out,
                fleet_page(summary, options.directory, joined.identity()));
}

}  // namespace

void add_fleet_view_commands(CLI::App& fleet) {
    const auto options = std::make_shared<view_options>();
    CLI::App& report = *fleet.add_subcommand("report", "Make the page of a fleet");
    report.add_option("DIR", options->directory, "Directory of fleet run")->required();
    report
        .add_option("--out", options->out,
                    "File to write; - is standard output; fleet.html, or that of --csv, when not given")
        ->type_name("FILE");
    report.add_flag("--csv", options->as_csv, "Write the curves with the numbers under them instead");
    report.callback([options] { report_fleet(*options); });

    CLI::App& compare = *fleet.add_subcommand("compare", "Compare two fleets of the same phones, one by one");
    compare.add_option("A", options->directory, "Directory of fleet run")->required();
    compare.add_option("B", options->other, "Another: of another build or setting")->required();
    compare.add_flag("--json", options->as_json, "Print JSON");
    compare.callback([options] {
        results first = joined_results(options->directory);
        results second = joined_results(options->other);
        const fleet_comparison found = compare_fleets(first, second);
        std::cout << (options->as_json ? comparison_json(found)
                                       : comparison_text(found, options->directory, options->other));
    });
}

}  // namespace lab
