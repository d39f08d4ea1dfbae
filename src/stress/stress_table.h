// stress_table: the battery's whole life as hours per voltage and temperature band, and the one figure made
// of it, the stress hours.
//
// In    samples: elapsed seconds of the boot clock since the daemon started, mV, thousandths of °C
// Out   stress hours; a record (stress_entry_rejected) and a message for each entry that cannot be true
// State the table, persisted (layout: docs/state-files.md); the previous sample, not persisted
#pragma once

#include <cstdint>

#include "stress/stress_bands.h"
#include "util/wiring.h"

constexpr std::int32_t STRESS_TABLE_SIZE = 396;  // bytes of the table and of its file
// Hours in a bucket > this (5 years), or below 0: set to 0 and reported
constexpr float STRESS_ENTRY_MAX_H = 43800.0F;

// Empties the table and forgets the previous sample. `mock_offset_h` stress hours are added to every result of
// calculate_stress_hours.
void stress_table__init(std::uint32_t mock_offset_h);

// Reads the file image over the start of the table, or writes the whole table. The result of the function
// value: RESULT_DONE, otherwise not opened or not written. A short read leaves the later entries alone.
[[nodiscard]] std::int32_t stress_table__import(record_import_fn import_fn);
[[nodiscard]] std::int32_t stress_table__export(record_export_fn export_fn);

// Adds hours to the bucket of any voltage (mV) and temperature (thousandths of °C).
void stress_table__add_hours(float hours, std::int32_t voltage_mv, std::int32_t temperature_mc);

// Credits the time since the previous sample: whole to this sample's bucket when it is at most 900 s, else
// spread along a straight line between the two samples. `now_s` may be any value; a clock that went back
// counts as a start from 0.
void log_volt_temp_bucket(std::uint64_t now_s, std::int32_t voltage_mv, std::int32_t temperature_mc);

// The weighted sum of the table in stress hours, truncated, plus the mock offset (wraps at 32 bits). Sets
// entries that cannot be true to 0 in memory and reports them. A NaN entry makes the sum 0.
std::uint32_t calculate_stress_hours();
