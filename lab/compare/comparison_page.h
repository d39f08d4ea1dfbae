// comparison_page: the runs of two builds on one input, on one page.
#pragma once

#include <string>

#include "lab/compare/compare_input.h"

namespace lab {

// Runs both builds once more and writes the page to `path`. Throws input_error when one of them does not run.
void write_comparison_page(const comparison_plan& plan, const std::string& input, const std::string& path);

}  // namespace lab
