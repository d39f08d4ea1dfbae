// worth: what a run did to the battery, in the few figures by which two runs are compared: the same scenario with
// the daemon heeded, and with the phone ignoring what it asks for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/session/course.h"
#include "lab/session/listener.h"
#include "lab/tally/run_clock.h"

namespace lab {

struct outcome {
    std::optional<double>
        capacity_left_pct;                 // of the new cell's, at the end; a simulated phone alone knows it
    std::optional<double> resistance_pct;  // likewise
    double stress_h = 0.0;                 // of the daemon's histogram at its last write
    std::int64_t high_s = 0;               // the cell was above HIGH_MV
    std::int64_t stopped_s = 0;            // the daemon asked for charging to be stopped
    std::int64_t span_s = 0;               // from the first moment to the last one
};

struct comparison {
    outcome heeded, ignored;
};

// Measures one run. Between two cycles the state is taken to be that of the first one.
class outcome_meter : public listener {
  public:
    static constexpr double HIGH_MV = 4300;  // above this counts as high

    // `truth_names` as course::truth_names; `before` is what the device kept from earlier.
    explicit outcome_meter(const std::vector<std::string>& truth_names, const device_image& before = {});

    void on_event(const event& what) override;
    void on_cycle(const cycle& after) override;

    const outcome& result() const { return result_; }

  private:
    std::optional<std::size_t> capacity_at_, resistance_at_, voltage_at_;  // among the truth columns
    run_clock clock_;
    outcome result_;
    bool was_high_ = false, was_stopped_ = false;
};

}  // namespace lab
