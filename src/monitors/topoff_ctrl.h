// topoff_ctrl: follows how long a battery that was full at 100 % stays so.
//
// In    status, battery voltage (mV), capacity (%), elapsed seconds; once per cycle
// Out   log lines; records topoff_set and topoff_cleared (docs/metrics.md)
// State the charge-disable state: from full until the voltage has fallen by the reset margin, or the charger
//       was away or sampling paused for 60 s; not persisted and of no use to any other feature
#pragma once

#include <cstdint>

// Stores the margin (mV below the voltage at full) and clears the state.
void topoff_ctrl__init(std::uint32_t reset_margin_mv);

// Takes one cycle into account. Nothing is required of the arguments.
void topoff_ctrl__update(std::uint64_t now_s, std::uint32_t status, std::uint32_t v_mv,
                         std::uint32_t capacity_pct);
