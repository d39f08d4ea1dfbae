// stress_feature: battery stress over the life of the daemon. Loads the table, credits the hours the device
// was off and every sample, writes the table every hour and evaluates the trip every 48 hours.
//
// In    voltage in mV, temperature in thousandths of °C, elapsed seconds of the boot clock; once per cycle
// Out   the stress table's file; the stress trip (stress_trip.h); records in docs/metrics.md
// State the schedule and the retry of offline hours; not persisted
#pragma once

#include <cstdint>

#include "util/wiring.h"

// Once per start, after charge_mgr__init. Voltage and temperature may be INVALID_VALUE: then the hours the
// device was off are dropped. The first two function values move the table's file, the third publishes the
// stress trip's voltage. Returns the result of set_sys_stress_trip.
[[nodiscard]] std::int32_t stress_feature_init(record_import_fn import_fn, record_export_fn export_fn,
                                               voltage_set_fn property_set_fn, unseen_hours_fn power_off_time,
                                               std::int32_t voltage_mv, std::int32_t temperature_mc,
                                               std::uint32_t mock_offset_h);

// One sample. RESULT_REFUSED when voltage or temperature is INVALID_VALUE (nothing is credited), otherwise
// RESULT_DONE. A time earlier than the previous one starts the schedule again.
std::int32_t stress_feature_main(std::uint64_t now_s, std::int32_t voltage_mv, std::int32_t temperature_mc);

// The entry of the cycle: hands the first three values to stress_feature_main and returns its result. The
// others are not used.
std::int32_t push_vorn_data(std::uint64_t now_s, std::int32_t voltage_mv, std::int32_t temperature_mc,
                            std::int32_t unused_1, std::int32_t unused_2, std::int32_t unused_3,
                            std::int32_t unused_4);
