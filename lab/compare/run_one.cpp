#include "lab/compare/run_one.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "lab/compare/run_meter.h"
#include "lab/scenario/truth.h"
#include "lab/session/session.h"

namespace lab {

namespace {

class stopwatch {
  public:
    double s() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin_).count();
    }

  private:
    std::chrono::steady_clock::time_point begin_ = std::chrono::steady_clock::now();
};

// Runs with the meter among the listeners; what the daemon showed before a crash counts.
template <typename Run>
run_result measured(run_meter& meter, std::vector<listener*> listeners, Run run) {
    listeners.push_back(&meter);
    const stopwatch watch;
    std::string crash;
    try {
        run(listeners);
    } catch (const daemon_crashed& crashed) {
        crash = crashed.what();
    }
    run_result result = meter.finish();
    result.host_s = watch.s();
    result.error = crash;
    if (!crash.empty()) result.status = run_status::crashed;
    return result;
}

}  // namespace

const std::vector<std::string>& simulated_truth_names() {
    static const std::vector<std::string> names(truth_column_names.begin(), truth_column_names.end());
    return names;
}

run_end run_scenario(const scenario& plan, const device_image& start,
                     const std::vector<std::string>& settings, const run_wishes& wishes) {
    run_meter meter({plan.file, plan.title, "simulation", plan.time_zone, plan.chance.seed, settings},
                    simulated_truth_names(), start);
    run_end end;
    simulation_result simulated;
    simulated.image = start;
    end.result = measured(meter, wishes.listeners, [&](const std::vector<listener*>& all) {
        simulated = run_simulation(plan, start, all, wishes.trace);
    });
    end.image = simulated.image;
    end.result.expected = plan.expectations.size();
    end.result.failures = simulated.failures;
    end.expectations = simulated.expectations;
    const bool is_unexpected = end.result.status == run_status::good && !simulated.failures.empty();
    if (is_unexpected) end.result.status = run_status::unexpected;
    return end;
}

run_end run_trace(trace_course& course, const device_image& start, const std::vector<std::string>& settings,
                  const run_wishes& wishes) {
    const char* const zone = std::getenv("TZ");
    const std::string file = course.source_name();
    run_meter meter({file, std::filesystem::path(file).stem().string(), "replay", zone == nullptr ? "" : zone,
                     0, settings},
                    course.truth_names(), start);
    run_end end;
    end.image = start;
    end.result = measured(meter, wishes.listeners, [&](const std::vector<listener*>& all) {
        if (!course.is_empty()) run_session(course, end.image, all);
    });
    return end;
}

}  // namespace lab
