// Runs a command of vorn-lab as a user would, in a child process.
#pragma once

#include <string>
#include <vector>

namespace test {

struct command_outcome {
    int status = -1;  // exit status; -1 when a signal ended it
    std::string out;  // what went to standard output
    std::string err;
};

// Runs "vorn-lab `arguments`..." with `directory` as its working directory, TZ set and nothing on standard
// input.
command_outcome run_command(const std::vector<std::string>& arguments, const std::string& directory,
                            const std::string& time_zone = "UTC");

}  // namespace test
