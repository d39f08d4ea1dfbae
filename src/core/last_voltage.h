// last_voltage: keeps the battery voltage over a power-off, for the report of the next start.
//
// In    voltage (µV), capacity (%), elapsed seconds; every cycle in which the battery could be read
// Out   the file last_battvolt (docs/state-files.md)
// State the voltage last saved in this run, and when
#pragma once

#include <cstdint>

// Forgets what an earlier run saved: the first save comes a whole period after the start.
void last_voltage_init();

// The voltage (µV) that the run before saved last; INVALID_VALUE when it is not known.
std::int32_t read_last_voltage_uv();

// Saves a voltage that has changed, at most once an hour, or every 3 minutes while the battery is low.
void save_last_voltage(std::uint64_t elapsed_s, std::int32_t voltage_uv, std::int32_t capacity_pct);
