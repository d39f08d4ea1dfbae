#include "lab/tally/worth.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "lab/state/stress_table.h"
#include "util/status.h"

namespace lab {

namespace {

constexpr std::string_view STRESS_FILE = "/batt_stress";
constexpr std::int64_t DAY_S = 86400;

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
            now_.stress_h = summarise_stress(*table).stress_hours;
    }
}

void outcome_meter::on_event(const event& what) {
    if (what.kind != event_kind::write || !what.name.ends_with(STRESS_FILE) || what.result < 0) return;
    if (const auto table = parse_stress_table(what.text))
        now_.stress_h = summarise_stress(*table).stress_hours;
}

void outcome_meter::on_cycle(const cycle& after) {
    const std::int64_t before_s = now_.span_s;
    now_.span_s = clock_.at(after.boot, after.elapsed_s, after.real_time_s);
    const std::int64_t passed_s = now_.span_s - before_s;
    if (was_high_) now_.high_s += passed_s;
    if (was_stopped_) now_.stopped_s += passed_s;

    std::optional<double> voltage_mv = value_at(after.truth, voltage_at_);
    if (!voltage_mv && after.seen.voltage_uv) voltage_mv = *after.seen.voltage_uv / 1000.0;
    was_high_ = voltage_mv && *voltage_mv > HIGH_MV;
    was_stopped_ = after[column::charge_timer_flag] != 0 || after[column::thermal_flag] != 0 ||
                   after[column::precharge_flag] != 0;
    if (const auto value = value_at(after.truth, capacity_at_)) now_.capacity_left_pct = value;
    if (const auto value = value_at(after.truth, resistance_at_)) now_.resistance_pct = value;
    if (!has_cycle_) {
        first_capacity_pct_ = now_.capacity_left_pct;
        first_resistance_pct_ = now_.resistance_pct;
    }

    const bool is_plugged = is_charger_present(after.seen.status);
    if (has_cycle_ && is_plugged && !was_plugged_) {
        ++plugs_;
        at_plug_ = now_;
    }
    was_plugged_ = is_plugged;
    has_cycle_ = true;
    if (now_.span_s / DAY_S > days_) {
        days_ = now_.span_s / DAY_S;
        at_day_ = now_;
    }
}

outcome outcome_meter::result() const {
    outcome of = plugs_ > 1 ? at_plug_ : days_ > 0 ? at_day_ : now_;
    const double days = std::max(static_cast<double>(of.span_s) / DAY_S, 1.0);
    const auto a_day = [days](std::optional<double> first, std::optional<double> last) {
        return first && last ? std::abs(*last - *first) / days : 0.0;
    };
    of.capacity_day_pct = a_day(first_capacity_pct_, of.capacity_left_pct);
    of.resistance_day_pct = a_day(first_resistance_pct_, of.resistance_pct);
    return of;
}

}  // namespace lab
