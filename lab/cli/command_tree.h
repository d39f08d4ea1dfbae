// The command line as data: its commands, options and arguments, for whatever is made from them.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace lab {

// The commands directly under `app`, those hidden from --help left out.
std::vector<const CLI::App*> commands_of(const CLI::App& app);

std::vector<const CLI::Option*> options_of(const CLI::App& app);    // options and flags that the help lists
std::vector<const CLI::Option*> arguments_of(const CLI::App& app);  // positional

// "--record" and "-r", as far as there are such names.
std::vector<std::string> names_of(const CLI::Option& option);

bool takes_value(const CLI::Option& option);  // no flag
bool is_repeatable(const CLI::Option& option);

}  // namespace lab
