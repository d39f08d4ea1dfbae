// The simulated phone's own columns: what is true, beside what the daemon knows.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace lab {

enum class truth_column : std::uint8_t {
    sim_s,              // seconds since the scenario's start
    true_soc_pct,       // of the present capacity
    true_mv,            // terminal voltage
    true_ma,            // current into the cell's terminals, positive while charging
    true_temp_c,        // of the cell
    capacity_left_pct,  // of the new cell's
    resistance_pct,     // of the new cell's
    charger,            // 0 none, 1 usb, 2 wall, 3 wireless
    screen,             // 0 on, 1 off, 2 suspended
    true_level_pct,     // of the charge between the bottom and the published top of charge, at rest
    equivalent_cycles,  // charge moved in and out, in full cycles of the new cell
};
inline constexpr std::array<std::string_view, 11> truth_column_names{
    "sim_s",          "true_soc_pct", "true_mv", "true_ma",        "true_temp_c",      "capacity_left_pct",
    "resistance_pct", "charger",      "screen",  "true_level_pct", "equivalent_cycles"};

}  // namespace lab
