// The lifetime histogram as it stands in its file: what it comes to, and which buckets brought it there.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "stress/stress_bands.h"

namespace lab {

// Hours by voltage band (row) and temperature band (column).
using stress_hours_table = std::array<std::array<float, TEMP_BANDS>, VOLT_BANDS>;

// The table in the file's bytes; nothing when they are not exactly one table.
std::optional<stress_hours_table> parse_stress_table(std::string_view bytes);

struct stress_bucket {
    std::int32_t row = 0;
    std::int32_t column = 0;
    float hours = 0;
    double weight = 0;        // stress hours for each hour
    double stress_hours = 0;  // what it brought
    double share = 0;         // of the stress hours that all buckets brought, 0 to 1
};

struct stress_summary {
    double total_hours = 0;
    double stress_hours = 0;             // without any offset
    std::vector<stress_bucket> buckets;  // those with hours, the one that brought most first
};

// An entry that the daemon would reject, or that is no number, brings nothing.
stress_summary summarise_stress(const stress_hours_table& table);

// Stress hours for an hour in that bucket.
double stress_weight(std::int32_t row, std::int32_t column);

// A band as a person reads it: "3800-4000" mV, "<=3000", ">4400"; and in °C.
std::string volt_band_text(std::int32_t row);
std::string temp_band_text(std::int32_t column);
std::string bucket_text(std::int32_t row, std::int32_t column);  // "3800-4000 mV, 20-25 °C"

}  // namespace lab
