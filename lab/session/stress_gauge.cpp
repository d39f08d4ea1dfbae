#include "lab/session/stress_gauge.h"

#include <bit>
#include <cmath>
#include <cstring>
#include <numeric>

#include "stress/stress_table.h"

namespace lab {

namespace {

const char* table_in_memory;  // where the last export found it

std::int32_t note_table(const void* table, std::int32_t /*size*/) {
    table_in_memory = static_cast<const char*>(table);
    return 0;
}

double hours_of(const std::array<float, TEMP_BANDS>& entries, std::int32_t row) {
    double sum = 0;
    for (std::int32_t column = 0; column < TEMP_BANDS; ++column) {
        const float hours = entries[static_cast<std::size_t>(column)];
        if (hours > 0.0F && hours <= STRESS_ENTRY_MAX_H)
            sum += static_cast<double>(stress_contribution(row, column, hours));
    }
    return sum;
}

}  // namespace

// A cycle changes one bucket, so eight of nine rows are as they were.
double stress_gauge::read() {
    static_assert(sizeof seen_ == STRESS_TABLE_SIZE);
    (void)stress_table__export(note_table);  // note_table cannot fail
    for (std::size_t i = 0; i < seen_.size(); ++i) {
        const char* const now = table_in_memory + i * sizeof(row);
        if (std::memcmp(seen_[i].data(), now, sizeof(row)) == 0) continue;
        std::memcpy(seen_[i].data(), now, sizeof(row));
        row_h_[i] = hours_of(std::bit_cast<row>(seen_[i]), static_cast<std::int32_t>(i));
    }
    return std::round(std::accumulate(row_h_.begin(), row_h_.end(), 0.0) * 1000) / 1000;
}

}  // namespace lab
