// causes: differences over many inputs, each kind of them told once.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "lab/compare/difference_class.h"
#include "lab/compare/input_difference.h"

namespace lab {

// One kind of difference, on however many inputs.
struct cause {
    std::string key;       // the same in every comparison: what an expected difference is called
    std::string feature;   // whose it is; of the phone: "phone"
    std::string what;      // in words, with how much
    std::size_t rank = 0;  // 0 comes first: an action that only one build takes
    std::int64_t count = 0;
    std::vector<std::string> inputs;
    difference_class how = difference_class::big;
};

// The largest first. What is told of a quantity or a column is small or big; with `is_exact` all.
std::vector<cause> causes_of(const std::vector<input_difference>& all, bool is_open, bool is_exact);

}  // namespace lab
