#include "stress/stress_bands.h"

#include <cstdio>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <string>

#include "stress/stress_trip.h"

namespace {

using testing::HasSubstr;

constexpr std::int32_t LEAST = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t GREATEST = std::numeric_limits<std::int32_t>::max();

TEST(StressBands, AnEdgeBelongsToTheBandBelow) {
    for (std::int32_t row = 0; row < VOLT_BANDS - 1; ++row) {
        EXPECT_EQ(volt_band_index(3000 + 200 * row), row);
        EXPECT_EQ(volt_band_index(3001 + 200 * row), row + 1);
    }
    for (std::int32_t column = 0; column < TEMP_BANDS - 1; ++column) {
        EXPECT_EQ(temp_band_index(5000 + 5000 * column), column);
        EXPECT_EQ(temp_band_index(5001 + 5000 * column), column + 1);
    }
    EXPECT_EQ(volt_band_index(3199), 1);
    EXPECT_EQ(temp_band_index(24999), 4);
    // The outer bands reach to the ends of the range.
    EXPECT_TRUE(volt_band_index(LEAST) == 0 && temp_band_index(LEAST) == 0);
    EXPECT_TRUE(volt_band_index(GREATEST) == 8 && temp_band_index(GREATEST) == 10);
}

// Worked out without this program's arithmetic: exp() of the double argument to 60 decimal digits (Python's
// mpmath), rounded to the nearest double, then one double division. Equal on every processor, or the same
// trace would age a battery differently (docs/decisions/0004-stress-factors.md).
TEST(StressBands, FactorsAreExactToTheLastBit) {
    const double volt_factors[] = {0x1.29e81bdee9ff2p-22, 0x1.3118cd0ca8a66p-18, 0x1.bd437ceff3b8ap-15,
                                   0x1.eab5349dd368dp-12, 0x1.ab666c140b754p-9,  0x1.310d60b7745fcp-6,
                                   0x1.6f6374eefc442p-4,  0x1.7e430bd539ebfp-2,  0x1.ffffd75ff61eap-1};
    const double temp_factors[] = {0x1.fc45823534221p-6, 0x1.207d66af52c23p-4, 0x1.3e376900d555cp-3,
                                   0x1.559332858949ep-2, 0x1.654a553abb663p-1, 0x1.6ca91b7431b1cp+0,
                                   0x1.6b9722d57f3f1p+1, 0x1.628dc08714013p+2, 0x1.527fa00440763p+3,
                                   0x1.3cb6ba8075d7ap+4, 0x1.22ae4d95bb6c5p+5};
    for (std::int32_t row = 0; row < VOLT_BANDS; ++row) EXPECT_EQ(volt_stress_factor(row), volt_factors[row]);
    for (std::int32_t column = 0; column < TEMP_BANDS; ++column) {
        EXPECT_EQ(temp_stress_factor(column), temp_factors[column]);
    }
    // An hour at 4.45 V and 25 °C is the unit, and 25 °C lies between two columns.
    EXPECT_NEAR(volt_stress_factor(8), 1.0, 2e-6);
    EXPECT_TRUE(temp_stress_factor(4) < 1.0 && temp_stress_factor(5) > 1.0);
}

std::string rounded(double value) {
    char text[16];
    snprintf(text, sizeof text, "%.3g", value);
    return text;
}

std::string row(const std::string& first, const std::string& second, const std::string& third = {}) {
    return "\n| " + first + " | " + second + (third.empty() ? "" : " | " + third) + " |\n";
}

TEST(StressBands, TheDocumentStatesTheseWeightsAndLevels) {
    std::ostringstream document;
    document << std::ifstream(VORN_SOURCE_DIR "/docs/stress.md").rdbuf();
    const auto band = [](bool is_last, std::int32_t upper) {
        return is_last ? "above" : "up to " + std::to_string(upper);
    };
    for (std::int32_t i = 0; i < VOLT_BANDS; ++i) {
        EXPECT_THAT(document.str(), HasSubstr(row(band(i == VOLT_BANDS - 1, volt_band_upper_mv(i)),
                                                  std::to_string(volt_band_weighting_mv(i)),
                                                  rounded(volt_stress_factor(i)))));
    }
    for (std::int32_t i = 0; i < TEMP_BANDS; ++i) {
        EXPECT_THAT(document.str(), HasSubstr(row(band(i == TEMP_BANDS - 1, temp_band_upper_mc(i) / 1000),
                                                  rounded(temp_band_weighting_mc(i) / 1000.0),
                                                  rounded(temp_stress_factor(i)))));
    }
    for (const stress_trip_level& level : STRESS_TRIP_LEVELS) {
        EXPECT_THAT(document.str(), HasSubstr(row("more than " + std::to_string(level.above_h),
                                                  std::to_string(4450 - 50 * level.step) + " mV")));
    }
}

}  // namespace
