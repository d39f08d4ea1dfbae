// stress_bands: which bucket of the stress table a voltage and a temperature fall in, and what an hour there
// weighs.
//
// Rows are voltage bands, columns are temperature bands. Each band includes its upper edge and excludes its
// lower one; the first band is open below, the last one above. An hour weighs A(row) * B(column) stress
// hours: 1 at 4.45 V and 25 °C, more where it is higher or hotter. Pure functions, no state, no I/O.
#pragma once

#include <cstdint>

#include "charge_mgr/charge_mgr.h"

constexpr std::int32_t VOLT_BANDS = 9;
constexpr std::int32_t VOLT_BAND_FIRST_EDGE_MV = 3000;  // row 0 is all voltages <= this
constexpr std::int32_t VOLT_BAND_WIDTH_MV = 200;

constexpr std::int32_t TEMP_BANDS = 11;
constexpr std::int32_t TEMP_BAND_FIRST_EDGE_MC =
    5000;  // column 0 is all temperatures <= this, thousandths of °C
constexpr std::int32_t TEMP_BAND_WIDTH_MC = 5000;

// The row, 0 to 8, of any voltage in mV; the column, 0 to 10, of any temperature in thousandths of °C.
std::int32_t volt_band_index(std::int32_t voltage_mv);
std::int32_t temp_band_index(std::int32_t temperature_mc);

// Upper edge of row 0 to 7 in mV and of column 0 to 9 in thousandths of °C. The last band of each has none.
constexpr std::int32_t volt_band_upper_mv(std::int32_t row) {
    return VOLT_BAND_FIRST_EDGE_MV + VOLT_BAND_WIDTH_MV * row;
}
constexpr std::int32_t temp_band_upper_mc(std::int32_t column) {
    return TEMP_BAND_FIRST_EDGE_MC + TEMP_BAND_WIDTH_MC * column;
}

// The voltage in mV and the temperature in thousandths of °C that stand for a whole band: its middle, but the
// full battery's voltage for the last row.
constexpr std::int32_t volt_band_weighting_mv(std::int32_t row) {
    return row == VOLT_BANDS - 1 ? FULL_TOC_MV : volt_band_upper_mv(row) - VOLT_BAND_WIDTH_MV / 2;
}
constexpr std::int32_t temp_band_weighting_mc(std::int32_t column) {
    return temp_band_upper_mc(column) - TEMP_BAND_WIDTH_MC / 2;
}

// A(row), row 0 to 8, and B(column), column 0 to 10: the weight of an hour is their product, in double
// precision. The same bits on every processor (docs/decisions/0004-stress-factors.md).
double volt_stress_factor(std::int32_t row);
double temp_stress_factor(std::int32_t column);

// The stress hours that `hours` in that bucket count for, as they are summed: A * B * hours in double
// precision, rounded once to single.
float stress_contribution(std::int32_t row, std::int32_t column, float hours);
