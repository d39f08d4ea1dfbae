// wall_clock: how long the daemon has run, and how long the device was away before that.
//
// In    CLOCK_BOOTTIME, time(), the file last_datetime
// Out   elapsed seconds; power-off hours; the file last_datetime
// State the start time; the run time at the previous power-off question
#pragma once

#include <cstdint>

// Starts the run: elapsed time counts from now.
void wall_clock_init();

// Whole seconds of the boot clock, suspend included, since wall_clock_init.
std::uint64_t elapsed_since_start_s();

// Hours of wall-clock time, 0 or more, that passed since the previous call (in this run or an earlier one)
// without the daemon running. 0 when no earlier time is known. INVALID_HOURS when the clock is not set or
// behind the saved time, or the saved time cannot be read. Each call whose clocks agree saves the present
// time, so one that follows another closely gives 0.
float vorn_calc_power_off_time();
