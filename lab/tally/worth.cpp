#include "lab/tally/worth.h"

#include <algorithm>
#include <string_view>

#include "lab/state/stress_table.h"

namespace lab {

namespace {

constexpr std::string_view STRESS_FILE = "/batt_stress";

std::optional<std::size_t> index_of(const std::vector<std::string>& names, std::string_view name) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) return std::nullopt;
    return static_cast<std::size_t>(found - names.begin());
}

std::optional<double> value_at(const std::vector<double>& values, std::optional<std::size_t> index) {
    if (!index || *index >= values.size()) return std::nullopt;
    return values[*index];
}

}  // namespace

outcome_meter::outcome_meter(const std::vector<std::string>& truth_names, const device_image& before)
    : capacity_at_(index_of(truth_names, "capacity_left_pct")),
      resistance_at_(index_of(truth_names, "resistance_pct")),
      voltage_at_(index_of(truth_names, "true_mv")) {
    for (const auto& [path, bytes] : before.files) {
        if (!path.ends_with(STRESS_FILE)) continue;
        if (const auto table = parse_stress_table(bytes))
            result_.stress_h = summarise_stress(*table).stress_hours;
    }
}

void outcome_meter::on_event(const event& what) {
    if (what.kind != event_kind::write || !what.name.ends_with(STRESS_FILE) || what.result < 0) return;
    if (const auto table = parse_stress_table(what.text))
        result_.stress_h = summarise_stress(*table).stress_hours;
}

void outcome_meter::on_cycle(const cycle& after) {
    const std::int64_t before_s = result_.span_s;
    result_.span_s = clock_.at(after.boot, after.elapsed_s, after.real_time_s);
    const std::int64_t passed_s = result_.span_s - before_s;
    if (was_high_) result_.high_s += passed_s;
    if (was_stopped_) result_.stopped_s += passed_s;

    std::optional<double> voltage_mv = value_at(after.truth, voltage_at_);
    if (!voltage_mv && after.seen.voltage_uv) voltage_mv = *after.seen.voltage_uv / 1000.0;
    was_high_ = voltage_mv && *voltage_mv > HIGH_MV;
    was_stopped_ = after[column::charge_timer_flag] != 0 || after[column::thermal_flag] != 0 ||
                   after[column::precharge_flag] != 0;
    if (const auto value = value_at(after.truth, capacity_at_)) result_.capacity_left_pct = value;
    if (const auto value = value_at(after.truth, resistance_at_)) result_.resistance_pct = value;
}

}  // namespace lab
