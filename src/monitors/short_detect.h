// short_detect: looks for a soft short inside the cell, seen as a voltage that falls while it should not.
//
// In    status, battery voltage (mV), current (mA, positive while charging), elapsed seconds; once per cycle;
//       the top-of-charge voltage from charge_mgr
// Out   log lines; records short_fault_detected, short_active_ended and short_fault_cleared (docs/metrics.md)
// State the active (armed) state with its accumulated voltage change, and a fault; not persisted and of no
//       use to any other feature
#pragma once

#include <cstdint>

// Derives the thresholds and disarms the detector; charge_mgr must have been initialised.
//   cutoff_ppm10     arms this share of FULL_TOC_MV below the ToC, in units of 10 ppm, but at least 3 dips
//   curr_dip_ppm10   a current drop, as a share of the mean of the two currents, in units of 10 ppm
//   resistance_mohm  a dip of the voltage is 5 times what the current drop causes in it, but at least 25 mV
//   curr_high_ma, curr_low_ma  the two currents
// Arithmetic is unsigned and wraps at 32 bits.
void short_detect__init(std::uint32_t cutoff_ppm10, std::uint32_t curr_dip_ppm10,
                        std::uint32_t resistance_mohm, std::uint32_t curr_high_ma, std::uint32_t curr_low_ma);

// Takes one cycle into account. Returns RESULT_DONE; or RESULT_REFUSED for a sample with status Unknown,
// voltage or current INVALID_VALUE, which disarms the detector.
std::int32_t short_detect__update(std::uint64_t now_s, std::uint32_t status, std::uint32_t v_mv,
                                  std::int32_t i_ma);
