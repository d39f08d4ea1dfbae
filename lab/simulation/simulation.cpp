#include "lab/simulation/simulation.h"

#include <chrono>
#include <utility>

#include "lab/io/time_text.h"
#include "lab/recordings/trace_writer.h"
#include "lab/session/session.h"
#include "lab/simulation/expectations.h"
#include "lab/simulation/simulated_course.h"

namespace lab {

device_image image_at_start(const scenario& plan, device_image before) {
    for (const auto& [path, bytes] : plan.files) before.files[path] = bytes;
    for (const auto& [name, value] : plan.properties) before.properties[name] = value;
    return before;
}

simulation_result run_simulation(const scenario& plan, const device_image& start,
                                 const std::vector<listener*>& listeners, output_file* trace) {
    const local_zone zone(plan.time_zone);
    const auto begin = std::chrono::steady_clock::now();
    simulation_result result;
    result.image = start;
    simulated_course phone(plan);
    expectation_checker checker(plan, start);
    std::vector<listener*> all = listeners;
    all.push_back(&checker);
    all.push_back(&result.counted);
    if (trace == nullptr) {
        run_session(phone, result.image, all);
    } else {
        trace_writer traced(phone, *trace);
        run_session(traced, result.image, all);
    }
    checker.finish(result.image);
    result.failures = checker.failures();
    result.counted.known_span_s = plan.duration_s();
    result.expectations = checker.outcomes();
    result.host_s = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    return result;
}

}  // namespace lab
