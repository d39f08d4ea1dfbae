// precharge: takes over what the boot loader reports of charging an empty battery before the system was up.
//
// In    at start-up only: two files of the boot side, with the seconds of precharge in this boot and a fault
//       flag; the last saved battery voltage; the time the device was off
// Out   the charge-disable flag, kept in a property and never lowered here; the lifetime timer and counter
//       (docs/state-files.md); records precharge_trackers_updated, precharge_flag_raised and precharge_event
//       (docs/metrics.md)
// State the flag
#pragma once

#include <cstdint>

#include "util/wiring.h"

// Reads the flag from its property, counts this boot's precharge, raises the flag on a fault and reports.
//   uvp_discharge_rate    µV per hour that the battery loses while its protection has cut it off
//   last_battery_volt_uv  INVALID_VALUE when not known; it is only reported
// Returns the result of update_precharge_trackers.
std::int32_t precharge_feature_init(flag_get_fn property_get, flag_set_fn property_set,
                                    value_import_fn counter_import, value_export_fn counter_export,
                                    value_import_fn timer_import, value_export_fn timer_export,
                                    flag_get_fn uboot_flag_import, value_import_fn uboot_timer_import,
                                    float uvp_discharge_rate, unseen_hours_fn power_off_time,
                                    std::int32_t last_battery_volt_uv);

// Adds a precharge of `uboot_timer_s` seconds to the lifetime timer and 1 to the lifetime counter; less than
// 1 second is no precharge. A stored value that is negative or INVALID_VALUE starts again from 0. Returns 0,
// or 1 when the timer (then the counter is not written) or the counter could not be written.
std::int32_t update_precharge_trackers(std::int32_t uboot_timer_s, value_import_fn counter_import,
                                       value_export_fn counter_export, value_import_fn timer_import,
                                       value_export_fn timer_export);

// Whether charging must stay disabled because of a precharge fault. False before precharge_feature_init.
bool get_prechargetimer_disable_flag();
