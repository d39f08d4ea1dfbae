// Shell completion, made from the command line that the program itself reads.
#pragma once

#include <string>

namespace CLI {
class App;
}

namespace lab {

// A script for bash, to be sourced; a script for zsh, to be put as _vorn-lab into a directory of $fpath.
std::string bash_completion(const CLI::App& app);
std::string zsh_completion(const CLI::App& app);
// A script for fish, to be put as vorn-lab.fish into its directory of completions.
std::string fish_completion(const CLI::App& app);

}  // namespace lab
