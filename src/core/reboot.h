// reboot: restarts the device in the night after its permanent top-of-charge voltage has changed.
//
// In    the property persist.vendor.vorn.batt_stress, elapsed seconds, local time
// Out   the property sys.powerctl
// State the voltage at start-up; the time of the scheduled reboot, set once and never moved
#pragma once

#include <cstdint>

// Notes the permanent client's voltage as it stands before any feature has run.
void reboot_init();

// Once per cycle: schedules a reboot when that voltage has changed, performs it when its time has come, and
// again in every later cycle until the device goes down.
void handle_reboot(std::uint64_t elapsed_s);

// Schedules the reboot for the next 02:00 local time; at once when local time is not to be had.
void schedule_reboot(std::uint64_t elapsed_s);

// Asks the init system for a reboot; a failure is logged.
void reboot();
