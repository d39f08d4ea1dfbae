#include "core/last_voltage.h"

#include "core/persistent_files.h"
#include "util/arith.h"

namespace {

constexpr std::uint64_t SAVE_PERIOD_S = 3600;     // saved when this or more has passed since the last save
constexpr std::uint64_t LOW_SAVE_PERIOD_S = 180;  // while the battery is low: when this or more has passed
constexpr std::int32_t LOW_CAPACITY_PCT = 5;      // low: a capacity at or below this, but for the next one
constexpr std::int32_t NO_CAPACITY_PCT = -98;  // a gauge that says exactly this says an error code: not low

struct {
    std::int32_t last_saved_volt;   // uV, the voltage last saved in this run
    std::uint64_t last_saved_time;  // elapsed seconds of that save
} s;

bool is_due(std::uint64_t since_save_s, std::int32_t capacity_pct) {
    const bool is_low = capacity_pct <= LOW_CAPACITY_PCT && capacity_pct != NO_CAPACITY_PCT;
    return since_save_s >= SAVE_PERIOD_S || (is_low && since_save_s >= LOW_SAVE_PERIOD_S);
}

}  // namespace

void last_voltage_init() {
    s = {};
}

std::int32_t read_last_voltage_uv() {
    return import_value(LAST_BATTVOLT_FILE);
}

// The save counts as made even when it fails: a flash that cannot be written is not worn out by retries.
void save_last_voltage(std::uint64_t elapsed_s, std::int32_t voltage_uv, std::int32_t capacity_pct) {
    if (voltage_uv == s.last_saved_volt) return;
    if (!is_due(arith::sub(elapsed_s, s.last_saved_time), capacity_pct)) return;
    (void)export_value(LAST_BATTVOLT_FILE, voltage_uv);
    s.last_saved_time = elapsed_s;
    s.last_saved_volt = voltage_uv;
}
