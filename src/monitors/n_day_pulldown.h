// n_day_pulldown: lowers the top-of-charge voltage of a device that does not leave its charger.
//
// In    status, battery voltage (mV), elapsed seconds; once per cycle
// Out   derating step 4 (4250 mV) as temporary client 0 of charge_mgr, after more than 7 days on the charger
//       above the voltage threshold, until the battery falls to it or the charger stays away for an hour;
//       records pulldown_daily, pulldown_applied and pulldown_watch_ended (docs/metrics.md)
// State one watch; not persisted, a restart of the daemon begins a new one
#pragma once

#include <cstdint>

#include "util/wiring.h"

// Registers temporary client 0 with the setter of its property and returns the registration's result
// (charge_mgr.h); the watch is idle afterwards in any case. The battery must be above `volt_thresh_mv`.
[[nodiscard]] std::int32_t n_day_pulldown_init(std::int32_t volt_thresh_mv, voltage_set_fn client_set);

// Takes one cycle into account. `mock_threshold_s` other than 0 is a further period after which (strictly)
// the voltage is lowered. In a cycle that requests step 4 returns the request's result, in any other
// RESULT_DONE.
std::uint32_t n_day_pulldown_main(std::uint64_t now_s, std::int32_t status, std::int32_t v_mv,
                                  std::uint32_t mock_threshold_s);
