// batt_info: what is known of the cells of each vendor, and the choice of one record at start-up.
//
// In    the cell vendor's name, once at start-up
// Out   the parameters of that vendor's cell, or a valid substitute
// State the record chosen; not persisted
#pragma once

#include <cstdint>

constexpr std::int32_t BATT_TEMPS = 5;
constexpr std::int32_t BATT_CURVE_POINTS = 100;

// Open-circuit voltage over the state of charge, at five temperatures. Point i of a curve stands for a state
// of charge of 100000 - 1010 * i thousandths of a percent: 100 % at i = 0 down to 0.01 % at i = 99.
struct batt_info {
    const char* vendor;                                      // as the battery node spells it
    std::int32_t temps[BATT_TEMPS];                          // °C, strictly falling
    std::int32_t ocv_curves[BATT_TEMPS][BATT_CURVE_POINTS];  // 0.1 mV, each strictly falling
};

// Checks every record and chooses the one of `vendor_name` (case-sensitive), or else the first valid one.
// Logs each outcome. 0 when a record was chosen, 1 when none is valid.
std::int32_t batt_info__init(const char* vendor_name);

// The record chosen; null before batt_info__init and when it found none valid.
const batt_info* batt_info__get();

// Whether a record can be computed with: curves and temperatures strictly falling, and the last point of the
// coldest curve above 2.5 V and below 5 V. False for null.
bool is_batt_info_valid(const batt_info* record);
