// decision_match: which decisions of two runs are the same one, and how these differ.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "lab/compare/input_difference.h"

namespace lab {

// A text with # in place of each number, time and duration.
std::string shape_of(std::string_view text);

// Matched by kind (feature and shape), order and time: where both runs have equally many of a kind, one by one in
// their order; else so that as little time as possible lies between them, and at most MATCH_WITHIN_S. Each difference
// is told, however small. In order of time.
constexpr double MATCH_WITHIN_S = 86400;
std::vector<decision_difference_of> match_decisions(const std::vector<run_decision>& before,
                                                    const std::vector<run_decision>& after);

}  // namespace lab
