// vorn-lab state: the state files of a device, shown, set and compared.

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "lab/cli/commands.h"
#include "lab/cli/reference.h"
#include "lab/io/error.h"
#include "lab/report/provenance.h"
#include "lab/state/assign.h"
#include "lab/state/diff.h"
#include "lab/state/show.h"
#include "lab/state/values.h"

namespace lab {

namespace {

struct state_options {
    std::vector<std::string> paths;
    std::string directory;
    std::vector<std::string> assignments;
    std::string before;
    std::string after;
    bool as_json = false;
    bool force = false;
};

std::string json_text(const nlohmann::ordered_json& value) {
    return value.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

// "a: damaged: batt_stress, toc_clients"; empty when all is well.
std::string damage_in(const stored_state& state) {
    std::string names;
    for (const stored_file& each : state.files) {
        if (is_damaged(each)) names += (names.empty() ? "" : ", ") + std::string(each.kind->name);
    }
    if (!names.empty()) return state.source + ": damaged: " + names;
    const bool has_none = std::ranges::all_of(
        state.files, [](const stored_file& each) { return each.condition == file_condition::missing; });
    return has_none ? state.source + ": no state file is here" : "";
}

void append(std::string& sentences, const std::string& more) {
    sentences += (sentences.empty() || more.empty() ? "" : "; ") + more;
}

// Shows all that can be shown before it throws for what could not.
void show(const state_options& options) {
    std::string failure, damage;
    auto shown = nlohmann::ordered_json::array();
    for (const std::string& path : options.paths) {
        try {
            const stored_state state = read_stored_state(path);
            append(damage, damage_in(state));
            if (options.as_json) {
                shown.push_back(document_head("vorn-lab/state/1"));
                shown.back().update(show_as_json(state));
            } else {
                std::cout << show_as_text(state);
            }
        } catch (const input_error& error) {
            append(failure, error.what());
        }
    }
    if (options.as_json) std::cout << json_text(shown);
    std::cout.flush();
    if (!failure.empty()) throw input_error(failure);
    if (!damage.empty()) throw answer_is_no(damage);
}

void diff(const state_options& options) {
    const auto changes = compare_states(read_stored_state(options.before), read_stored_state(options.after));
    if (options.as_json) {
        auto all = document_head("vorn-lab/state-diff/1");
        all["changes"] = changes_as_json(changes);
        std::cout << json_text(all);
    } else {
        std::cout << changes_as_text(changes);
    }
    if (!changes.empty()) throw answer_is_no("");  // the differences have been told
}

void add_show(CLI::App& state, const std::shared_ptr<state_options>& options) {
    CLI::App& command = *state.add_subcommand("show", "Show state files with units and meaning");
    command
        .add_option("PATH", options->paths,
                    "Device root, directory of state files, or state file; - is standard input")
        ->type_name("")
        ->required();
    command.add_flag("--json", options->as_json, "Print JSON");
    command.footer("Exit status 1: a file is damaged, or there is none.");
    command.callback([options] { show(*options); });
}

void add_set(CLI::App& state, const std::shared_ptr<state_options>& options) {
    CLI::App& command = *state.add_subcommand("set", "Write fields of state files, all of them or none");
    command
        .add_option("DIR", options->directory, "Device root or directory of state files; made when missing")
        ->type_name("")
        ->required();
    command
        .add_option("FIELD=VALUE", options->assignments,
                    "Which field becomes what (vorn-lab state fields lists them)")
        ->type_name("")
        ->required();
    command.add_flag("--force", options->force, "Write also what the daemon would not take");
    command.callback(
        [options] { std::cout << assign_fields(options->directory, options->assignments, options->force); });
}

void add_diff(CLI::App& state, const std::shared_ptr<state_options>& options) {
    CLI::App& command = *state.add_subcommand("diff", "Tell what differs between two devices or moments");
    command.add_option("A", options->before, "Device root, directory of state files, or state file")
        ->type_name("")
        ->required();
    command.add_option("B", options->after, "The same, later or elsewhere")->type_name("")->required();
    command.add_flag("--json", options->as_json, "Print JSON");
    command.footer("Exit status 1: they differ.");
    command.callback([options] { diff(*options); });
}

}  // namespace

void add_state_command(CLI::App& app) {
    const auto options = std::make_shared<state_options>();
    CLI::App& state = *app.add_subcommand("state", "Show, set and compare the daemon's state files");
    state.require_subcommand(1);
    add_show(state, options);
    add_set(state, options);
    add_diff(state, options);
    state.add_subcommand("fields", "List all files and fields with their ranges")->callback([] {
        std::cout << state_reference();
    });
}

}  // namespace lab
