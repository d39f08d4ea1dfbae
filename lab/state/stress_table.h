// stress_table_view: the lifetime histogram as read from its file, and what it brought.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "stress/stress_bands.h"

namespace lab {

// Hours by voltage band (row) and temperature band (column).
using stress_hours_table = std::array<std::array<float, TEMP_BANDS>, VOLT_BANDS>;

// The table in the file's bytes; nothing when they are not exactly one table.
std::optional<stress_hours_table> parse_stress_table(std::string_view bytes);

// Stress hours of a bucket, and of the whole table, without any offset. Entries that the daemon would reject, and
// entries that are no number, bring nothing.
double stress_brought(const stress_hours_table& table, std::int32_t row, std::int32_t column);
double stress_total(const stress_hours_table& table);

}  // namespace lab
