// When a scenario's conditions change. Nothing here remembers anything: everything follows from the time, so
// a boot can begin anywhere. Times of day are those of this process's zone (io/time_text.h), so that must be the
// scenario's.
//
//   phases     |-------- phase 1 --------|------ phase 2 ------ ...
//   daily          07:00    22:00            07:00   22:00
//   changes    ^   ^        ^            ^   ^       ^             (and the begin and end of each event)
#pragma once

#include <cstdint>
#include <vector>

#include "lab/scenario/scenario.h"

namespace lab {

constexpr std::int64_t NEVER_S = INT64_MAX;

class timeline {
  public:
    explicit timeline(const scenario& plan) : scenario_(plan) {}

    conditions conditions_at(std::int64_t at_s) const;
    // The first time after `at_s` at which conditions or events may change; the end at the latest.
    std::int64_t next_change(std::int64_t at_s) const;

    // Whether an event with a duration, or one that lasts to the end, is going on.
    static bool is_going_on(const scenario_event& event, std::int64_t at_s);
    // Whether an event that is a moment happens exactly then.
    static bool happens_at(const scenario_event& event, std::int64_t at_s);

  private:
    const phase& phase_at(std::int64_t at_s) const;
    std::int64_t next_daily(const phase& in, std::int64_t at_s) const;

    const scenario& scenario_;
};

}  // namespace lab
