#include "lab/cli/command_tree.h"

namespace lab {

std::vector<const CLI::App*> commands_of(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App* each) { return !each->get_group().empty(); });
}

std::vector<const CLI::Option*> options_of(const CLI::App& app) {
    return app.get_options(
        [](const CLI::Option* each) { return !each->get_positional() && !each->get_group().empty(); });
}

std::vector<const CLI::Option*> arguments_of(const CLI::App& app) {
    return app.get_options([](const CLI::Option* each) { return each->get_positional(); });
}

std::vector<std::string> names_of(const CLI::Option& option) {
    std::vector<std::string> names;
    for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
    for (const std::string& name : option.get_snames()) names.push_back("-" + name);
    return names;
}

bool takes_value(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

bool is_repeatable(const CLI::Option& option) {
    return option.get_expected_max() > 1;
}

}  // namespace lab
