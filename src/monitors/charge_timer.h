// charge_timer: bounds how long one charge period may last.
//
// In    status, current (µA, positive while charging), state of charge (%), elapsed seconds; once per cycle
// Out   the charge-disable flag; the failure counter (docs/state-files.md); records charge_timer_expired and
//       charge_period_ended (docs/metrics.md)
// State one charge period with its deadline; not persisted, a restart of the daemon begins afresh
#pragma once

#include <cstdint>

#include "util/wiring.h"

// Sets the parameters and forgets any charge period.
//   margin_pct     safety margin, percent of the estimated charge time
//   target_soc     state of charge (%) up to which the time is estimated
//   capacity_mah   battery capacity of the estimate
//   base_time_s    fixed allowance in every estimate
void charge_timer_init(std::uint32_t margin_pct, std::uint32_t target_soc, std::uint32_t capacity_mah,
                       std::uint32_t base_time_s, value_export_fn fail_counter_export,
                       value_import_fn fail_counter_import);

// Takes one cycle into account. In the cycle of an expiry returns the result of `fail_counter_export`, in any
// other RESULT_DONE. Nothing is required of the arguments; `now_s` may go backward.
std::uint32_t charge_timer_main(std::uint64_t now_s, std::int32_t status, std::int64_t current_ua,
                                std::int32_t soc_pct);

// Whether charging must stop: from an expiry until 60 s after the charger was seen to go, unless it is back
// before.
bool get_chargetimer_disable_flag();
