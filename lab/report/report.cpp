#include "lab/report/report.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

#include "lab/report/channels.h"
#include "util/sensor_value.h"

namespace lab {

namespace {

constexpr std::string_view STRESS_FILE = "/batt_stress";
constexpr std::string_view STRESS_OFFSET_MESSAGE = "stress feature mock offset set to ";
constexpr std::int32_t ESTIMATOR_RUNNING = 2;  // column dyn_soc_state

using channel_values = std::vector<std::int32_t>;

// Columns of the simulated phone that the page draws, and what turns them into the channel's unit.
struct known_truth {
    std::string_view name;
    channel into;
    double scale;
};
constexpr known_truth KNOWN_TRUTH[] = {
    {"true_soc_pct", channel::soc_true_mpct, 1000.0},
    {"capacity_left_pct", channel::capacity_left_mpct, 1000.0},
};

void put(channel_values& values, channel which, std::int64_t value) {
    values[static_cast<std::size_t>(which)] =
        static_cast<std::int32_t>(std::clamp<std::int64_t>(value, -INVALID_VALUE, INVALID_VALUE));
}

void put_seen(channel_values& values, const sample& seen) {
    if (seen.voltage_uv) put(values, channel::voltage_mv, *seen.voltage_uv / 1000);
    if (seen.current_ua) put(values, channel::current_ma, *seen.current_ua / 1000);
    if (seen.temperature_decic) put(values, channel::temperature_decic, *seen.temperature_decic);
    if (seen.capacity_pct) put(values, channel::soc_gauge_pct, *seen.capacity_pct);
}

void put_daemon(channel_values& values, const cycle& after) {
    put(values, channel::toc_mv, after[column::toc_mv]);
    if (after[column::dyn_soc_state] != ESTIMATOR_RUNNING) return;
    put(values, channel::soc_estimated_mpct, after[column::soc_raw]);
    put(values, channel::soc_displayed_pct, after[column::soc_ui]);
}

// What the daemon made of a voltage and a current that the run's files do not hold.
void put_estimates(channel_values& values, const cycle& after) {
    if (after[column::dyn_soc_state] != ESTIMATOR_RUNNING) return;
    put(values, channel::ocv_mv, after[column::ocv] / 10);
    put(values, channel::current_average_ma, after[column::i_avg_ma]);
}

std::uint32_t states_of(const cycle& after, bool has_samples) {
    std::uint32_t bits = 0;
    const auto set = [&bits](state which, bool holds) {
        if (holds) bits |= 1U << static_cast<unsigned>(which);
    };
    const auto status = static_cast<unsigned>(after.seen.status);
    if (has_samples && status < STATUS_COUNT) bits |= 1U << status;
    set(state::charge_timer, after[column::charge_timer_flag] != 0);
    set(state::thermal, after[column::thermal_flag] != 0);
    set(state::precharge, after[column::precharge_flag] != 0);
    set(state::lowered_for_good, after[column::perm_step] > 0);
    set(state::lowered_for_now, after[column::temp_step] > 0);
    set(state::landing, after[column::landing_state] != 0);
    set(state::smoothing, after[column::smoothing_active] != 0);
    return bits;
}

}  // namespace

report::report(facts about, const device_image& before)
    : about_(std::move(about)),
      series_(channel_names.size(), state_names.size()),
      decisions_(MAX_DECISIONS, MAX_DECISION_BYTES),
      values_(channel_names.size()) {
    for (const known_truth& known : KNOWN_TRUTH) {
        const auto found = std::find(about_.truth_names.begin(), about_.truth_names.end(), known.name);
        if (found == about_.truth_names.end()) continue;
        const auto index = static_cast<std::size_t>(found - about_.truth_names.begin());
        truth_channels_.push_back({index, known.into, known.scale});
    }
    for (const auto& [path, bytes] : before.files) {
        if (path.ends_with(STRESS_FILE)) note_stress_table(0, bytes);
    }
}

void report::on_event(const event& what) {
    const std::int64_t t = clock_.at(what.boot, what.elapsed_s, what.real_time_s);
    log_.add(t, what);
    if (what.kind == event_kind::write && what.name.ends_with(STRESS_FILE)) note_stress_table(t, what.text);
    if (what.kind == event_kind::log) note_stress_offset(what.text);
}

// The offset stays until the next start of the daemon sets it again or does not.
void report::note_stress_offset(const std::string& text) {
    const std::size_t at = text.find(STRESS_OFFSET_MESSAGE);
    if (at == std::string::npos) return;
    const char* digits = text.data() + at + STRESS_OFFSET_MESSAGE.size();
    std::from_chars(digits, text.data() + text.size(), stress_.offset_h);
}

void report::note_stress_table(std::int64_t t, std::string_view bytes) {
    const auto table = parse_stress_table(bytes);
    if (!table) return;
    if (!stress_.table) {
        stress_.first_h = summarise_stress(*table).stress_hours;
        stress_.first_t = t;
    }
    stress_.table = table;
    stress_.total_h = summarise_stress(*table).stress_hours;
    stress_.last_t = t;
}

void report::put_truth(const std::vector<double>& truth) {
    for (const truth_channel& each : truth_channels_) {
        if (each.index >= truth.size() || !std::isfinite(truth[each.index])) continue;
        put(values_, each.into, std::llround(truth[each.index] * each.scale));
    }
}

void report::on_cycle(const cycle& after) {
    const std::int64_t t = clock_.at(after.boot, after.elapsed_s, after.real_time_s);
    std::fill(values_.begin(), values_.end(), thinned_series::NO_VALUE);
    put_seen(values_, after.seen);
    put_daemon(values_, after);
    put_truth(after.truth);
    if (!about_.has_samples) put_estimates(values_, after);
    if (stress_.table) put(values_, channel::stress_h, std::llround(stress_.total_h) + stress_.offset_h);
    series_.add(t, values_, states_of(after, about_.has_samples));
    last_cycle_t_ = t;
    boot_ = after.boot;
    elapsed_s_ = after.elapsed_s;
}

// Told when its cycle is over, which may be after the next event.
void report::on_decision(const decision& what) {
    const bool is_of_last_cycle = what.boot == boot_;
    const std::int64_t t = is_of_last_cycle ? last_cycle_t_ - (elapsed_s_ - what.elapsed_s) : clock_.last();
    std::size_t bytes = what.sentence.size();
    for (const number& each : what.numbers) bytes += each.name.size() + each.value.size();
    decisions_.add(decision_group(what), {std::clamp<std::int64_t>(t, 0, clock_.last()), what}, bytes);
}

std::size_t report::decision_group(const decision& what) {
    const std::string key = what.feature + static_cast<char>('0' + static_cast<int>(what.weight));
    return decision_groups_.try_emplace(key, decision_groups_.size()).first->second;
}

}  // namespace lab
