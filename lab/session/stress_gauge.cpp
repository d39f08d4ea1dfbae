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

bool stress_gauge::is_as_seen(std::size_t first_row, std::size_t end_row) const {
    const std::size_t begin = first_row * sizeof(row);
    return std::memcmp(seen_.data()->data() + begin, table_in_memory + begin,
                       (end_row - first_row) * sizeof(row)) == 0;
}

void stress_gauge::see(std::size_t row_index) {
    std::memcpy(seen_[row_index].data(), table_in_memory + row_index * sizeof(row), sizeof(row));
    row_h_[row_index] = hours_of(row_index);
}

// A cycle changes one bucket, mostly in the row of the one before.
double stress_gauge::read() {
    static_assert(sizeof seen_ == STRESS_TABLE_SIZE);
    (void)stress_table__export(note_table);  // note_table cannot fail
    see(changed_row_);
    if (!is_as_seen(0, changed_row_) || !is_as_seen(changed_row_ + 1, seen_.size())) {
        for (std::size_t i = 0; i < seen_.size(); ++i) {
            if (is_as_seen(i, i + 1)) continue;
            see(i);
            changed_row_ = i;
        }
    }
    return std::round(std::accumulate(row_h_.begin(), row_h_.end(), 0.0) * 1000) / 1000;
}

}  // namespace lab
