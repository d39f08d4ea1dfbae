// vorn-lab diff: what two builds do differently with the same scenarios and traces.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/option_checks.h"
#include "lab/cli/progress_bar.h"
#include "lab/compare/build_comparison.h"
#include "lab/compare/comparison_page.h"
#include "lab/compare/comparison_text.h"
#include "lab/compare/expected_causes.h"
#include "lab/compare/kept_runs.h"
#include "lab/io/error.h"
#include "lab/io/output_file.h"
#include "lab/io/text.h"

namespace lab {

namespace {

struct diff_options {
    std::vector<std::string> words;  // OLD NEW INPUT...
    std::vector<std::string> settings, old_settings, new_settings;
    std::string expected, reason, page, keep;
    std::size_t seeds = 0, at_once = 0;
    bool only_traces = false, is_exact = false, always = false, changed_only = false;
    bool only_daemon = false;
    bool prints_json = false, shows_all = false, prints_classes = false;
};

std::vector<std::string> joined(std::vector<std::string> first, const std::vector<std::string>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

void check(const diff_options& options, const std::vector<std::string>& files) {
    const bool has_settings =
        !(options.settings.empty() && options.old_settings.empty() && options.new_settings.empty());
    bool has_scenario = false, has_trace = false;
    for (const std::string& each : files) (is_scenario(each) ? has_scenario : has_trace) = true;
    if (has_settings && has_scenario && has_trace)
        throw input_error(
            "--set, --old-set and --new-set: scenarios and traces have other keys: compare them one after "
            "the other");
    if (options.only_traces && options.seeds > 0)
        throw input_error("--seeds: with --only-traces no phone is simulated");
    if (options.seeds > 0 && !has_scenario) throw input_error("--seeds: there is no scenario");
    if (options.changed_only && options.keep.empty())
        throw input_error("--changed-only needs --keep DIR, which tells what has changed");
    if (!options.reason.empty() && options.expected.empty())
        throw input_error("--accept needs --expect FILE, which it writes");
    if (!options.page.empty() && files.size() != 1) throw input_error("--report takes one input at a time");
    if (options.page == "-" && options.prints_json)
        throw input_error("--json: standard output is taken already");
}

comparison_plan plan_of(const diff_options& options) {
    comparison_plan plan{identify("OLD", options.words[0]),
                         identify("NEW", options.words[1]),
                         joined(options.settings, options.old_settings),
                         joined(options.settings, options.new_settings),
                         options.only_traces,
                         options.is_exact,
                         options.seeds,
                         options.keep,
                         options.changed_only};
    if (options.only_daemon) {
        require_wire(plan.before);
        require_wire(plan.after);
        plan.before.lab = plan.after.program;
        plan.before.identity.lab = plan.after.identity.lab;
    }
    return plan;
}

build_comparison compare(const diff_options& options, const std::vector<std::string>& files) {
    const comparison_plan plan = plan_of(options);
    if (plan.has_same_daemon() && plan.has_same_settings() && !options.always && options.page.empty()) {
        build_comparison same;
        same.plan = plan;
        same.is_same_code = true;
        return same;
    }
    progress_bar bar;
    return compare_builds(plan, files, options.at_once, [&bar](double share) { bar.on_progress(share); });
}

// Writes down what was found as what is meant, and says so.
void accept(const diff_options& options, build_comparison& found) {
    if (found.verdict() == comparison_verdict::no_answer) return;
    std::vector<expected_cause> before;
    if (std::filesystem::exists(options.expected)) before = read_expected(options.expected);
    std::vector<std::string> accepted;
    output_file file(options.expected);
    file.write(accepted_text(before, found, options.reason, accepted));
    file.finish();
    file.commit();
    for (const std::string& each : accepted) std::cerr << "accepted: " << each << '\n';
    hold_against(read_expected(options.expected), found);
}

void end_by(const build_comparison& found) {
    switch (found.verdict()) {
        case comparison_verdict::same:
            return;
        case comparison_verdict::differs:
            throw answer_is_no("");
        case comparison_verdict::no_answer:
            throw no_answer(found.failed() == 0 ? "nothing was compared"
                                                : std::to_string(found.failed()) + " of " +
                                                      std::to_string(found.inputs.size()) + " did not run");
    }
}

void diff(const diff_options& options) {
    if (options.prints_classes) {
        std::cout << class_table();
        return;
    }
    if (options.words.size() < 3)
        throw input_error("diff: needs OLD, NEW and at least one scenario, trace or folder of them");
    const std::vector<std::string> files = files_of({options.words.begin() + 2, options.words.end()});
    check(options, files);
    if (!options.expected.empty() && options.reason.empty()) (void)read_expected(options.expected);
    (void)kept_runs(options.keep);  // better refused now than by each input
    build_comparison found = compare(options, files);
    if (!options.reason.empty()) {
        accept(options, found);
    } else if (!options.expected.empty()) {
        hold_against(read_expected(options.expected), found);
    }
    if (!options.page.empty()) write_comparison_page(found.plan, files.front(), options.page);
    if (options.page != "-")
        std::cout << (options.prints_json ? comparison_document(found)
                                          : comparison_text(found, options.shows_all))
                  << std::flush;
    end_by(found);
}

}  // namespace

void add_diff_command(CLI::App& app) {
    const auto options = std::make_shared<diff_options>();
    CLI::App& command = *app.add_subcommand("diff", "Compare two builds over scenarios and traces");
    command.add_option("OLD NEW INPUT", options->words, "Two vorn-lab, then scenarios, traces, folders");
    const auto add_settings = [&](const char* name, std::vector<std::string>& into, const char* what) {
        command.add_option(name, into, what)->type_name("KEY=VALUE")->allow_extra_args(false);
    };
    add_settings("--set", options->settings, "Replace a value for both, as simulate does");
    add_settings("--old-set", options->old_settings, "Likewise, for OLD alone");
    add_settings("--new-set", options->new_settings, "Likewise, for NEW alone");
    command.add_flag("--only-traces", options->only_traces, "Only what the code decides on the same inputs");
    command.add_flag("--daemon", options->only_daemon, "Take OLD's daemon alone, and run it in NEW's lab");
    command.add_flag("--exact", options->is_exact, "Count every byte, whatever its class");
    command.add_flag("--always", options->always, "Run also when the daemon's code is the same");
    command.add_option("--keep", options->keep, "Keep results there, and take those that are there")
        ->type_name("DIR")
        ->check(not_empty);
    command.add_flag("--changed-only", options->changed_only,
                     "Skip what both builds ran before, to the same result");
    command.add_option("--seeds", options->seeds, "Simulate with so many seeds, in pairs")
        ->type_name("COUNT")
        ->check(at_least_one);
    command.add_option("--expect", options->expected, "Differences that are meant")
        ->type_name("FILE")
        ->check(not_empty);
    command.add_option("--accept", options->reason, "Write what is found into that file")
        ->type_name("REASON")
        ->check(not_empty);
    command.add_option("--report", options->page, "Write a page with both runs of one input")
        ->type_name("FILE");
    command.add_flag("--json", options->prints_json, "Print the comparison as JSON");
    command.add_flag("--all", options->shows_all, "Show every kind of difference");
    // Left out of the help, which is to fit a screen: docs/compare.md has the table.
    command.add_flag("--classes", options->prints_classes, "Print what is a small and a big difference")
        ->group("");
    command.add_option("-j,--jobs", options->at_once, "Inputs at a time, if not one a core")
        ->type_name("COUNT")
        ->check(at_least_one);
    command.callback([options] { diff(*options); });
}

}  // namespace lab
