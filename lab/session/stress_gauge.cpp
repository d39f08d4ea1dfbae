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

}  // namespace

stress_gauge::stress_gauge() {
    for (std::int32_t i = 0; i < VOLT_BANDS; ++i) {
        for (std::int32_t k = 0; k < TEMP_BANDS; ++k) {
            weights_[static_cast<std::size_t>(i)][static_cast<std::size_t>(k)] =
                volt_stress_factor(i) * temp_stress_factor(k);
        }
    }
}

// Each bucket as stress_contribution() has it, but for its two exponentials, which need more time than all the rest.
double stress_gauge::hours_of(std::size_t row_index) const {
    const auto entries = std::bit_cast<row>(seen_[row_index]);
    double sum = 0;
    for (std::size_t column = 0; column < entries.size(); ++column) {
        const float hours = entries[column];
        if (hours > 0.0F && hours <= STRESS_ENTRY_MAX_H)
            sum += static_cast<double>(
                static_cast<float>(weights_[row_index][column] * static_cast<double>(hours)));
    }
    return sum;
}

// A cycle changes one bucket, so eight of nine rows are as they were.
double stress_gauge::read() {
    static_assert(sizeof seen_ == STRESS_TABLE_SIZE);
    (void)stress_table__export(note_table);  // note_table cannot fail
    for (std::size_t i = 0; i < seen_.size(); ++i) {
        const char* const now = table_in_memory + i * sizeof(row);
        if (std::memcmp(seen_[i].data(), now, sizeof(row)) == 0) continue;
        std::memcpy(seen_[i].data(), now, sizeof(row));
        row_h_[i] = hours_of(i);
    }
    return std::round(std::accumulate(row_h_.begin(), row_h_.end(), 0.0) * 1000) / 1000;
}

}  // namespace lab
