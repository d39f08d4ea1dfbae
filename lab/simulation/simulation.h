// Runs a scenario: the daemon on the simulated phone, heard by listeners, checked against what is expected.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lab/io/output_file.h"
#include "lab/scenario/scenario.h"
#include "lab/session/course.h"
#include "lab/session/listener.h"
#include "lab/simulation/expectations.h"
#include "lab/tally/cost.h"

namespace lab {

struct simulation_result {
    device_image image;  // what the device kept
    cost counted;
    std::vector<std::string> failures;  // one line for each expectation that did not hold
    std::vector<expectation_checker::outcome> expectations;
    double host_s = 0;  // time it took here
};

// `before`: what the device holds at the start, to which the scenario adds its own files and properties.
device_image image_at_start(const scenario& plan, device_image before = {});

// Runs the scenario from `start` (image_at_start) in its time zone. `trace`, if not null, gets what happened
// as a trace. Throws daemon_crashed, and input_error when the phone cannot start.
simulation_result run_simulation(const scenario& plan, const device_image& start,
                                 const std::vector<listener*>& listeners, output_file* trace = nullptr);

}  // namespace lab
