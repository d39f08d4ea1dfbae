// dyn_soc: estimates the state of charge from open-circuit voltage and moved charge, and learns the cell's
// resistance and capacity as it goes.
//
// In    voltage, current, two temperatures, status and the displayed state of charge, once per cycle; the top
//       and bottom of charge voltages; the battery parameters, once at start-up
// Out   records and log lines only (docs/metrics.md, docs/estimator.md); nothing else reads the estimate
// State the estimate and its averages; what was learnt is persisted (docs/state-files.md, dyn_soc_params)
#pragma once

#include <cstdint>

#include "util/wiring.h"

// Takes the chosen battery parameters and restores what was learnt from the file, or its defaults.
// After batt_info__init. RESULT_DONE; RESULT_FAILED without battery parameters, and the estimator stays
// disabled.
[[nodiscard]] std::int32_t dyn_soc__init(record_import_fn params_import, record_export_fn params_export);

// One cycle. `elapsed_s` seconds since the daemon started; `voltage_uv` µV; `current_ua` µA, positive while
// charging; `temperature_decic` battery, 0.1 °C; `thermal_mc` thermal zone, m°C; `status` a code of
// util/status.h; `ui_soc` the displayed state of charge, hundredths of a percent. Each reading may be
// INVALID_VALUE.
//
// RESULT_DONE; RESULT_FAILED when disabled or no state of charge could be given; RESULT_REFUSED for a sample
// that cannot be used; RESULT_NOT_INITIALISED. On any other than RESULT_DONE the estimate stays that of the
// last cycle that succeeded.
std::int32_t dyn_soc__update(std::uint64_t elapsed_s, std::int32_t voltage_uv, std::int32_t current_ua,
                             std::int32_t temperature_decic, std::int32_t thermal_mc, std::int32_t status,
                             std::int32_t ui_soc);
