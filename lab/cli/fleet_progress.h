// The state of a fleet's run on standard error: a line that renews itself on a terminal, one now and then elsewhere.
#pragma once

#include <chrono>
#include <string>

#include "lab/fleet/fleet_run.h"

namespace lab {

class fleet_progress {
  public:
    explicit fleet_progress(bool is_quiet);
    fleet_progress(const fleet_progress&) = delete;
    fleet_progress& operator=(const fleet_progress&) = delete;
    ~fleet_progress();

    void show(const run_progress& now);
    // What it came to: "300 phones in 12 min, ..."; empty when nothing was to be done.
    std::string summary(const run_progress& end) const;

  private:
    using clock = std::chrono::steady_clock;

    bool is_quiet_, is_on_terminal_;
    bool is_shown_ = false;
    clock::time_point begin_ = clock::now();
    clock::time_point next_;
};

}  // namespace lab
