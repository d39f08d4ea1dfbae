#include "stress/stress_bands.h"

#include <cmath>

namespace {

// Ageing grows with exp(-a / V) in the cell voltage V and, after Arrhenius, with exp(-b / T) in the absolute
// temperature T. Each divisor is the value at the point where an hour counts as one stress hour.
constexpr double VOLT_EXPONENT_V = 125.7;
constexpr double VOLT_FACTOR_AT_4450_MV = 5.40008771894107e-13;  // exp(-125.7 / 4.45)
constexpr double TEMP_EXPONENT_K = 12672.6;
constexpr double TEMP_FACTOR_AT_298_K = 3.399449175127827e-19;  // exp(-12672.6 / 298)
constexpr float ZERO_CELSIUS_K = 273.0F;

static_assert(volt_band_upper_mv(VOLT_BANDS - 2) == 4400);
static_assert(temp_band_upper_mc(TEMP_BANDS - 2) == 50000);
static_assert(FULL_TOC_MV == 4450);  // the row whose factor is 1

// Bands of one width, numbered from 0; an edge belongs to the band below it.
std::int32_t band_index(std::int32_t value, std::int32_t first_edge, std::int32_t width, std::int32_t last) {
    if (value <= first_edge) return 0;
    if (value > first_edge + width * (last - 1)) return last;
    return (value - first_edge + width - 1) / width;
}

}  // namespace

std::int32_t volt_band_index(std::int32_t voltage_mv) {
    return band_index(voltage_mv, VOLT_BAND_FIRST_EDGE_MV, VOLT_BAND_WIDTH_MV, VOLT_BANDS - 1);
}

std::int32_t temp_band_index(std::int32_t temperature_mc) {
    return band_index(temperature_mc, TEMP_BAND_FIRST_EDGE_MC, TEMP_BAND_WIDTH_MC, TEMP_BANDS - 1);
}

// In both factors the weighting value is made in single precision and only then widened: at 4.45 V that is
// what leaves the last row at 0.9999988.
double volt_stress_factor(std::int32_t row) {
    const float weighting_v = static_cast<float>(volt_band_weighting_mv(row)) / 1000.0F;
    return std::exp(-VOLT_EXPONENT_V / static_cast<double>(weighting_v)) / VOLT_FACTOR_AT_4450_MV;
}

double temp_stress_factor(std::int32_t column) {
    const float weighting_k = static_cast<float>(temp_band_weighting_mc(column)) / 1000.0F + ZERO_CELSIUS_K;
    return std::exp(-TEMP_EXPONENT_K / static_cast<double>(weighting_k)) / TEMP_FACTOR_AT_298_K;
}

float stress_contribution(std::int32_t row, std::int32_t column, float hours) {
    const double weight = volt_stress_factor(row) * temp_stress_factor(column);
    return static_cast<float>(weight * static_cast<double>(hours));
}
