// zone: what local time was when, as a short table, so that a page can show the run's own zone wherever it is read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace lab {

// From `from_s` (UTC seconds since 1970) on, local time is UTC + `offset_s`, and is called `name`, for example "CEST".
struct zone_offset {
    std::int64_t from_s;
    std::int64_t offset_s;
    std::string name;
};

// The zone of this process (TZ) from `first_s` to `last_s`: at least one entry, the first one at `first_s`, one
// more for each change. Exact to the second. Beyond a span of 100 years the later changes are left out.
std::vector<zone_offset> zone_offsets(std::int64_t first_s, std::int64_t last_s);

}  // namespace lab
