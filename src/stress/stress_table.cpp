#include "stress/stress_table.h"

#include <bit>

#include "util/arith.h"
#include "util/log.h"
#include "util/metrics.h"

namespace {

constexpr std::uint64_t PERIOD_S = 450;
constexpr float PERIOD_H = 0.125F;
// Time between two samples >= this: spread along a line between them
constexpr std::uint64_t INTERPOLATED_GAP_S = 2 * PERIOD_S + 1;
constexpr float SECONDS_PER_HOUR = 3600.0F;
static_assert(static_cast<float>(PERIOD_S) == PERIOD_H * SECONDS_PER_HOUR);

struct {
    float volt_temp_table[VOLT_BANDS][TEMP_BANDS];  // h spent in each bucket; any bits, as the file had them
    std::uint64_t last_sample_time;                 // elapsed s of the previous sample; 0: there is none
    std::int32_t last_sample_volt;                  // mV
    std::int32_t last_sample_temp;                  // thousandths of °C
    std::uint32_t stress_mock_offset;               // stress h added to every result
} s;
static_assert(sizeof s.volt_temp_table == STRESS_TABLE_SIZE);
// The file is the table's memory, row by row, and the file is little-endian.
static_assert(std::endian::native == std::endian::little);

float& bucket(std::int32_t voltage_mv, std::int32_t temperature_mc) {
    return s.volt_temp_table[volt_band_index(voltage_mv)][temp_band_index(temperature_mc)];
}

// Whole units per period along the line between two samples, truncated toward zero.
std::int32_t step_per_period(std::int32_t from, std::int32_t to, float periods) {
    return arith::to_integer<std::int32_t>(static_cast<float>(arith::sub(to, from)) / periods);
}

// Credits the whole periods of a gap, each to the bucket where the line from the previous sample to this one
// stands at the period's end. The remainder of the gap, less than a period, is the caller's.
//
//     previous                                          this
//     sample o - - - - - * - - - - - * - -  ...  - - - * - - - o sample
//            |  450 s    1  450 s    2                 n  rest |
//
// The steps are whole numbers, so the last point may fall short of this sample by almost n units.
void credit_periods(std::uint64_t gap_s, std::int32_t voltage_mv, std::int32_t temperature_mc) {
    const float periods = static_cast<float>(gap_s) / static_cast<float>(PERIOD_S);
    const std::int32_t volt_step = step_per_period(s.last_sample_volt, voltage_mv, periods);
    const std::int32_t temp_step = step_per_period(s.last_sample_temp, temperature_mc, periods);
    LOG_ERROR_BARE("stress interp elaps %lu periods %.2f slopes %d %d\n", gap_s, static_cast<double>(periods),
                   volt_step, temp_step);

    const bool stands_still = volt_step == 0 && temp_step == 0;
    std::int32_t volt = s.last_sample_volt;
    std::int32_t temp = s.last_sample_temp;
    for (auto left = arith::to_integer<std::uint64_t>(periods); left > 0; --left) {
        volt = arith::add(volt, volt_step);
        temp = arith::add(temp, temp_step);
        float& hours = bucket(volt, temp);
        const float before = hours;
        hours += PERIOD_H;
        // A clock gone wrong can claim 10^16 periods. A line that moves by whole units has at most 2^31 of
        // them; one that stands still is done once its bucket has become too large (or NaN) to grow by a
        // period.
        if (stands_still && !(hours > before)) return;
    }
}

// The entry, after setting one that cannot be true to 0. NaN passes: it compares as neither.
float checked_entry(std::int32_t row, std::int32_t column) {
    float& hours = s.volt_temp_table[row][column];
    if (hours > STRESS_ENTRY_MAX_H || hours < 0.0F) {
        EMIT_RECORD(stress_entry_rejected, row, column, static_cast<double>(hours));
        LOG_ERROR_BARE("stress sanity check failed for VT[%d][%d] with val %.2f\n", row, column,
                       static_cast<double>(hours));
        hours = 0.0F;
    }
    return hours;
}

}  // namespace

void stress_table__init(std::uint32_t mock_offset_h) {
    s = {};
    s.stress_mock_offset = mock_offset_h;
}

std::int32_t stress_table__import(record_import_fn import_fn) {
    return import_fn(s.volt_temp_table, STRESS_TABLE_SIZE);
}

std::int32_t stress_table__export(record_export_fn export_fn) {
    return export_fn(s.volt_temp_table, STRESS_TABLE_SIZE);
}

void stress_table__add_hours(float hours, std::int32_t voltage_mv, std::int32_t temperature_mc) {
    bucket(voltage_mv, temperature_mc) += hours;
}

void log_volt_temp_bucket(std::uint64_t now_s, std::int32_t voltage_mv, std::int32_t temperature_mc) {
    std::uint64_t gap_s = now_s;  // what a clock behind the previous sample leaves
    if (s.last_sample_time <= now_s) {
        gap_s = now_s - s.last_sample_time;
        if (s.last_sample_time != 0 && gap_s >= INTERPOLATED_GAP_S) {
            credit_periods(gap_s, voltage_mv, temperature_mc);
            gap_s %= PERIOD_S;
        }
    }
    if (gap_s != 0) {
        stress_table__add_hours(static_cast<float>(gap_s) / SECONDS_PER_HOUR, voltage_mv, temperature_mc);
    }
    s.last_sample_time = now_s;
    s.last_sample_volt = voltage_mv;
    s.last_sample_temp = temperature_mc;
}

std::uint32_t calculate_stress_hours() {
    // Each contribution is rounded to single precision before it is added in single precision: the order of
    // the entries is part of the result.
    float sum = 0.0F;
    for (std::int32_t row = 0; row < VOLT_BANDS; ++row) {
        for (std::int32_t column = 0; column < TEMP_BANDS; ++column) {
            sum += stress_contribution(row, column, checked_entry(row, column));
        }
    }
    return arith::add(s.stress_mock_offset, arith::to_integer<std::uint32_t>(sum));
}
