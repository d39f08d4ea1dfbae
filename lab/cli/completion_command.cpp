// vorn-lab completion: a script that completes this command line in a shell. vorn-lab manual: its page.

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "lab/cli/commands.h"
#include "lab/cli/completion.h"
#include "lab/cli/manual.h"
#include "lab/io/error.h"

namespace lab {

void add_completion_command(CLI::App& app) {
    const auto shell = std::make_shared<std::string>();
    CLI::App& command = *app.add_subcommand("completion", "Print a completion script for bash, fish or zsh");
    command.add_option("SHELL", *shell, "bash, fish or zsh")->type_name("")->required();
    command.callback([&app, shell] {
        if (*shell == "bash") {
            std::cout << bash_completion(app);
        } else if (*shell == "zsh") {
            std::cout << zsh_completion(app);
        } else if (*shell == "fish") {
            std::cout << fish_completion(app);
        } else {
            throw input_error("completion: none of bash, fish and zsh: " + *shell);
        }
    });
    // For the installation alone.
    app.add_subcommand("manual", "Print the manual page")->group("")->callback([&app] {
        std::cout << manual_page(app);
    });
}

}  // namespace lab
