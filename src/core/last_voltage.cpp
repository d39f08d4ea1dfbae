#include "core/last_voltage.h"

#include "core/persistent_files.h"
#include "util/arith.h"

namespace {

// Time since the last save >= this: a voltage that has changed is saved
constexpr std::uint64_t SAVE_PERIOD_S = 3600;
// Time since the last save >= this: likewise, while the battery is low
constexpr std::uint64_t LOW_SAVE_PERIOD_S = 180;
constexpr std::int32_t LOW_CAPACITY_PCT = 5;  // capacity <= this: the battery is low
// Capacity = this: the gauge says an error code, which is not low
constexpr std::int32_t NO_CAPACITY_PCT = -98;

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
