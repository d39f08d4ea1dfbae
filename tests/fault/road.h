// A course through a phone's life that leads the daemon down each of its roads in as few cycles as it takes.
//
// Four boots:
//   1  state files of the earlier layout, a precharge report; a charge with a thermal stop, a short, a landing,
//      full, top-off; days on the charger; a charge timer that expires; the 48-hour evaluation; nearly empty
//   2  the wall clock is behind; the stress trip and its reboot
//   3  the trip may not go down again; a precharge fault. Then calm: a cycle, an hour, an hour
//   4  calm: what the daemon publishes now, it publishes for good
// Every one of the metrics records is emitted on the way.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/virtual/device.h"

namespace fault {

struct stop {  // one cycle
    std::int64_t elapsed_s = 0;
    std::int64_t real_time_s = 0;
    std::int32_t voltage_mv = 0;
    std::int32_t current_ma = 0;
    std::int32_t temperature_decic = 0;
    std::int32_t capacity_pct = 0;
    const char* status = "";
    std::string mock_threshold_s;  // text of the mock file; empty: the file is not touched
};

struct boot {
    bool is_calm = false;                      // from its first stop on nothing fails
    std::size_t first_calm_stop = SIZE_MAX;    // or from this one on
    std::map<std::string, std::string> files;  // what the boot side and a tester leave before the start
    std::vector<stop> stops;
};

using road = std::vector<boot>;

road whole_road();

// Sets the nodes, the mock file and the clocks as the stop has them, times counted from `start_s`.
void arrive(virtual_device::device& device, const stop& at, std::int64_t start_s);

// State files that lie on the device before the first boot.
std::map<std::string, std::string> files_of_earlier_layout();

}  // namespace fault
