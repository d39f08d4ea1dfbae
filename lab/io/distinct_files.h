// Guards a command's files against each other.
#pragma once

#include <string>
#include <vector>

namespace lab {

struct named_file {
    std::string role;  // as the user knows it: "--events"
    std::string path;  // empty when not given; "-" is standard input or output
};

// Throws input_error when two of the outputs, or an output and an input, are one file, by whatever name; so
// that no output is lost under another and no input is written over.
void require_distinct_files(const std::vector<named_file>& inputs, const std::vector<named_file>& outputs);

}  // namespace lab
