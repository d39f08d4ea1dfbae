// run_one: runs the daemon on one input and gives the result as data. Whoever runs many of them, in processes of their
// own (process_pool.h), calls this.
#pragma once

#include <string>
#include <vector>

#include "lab/compare/run_result.h"
#include "lab/io/output_file.h"
#include "lab/recordings/trace_course.h"
#include "lab/scenario/scenario.h"
#include "lab/session/listener.h"
#include "lab/simulation/expectations.h"
#include "lab/simulation/simulation.h"

namespace lab {

// What else a run is to do.
struct run_wishes {
    std::vector<listener*> listeners;  // that hear it too
    output_file* trace = nullptr;      // of a scenario: gets what the sensors read
};

// A result, and what the device held at the end: after a crash, what the last complete boot left.
struct run_end {
    run_result result;
    device_image image;
    std::vector<expectation_checker::outcome> expectations;  // of a scenario, those that hold too
};

// The phone's own columns, as course::truth_names of every simulation.
const std::vector<std::string>& simulated_truth_names();

// `settings` are the KEY=VALUE that `plan` was read with. Throws input_error when the phone never starts; a crash of
// the daemon is in the result.
run_end run_scenario(const scenario& plan, const device_image& start,
                     const std::vector<std::string>& settings = {}, const run_wishes& wishes = {});

// `course` is at its beginning; local time is this process's. Throws input_error for a trace that is wrong.
run_end run_trace(trace_course& course, const device_image& start,
                  const std::vector<std::string>& settings = {}, const run_wishes& wishes = {});

}  // namespace lab
