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
    soc_estimated_mpct,
    soc_displayed_pct,
    soc_gauge_pct,
    soc_true_mpct,
    stress_h,
    capacity_left_mpct,
    ocv_mv,              // in place of a voltage that was not recorded
    current_average_ma,  // likewise
};
constexpr std::array<std::string_view, 12> channel_names = {
    "voltage_mv",
    "toc_mv",
    "current_ma",
    "temperature_decic",
    "soc_estimated_mpct",
    "soc_displayed_pct",
    "soc_gauge_pct",
    "soc_true_mpct",
    "stress_h",
    "capacity_left_mpct",
    "ocv_mv",
    "current_average_ma",
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
    landing,
    smoothing,
};
constexpr std::array<std::string_view, 12> state_names = {
    "status_unknown", "status_charging", "status_discharging", "status_not_charging", "status_full",
    "charge_timer",   "thermal",         "precharge",          "lowered_for_good",    "lowered_for_now",
    "landing",        "smoothing",
};

}  // namespace lab
