// What the daemon cost the device in a run: cycles, flash writes, log volume.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "lab/session/listener.h"

namespace lab {

struct file_cost {
    std::int64_t writes = 0;  // write calls, failed ones included
    std::int64_t failed = 0;
    std::int64_t bytes = 0;  // that reached the file
};

// A listener that counts; memory grows with the number of state files only.
class cost : public listener {
  public:
    void on_event(const event& what) override;
    void on_cycle(const cycle& after) override;
    bool wants_samples() const override { return false; }
    bool wants_state() const override { return false; }

    std::int64_t boots = 0;
    std::int64_t cycles = 0;
    std::int64_t log_lines = 0;
    std::int64_t records = 0;
    std::int64_t property_writes = 0;
    std::map<std::string, file_cost> files;  // by path

    // Seconds the run covered, where the caller knows (a simulation); 0: told from the clocks.
    std::int64_t known_span_s = 0;

    // Seconds the run covers: as known; else the wall clock's span, if it was set at both ends and is longer
    // than the time the daemon ran; else that time.
    std::int64_t span_s() const;
    double per_day(std::int64_t count) const;   // 0 for a run without a span
    double per_year(std::int64_t count) const;  // a year of 365.25 days

  private:
    std::int64_t boot_ = 0;
    std::int64_t boot_elapsed_s_ = 0;     // last seen in this boot
    std::int64_t finished_boots_s_ = 0;   // sum over the boots before
    std::int64_t first_real_time_s_ = 0;  // of the run's first cycle
    std::int64_t last_real_time_s_ = 0;
};

// The table that ends a run: one line per state file, then totals.
std::string cost_text(const cost& counted);

}  // namespace lab
