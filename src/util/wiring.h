// The function values that core/ hands to the features at start-up. No feature names a file or a property.
#pragma once

#include <cstdint>

#include "util/results.h"

// One record of a state file: `size` bytes to or from `buffer`. RESULT_DONE; RESULT_FAILED when the file could
// not be opened (either way) or written.
using record_import_fn = std::int32_t (*)(void* buffer, std::int32_t size);
using record_export_fn = std::int32_t (*)(const void* buffer, std::int32_t size);

// One number in a state file. The import gives INVALID_VALUE when the file could not be opened; the export
// gives RESULT_DONE or RESULT_FAILED.
using value_import_fn = std::int32_t (*)();
using value_export_fn = std::int32_t (*)(std::int32_t value);

// A voltage property, mV. The setter gives RESULT_DONE or RESULT_FAILED.
using voltage_get_fn = std::int32_t (*)();
using voltage_set_fn = std::int32_t (*)(std::int32_t voltage_mv);

// A yes or no. The setter gives RESULT_DONE or RESULT_FAILED.
using flag_get_fn = bool (*)();
using flag_set_fn = std::int32_t (*)(bool flag);

// Hours that passed unseen since the previous call; INVALID_HOURS when the clocks cannot tell.
using unseen_hours_fn = float (*)();
