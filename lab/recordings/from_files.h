// from_files: a run told again from the events and the series that it left.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "lab/recordings/events.h"
#include "lab/recordings/series.h"
#include "lab/session/listener.h"

namespace lab {

// Where in time each boot was. Files of a run hold no wall clock unless the series has the samples, but the daemon
// writes it down every hour.
class boot_clocks {
  public:
    boot_clocks() = default;
    // Reads all events and takes from each boot the first time it wrote down. `events` then begins anew.
    explicit boot_clocks(event_reader& events);

    // The wall clock, UTC seconds, so long after the start of that boot; 0 when it is not known.
    std::int64_t real_time_s(std::int64_t boot, std::int64_t elapsed_s) const;

  private:
    std::map<std::int64_t, std::int64_t> start_s_;  // by boot
};

// Hands events and cycles to the listeners in the order in which they came: each cycle after its events. Throws
// input_error for a file that cannot be read.
void tell_from_files(event_reader events, series_reader series, const boot_clocks& clocks,
                     const std::vector<listener*>& listeners);

}  // namespace lab
