// secondary_thermal: notices a battery that warms up fast while it charges.
//
// In    status, battery temperature (whole °C), current (mA, positive while charging), voltage (mV), elapsed
//       seconds; once per cycle
// Out   the charge-disable flag; records thermal_event, thermal_released and thermal_charge_ended
//       (docs/metrics.md)
// State one charge: the temperatures of the present minute and the sum of the minute before; not persisted
#pragma once

#include <cstdint>

// Forgets any charge and drops the flag.
void secondary_thermal_detect_init();

// Takes one cycle into account. Returns RESULT_DONE, always. Nothing is required of the arguments.
std::int32_t secondary_thermal_detect_main(std::uint64_t now_s, std::int32_t status, std::int32_t temp_c,
                                           std::int64_t i_ma, std::int32_t v_mv);

// Whether charging must stop: from a fast rise until the status is Discharging, or until the battery is at
// 33 °C or below more than 300 s later.
bool get_thermal_flag();
