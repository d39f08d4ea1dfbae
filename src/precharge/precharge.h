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

// Where the feature reads and keeps what it knows. None may be null.
struct precharge_wiring {
    flag_get_fn property_get;  // the stored flag
    flag_set_fn property_set;
    value_import_fn counter_import;  // precharges, over the battery's life
    value_export_fn counter_export;
    value_import_fn timer_import;  // seconds of precharge, over the battery's life
    value_export_fn timer_export;
    flag_get_fn uboot_flag_import;       // whether precharge failed in this boot
    value_import_fn uboot_timer_import;  // seconds of precharge in this boot
    unseen_hours_fn power_off_time;
};

// Reads the flag from its property, counts this boot's precharge, raises the flag on a fault and reports.
//   uvp_discharge_rate    µV per hour that the battery loses while its protection has cut it off
//   last_battery_volt_uv  INVALID_VALUE when not known; it is only reported
// Returns the result of update_precharge_trackers.
[[nodiscard]] std::int32_t precharge_feature_init(const precharge_wiring& wiring, float uvp_discharge_rate,
                                                  std::int32_t last_battery_volt_uv);

// Adds a precharge of `uboot_timer_s` seconds to the lifetime timer and 1 to the lifetime counter; less than
// 1 second is no precharge. A stored value that is negative or INVALID_VALUE starts again from 0. Returns
// RESULT_DONE, or RESULT_FAILED when the timer (then the counter is not written) or the counter could not be
// written.
[[nodiscard]] std::int32_t update_precharge_trackers(std::int32_t uboot_timer_s,
                                                     const precharge_wiring& wiring);

// Whether charging must stay disabled because of a precharge fault. False before precharge_feature_init.
bool get_prechargetimer_disable_flag();
