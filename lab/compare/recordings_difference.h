// recordings_difference: what two builds showed over the same trace, effect by effect and cycle by cycle, from the events
// and the series that they left.
#pragma once

#include <string>

#include "lab/compare/input_difference.h"

namespace lab {

struct recorded_run {
    std::string events, series;  // files
};

// Fills in effects, columns and the first divergence. Memory does not grow with the runs. Throws input_error for a file that
// cannot be read.
void compare_recorded(const recorded_run& before, const recorded_run& after, loop_difference& into);

}  // namespace lab
