// channels: what the page draws over time. The names are keys in the page's data; the page knows units and panels.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace lab {

enum class channel : std::uint8_t {
    voltage_mv,
    toc_mv,
    current_ma,
    temperature_decic,
    soc_estimated_cpct,  // hundredths of a percent
    soc_displayed_pct,
    soc_gauge_pct,
    soc_true_cpct,
    stress_h,
    capacity_left_mpct,
    ocv_mv,              // in place of a voltage that was not recorded
    current_average_ma,  // likewise
    full_cycles_milli,   // equivalent full cycles since the run began, in thousandths
    resistance_estimated_decimohm,
    resistance_true_cpct,  // of the new cell's
};
constexpr std::array<std::string_view, 15> channel_names = {
    "voltage_mv",
    "toc_mv",
    "current_ma",
    "temperature_decic",
    "soc_estimated_cpct",
    "soc_displayed_pct",
    "soc_gauge_pct",
    "soc_true_cpct",
    "stress_h",
    "capacity_left_mpct",
    "ocv_mv",
    "current_average_ma",
    "full_cycles_milli",
    "resistance_estimated_decimohm",
    "resistance_true_cpct",
};

constexpr unsigned STATUS_COUNT = 5;  // the first states are the battery status codes 0 to 4

enum class state : std::uint8_t {
    status_unknown,
    status_charging,
    status_discharging,
    status_not_charging,
    status_full,
    charge_timer,
    thermal,
    precharge,
    lowered_for_good,
    lowered_for_now,
    landing_armed,  // the states of the landing, LANDING_ARMED to LANDING_FULL
    landing_landing,
    landing_landed,
    landing_full,
    smoothing,
    charger_usb,  // of the simulated phone, kinds 1 and 2
    charger_wall,
    screen_on,  // likewise, states 0 to 2
    screen_off,
    screen_suspended,
};
constexpr std::array<std::string_view, 20> state_names = {
    "status_unknown", "status_charging", "status_discharging", "status_not_charging", "status_full",
    "charge_timer",   "thermal",         "precharge",          "lowered_for_good",    "lowered_for_now",
    "landing_armed",  "landing_landing", "landing_landed",     "landing_full",        "smoothing",
    "charger_usb",    "charger_wall",    "screen_on",          "screen_off",          "screen_suspended",
};

}  // namespace lab
