// sys_properties: the system properties through which the daemon acts and remembers.
//
// Values are decimal millivolts unless said otherwise. Every call reads or writes the property anew.
#pragma once

#include <cstdint>

constexpr char TOC_PROPERTY[] = "persist.vendor.vorn.toc";
constexpr char STRESS_PROPERTY[] = "persist.vendor.vorn.batt_stress";
constexpr char PULLDOWN_PROPERTY[] = "vendor.vorn.pulldown_toc";
constexpr char PRECHARGE_PROPERTY[] = "persist.vendor.vorn.precharge_disable_charging.enabled";  // "1" or "0"
constexpr char DISABLE_PROPERTY[] =
    "persist.vendor.vorn.disable_charging.enabled";  // a feature's name or "0"
constexpr char POWER_PROPERTY[] = "sys.powerctl";    // "reboot"

// The low 32 bits of the property's number; 0 when it is unset or no number; RESULT_UNREADABLE, logged,
// when it is beyond 64 bits.
std::int32_t read_number_property(const char* name);

// Sets a property to a text. A failure is logged; returns the platform's result, 0 on success.
[[nodiscard]] std::int32_t set_text_property(const char* name, const char* value);

// For the features (util/wiring.h). Setters: RESULT_DONE or RESULT_FAILED.
std::int32_t vorn_toc_property_get();
std::int32_t vorn_toc_property_set(std::int32_t voltage_mv);
std::int32_t vorn_stress_property_set(std::int32_t voltage_mv);
std::int32_t vorn_pulldown_property_set(std::int32_t voltage_mv);
bool vorn_precharge_property_get();
std::int32_t vorn_precharge_property_set(bool flag);
