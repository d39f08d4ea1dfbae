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
    // What a day of this run changed of the two on average: less than this tells two runs not apart, for that
    // much depends on the hour at which they end.
    double capacity_day_pct = 0.0;
    double resistance_day_pct = 0.0;
    double stress_h = 0.0;       // of the daemon's histogram at its last write
    std::int64_t high_s = 0;     // the cell was above HIGH_MV
    std::int64_t stopped_s = 0;  // the daemon asked for charging to be stopped
    std::int64_t span_s = 0;     // from the first moment to the last one that counts
};

struct comparison {
    outcome heeded, ignored;
};

// Measures one run up to the last moment at which it was plugged in: cycles that are closed can be compared, a
// charge that is half done cannot. A run that is plugged in once or never counts whole days, one of less than a day
// counts whole. Between two cycles the state is taken to be that of the first one.
class outcome_meter : public listener {
  public:
    static constexpr double HIGH_MV = 4300;  // above this counts as high

    // `truth_names` as course::truth_names; `before` is what the device kept from earlier.
    explicit outcome_meter(const std::vector<std::string>& truth_names, const device_image& before = {});

    void on_event(const event& what) override;
    void on_cycle(const cycle& after) override;

    outcome result() const;

  private:
    std::optional<std::size_t> capacity_at_, resistance_at_, voltage_at_;  // among the truth columns
    run_clock clock_;
    outcome now_, at_plug_, at_day_;
    std::int64_t plugs_ = 0, days_ = 0;
    std::optional<double> first_capacity_pct_, first_resistance_pct_;
    bool has_cycle_ = false, was_plugged_ = false, was_high_ = false, was_stopped_ = false;
};

}  // namespace lab
