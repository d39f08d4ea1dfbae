#include "lab/state/stress_table_view.h"

#include <cstring>

#include "stress/stress_table.h"

namespace lab {

static_assert(sizeof(stress_hours_table) == STRESS_TABLE_SIZE);

std::optional<stress_hours_table> parse_stress_table(std::string_view bytes) {
    stress_hours_table table;
    if (bytes.size() != sizeof table) return std::nullopt;
    std::memcpy(&table, bytes.data(), sizeof table);
    return table;
}

double stress_brought(const stress_hours_table& table, std::int32_t row, std::int32_t column) {
    const float hours = table[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
    if (!(hours >= 0.0F && hours <= STRESS_ENTRY_MAX_H)) return 0.0;
    return static_cast<double>(stress_contribution(row, column, hours));
}

double stress_total(const stress_hours_table& table) {
    double total = 0.0;
    for (std::int32_t row = 0; row < VOLT_BANDS; ++row) {
        for (std::int32_t column = 0; column < TEMP_BANDS; ++column)
            total += stress_brought(table, row, column);
    }
    return total;
}

}  // namespace lab
