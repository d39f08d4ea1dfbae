// expected_causes: differences that are meant, with a reason, in a file.
//
//     [[difference]]
//     key = "open: decision later: charge timer: Stopped charging: ..."
//     reason = "the margin went from 20 to 22 h"
#pragma once

#include <string>
#include <vector>

#include "lab/compare/build_comparison.h"

namespace lab {

struct expected_cause {
    std::string key, reason;
};

// Throws input_error "file:line:column: what" for a file that is none.
std::vector<expected_cause> read_expected(const std::string& file);

// Holds the comparison against them.
void hold_against(const std::vector<expected_cause>& expected, build_comparison& found);

// The file's text: what is there stays with its reason while it still comes, the rest has this one. `accepted` gets a line
// for each difference that is new in it.
std::string accepted_text(const std::vector<expected_cause>& before, const build_comparison& found,
                          const std::string& reason, std::vector<std::string>& accepted);

}  // namespace lab
