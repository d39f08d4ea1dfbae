// What the daemon makes of state files, asked of the daemon's own code on the virtual device.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string_view>

#include "lab/state/stored_state.h"
#include "lab/state/stress_table.h"

namespace lab {

struct daemon_view {
    // The stress table after its check, in hours; what it comes to.
    stress_hours_table hours{};
    std::uint32_t mock_offset_h = 0;
    std::uint32_t stress_hours = 0;  // the mock offset included
    std::int32_t trip_step = 0;      // what the stress hours alone call for

    std::int32_t toc_step = 0;  // the permanent step in force at the next start

    std::int32_t resistance = 0;  // 0.1 mΩ
    bool takes_resistance = false;
    std::int32_t capacity_c = 0;
    bool takes_capacity = false;
    std::array<std::int32_t, 4> filters{};  // dcr_num, dcr_den, qmax_num, qmax_den as taken

    // What the 4-byte files read as, by name; INVALID_VALUE for unknown.
    std::map<std::string_view, std::int32_t> numbers;
    bool boot_flag = false;
};

// Puts the files on the virtual device of this process and reads them as a start of the daemon does, the
// move from the former directory included. The device and the features are left in some other state.
daemon_view ask_daemon(const stored_state& state);

// The top-of-charge voltage of a derating step, 0 to 9, in mV.
std::int32_t voltage_of_step(std::int32_t step);

}  // namespace lab
