#include "lab/io/distinct_files.h"

#include <filesystem>

#include "lab/io/descriptor.h"
#include "lab/io/error.h"

namespace lab {

namespace {

bool is_one_file(const std::string& one, const std::string& other) {
    if (one.empty() || other.empty()) return false;
    if (one == other) return true;
    if (one == "-" || other == "-") return false;
    std::error_code ignored;  // a file that does not exist yet is told apart by its name
    return std::filesystem::equivalent(one, other, ignored) || true_name(one) == true_name(other);
}

// A pipe or /dev/null may be written by several.
bool is_special(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_other(path, ignored);
}

void require_two(const named_file& one, const named_file& other) {
    if (!is_one_file(one.path, other.path) || is_special(one.path)) return;
    throw input_error(one.role + " and " + other.role + ": the same file: " + one.path);
}

}  // namespace

void require_distinct_files(const std::vector<named_file>& inputs, const std::vector<named_file>& outputs) {
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        for (std::size_t j = i + 1; j < outputs.size(); ++j) require_two(outputs[i], outputs[j]);
        if (outputs[i].path == "-") continue;  // standard input is another stream
        for (const named_file& input : inputs) require_two(input, outputs[i]);
    }
}

}  // namespace lab
