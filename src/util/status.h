// Battery status codes and the one question that several features ask of them.
#pragma once

#include <cstdint>

constexpr std::int32_t STATUS_UNKNOWN = 0;
constexpr std::int32_t STATUS_CHARGING = 1;
constexpr std::int32_t STATUS_DISCHARGING = 2;
constexpr std::int32_t STATUS_NOT_CHARGING = 3;
constexpr std::int32_t STATUS_FULL = 4;

// Whether a charger is present in this status: exactly Charging, Not charging and Full.
constexpr bool is_charger_present(std::int32_t status) {
    return status == STATUS_CHARGING || status == STATUS_NOT_CHARGING || status == STATUS_FULL;
}
