// run_text: the result of a run for a person.
#pragma once

#include <string>

#include "lab/compare/run_result.h"

namespace lab {

// How it ended: a line for each figure there is.
std::string run_text(const run_result& of);

}  // namespace lab
