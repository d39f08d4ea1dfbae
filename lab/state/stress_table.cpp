#include "lab/state/stress_table.h"

#include <algorithm>
#include <cstring>

#include "stress/stress_table.h"

namespace lab {

namespace {

constexpr std::int32_t MC_PER_C = 1000;  // thousandths of a degree
static_assert(TEMP_BAND_FIRST_EDGE_MC % MC_PER_C == 0 && TEMP_BAND_WIDTH_MC % MC_PER_C == 0);
static_assert(sizeof(stress_hours_table) == STRESS_TABLE_SIZE);

std::string band_text(std::int32_t band, std::int32_t bands, std::int32_t first_edge, std::int32_t width) {
    const std::int32_t upper = first_edge + width * band;
    if (band == 0) return "<=" + std::to_string(upper);
    if (band == bands - 1) return ">" + std::to_string(upper - width);
    return std::to_string(upper - width) + "-" + std::to_string(upper);
}

}  // namespace

std::optional<stress_hours_table> parse_stress_table(std::string_view bytes) {
    stress_hours_table table;
    if (bytes.size() != sizeof table) return std::nullopt;
    std::memcpy(&table, bytes.data(), sizeof table);
    return table;
}

double stress_weight(std::int32_t row, std::int32_t column) {
    return volt_stress_factor(row) * temp_stress_factor(column);
}

stress_summary summarise_stress(const stress_hours_table& table) {
    stress_summary summary;
    for (std::int32_t row = 0; row < VOLT_BANDS; ++row) {
        for (std::int32_t column = 0; column < TEMP_BANDS; ++column) {
            const float hours = table[static_cast<std::size_t>(row)][static_cast<std::size_t>(column)];
            if (!(hours > 0.0F && hours <= STRESS_ENTRY_MAX_H)) continue;  // nor is NaN
            const double brought = stress_contribution(row, column, hours);
            summary.buckets.push_back({row, column, hours, stress_weight(row, column), brought, 0});
            summary.total_hours += hours;
            summary.stress_hours += brought;
        }
    }
    for (stress_bucket& each : summary.buckets)
        each.share = summary.stress_hours > 0 ? each.stress_hours / summary.stress_hours : 0;
    std::ranges::stable_sort(summary.buckets, std::ranges::greater(), &stress_bucket::stress_hours);
    return summary;
}

std::string volt_band_text(std::int32_t row) {
    return band_text(row, VOLT_BANDS, VOLT_BAND_FIRST_EDGE_MV, VOLT_BAND_WIDTH_MV);
}

std::string temp_band_text(std::int32_t column) {
    return band_text(column, TEMP_BANDS, TEMP_BAND_FIRST_EDGE_MC / MC_PER_C, TEMP_BAND_WIDTH_MC / MC_PER_C);
}

std::string bucket_text(std::int32_t row, std::int32_t column) {
    return volt_band_text(row) + " mV, " + temp_band_text(column) + " °C";
}

}  // namespace lab
