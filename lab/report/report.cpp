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
constexpr std::int32_t ESTIMATOR_RUNNING = 2;    // column dyn_soc_state
constexpr std::int32_t FIRST_LANDING_STATE = 1;  // column landing_state: armed, landing, landed, full
constexpr std::int32_t LANDING_STATES = 4;
constexpr std::int32_t CHARGER_KINDS = 2;  // truth column charger: 0 is none
constexpr std::int32_t SCREEN_STATES = 3;  // truth column screen

using channel_values = std::vector<std::int32_t>;

// Columns of the simulated phone that the page draws, and what turns them into the channel's unit.
struct known_truth {
    std::string_view name;
    channel into;
    double scale;
};
constexpr known_truth KNOWN_TRUTH[] = {
    {"true_soc_pct", channel::soc_true_cpct, 100.0},
    {"capacity_left_pct", channel::capacity_left_mpct, 1000.0},
    {"resistance_pct", channel::resistance_true_cpct, 100.0},
};

std::optional<std::size_t> index_of(const std::vector<std::string>& names, std::string_view name) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) return std::nullopt;
    return static_cast<std::size_t>(found - names.begin());
}

std::uint32_t bit_of(state which) {
    return 1U << static_cast<unsigned>(which);
}

// The bit of the `number`-th of the states that begin with `first`; none for a number that is none of `count`.
std::uint32_t bit_of(state first, std::int32_t number, std::int32_t count) {
    return number >= 0 && number < count ? bit_of(first) << static_cast<unsigned>(number) : 0U;
}

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
    if (after[column::toc_mv] > 0)
        put(values, channel::toc_mv, after[column::toc_mv]);  // 0: nothing tells it yet
    if (after[column::dyn_soc_state] != ESTIMATOR_RUNNING) return;
    put(values, channel::soc_estimated_cpct, after[column::soc_raw] / 10);
    put(values, channel::soc_displayed_pct, after[column::soc_ui]);
    put(values, channel::resistance_estimated_decimohm, after[column::dcr]);
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
        if (holds) bits |= bit_of(which);
    };
    if (has_samples)
        bits |= bit_of(state::status_unknown, after.seen.status, static_cast<std::int32_t>(STATUS_COUNT));
    set(state::charge_timer, after[column::charge_timer_flag] != 0);
    set(state::thermal, after[column::thermal_flag] != 0);
    set(state::precharge, after[column::precharge_flag] != 0);
    set(state::lowered_for_good, after[column::perm_step] > 0);
    set(state::lowered_for_now, after[column::temp_step] > 0);
    bits |= bit_of(state::landing_armed, after[column::landing_state] - FIRST_LANDING_STATE, LANDING_STATES);
    set(state::smoothing, after[column::smoothing_active] != 0);
    return bits;
}

}  // namespace

report::report(facts about, const device_image& before)
    : about_(std::move(about)),
      series_(channel_names.size(), state_names.size(), about_.buckets),
      decisions_(MAX_DECISIONS, MAX_DECISION_BYTES),
      charger_at_(index_of(about_.truth_names, "charger")),
      screen_at_(index_of(about_.truth_names, "screen")),
      scenario_time_at_(index_of(about_.truth_names, "sim_s")),
      values_(channel_names.size()) {
    for (const known_truth& known : KNOWN_TRUTH) {
        if (const auto index = index_of(about_.truth_names, known.name))
            truth_channels_.push_back({*index, known.into, known.scale});
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
        stress_.first = table;
        stress_.first_h = summarise_stress(*table).stress_hours;
        stress_.first_t = t;
    }
    if (!stress_.pace_from_h) {
        stress_.pace_from_h = summarise_stress(*table).stress_hours;
        stress_.pace_from_t = t;
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

void report::put_full_cycles(const cycle& after) {
    if (full_charge_c_ == 0 && after[column::dyn_soc_state] == ESTIMATOR_RUNNING)
        full_charge_c_ = std::max(after[column::qmax], 0);
    // In and out of the cell once is one cycle; a C is 1000 mA s.
    if (full_charge_c_ > 0 && sessions_.moved_mas() > 0)
        put(values_, channel::full_cycles_milli, sessions_.moved_mas() / (2 * full_charge_c_));
}

void report::compare_displayed(std::int64_t t) {
    const auto percent = [this](channel which, double scale) -> std::optional<double> {
        const std::int32_t value = values_[static_cast<std::size_t>(which)];
        if (value == thinned_series::NO_VALUE) return std::nullopt;
        return value * scale;
    };
    const auto displayed = percent(channel::soc_displayed_pct, 1);
    displayed_from_gauge_.add(t, displayed, percent(channel::soc_gauge_pct, 1));
    displayed_from_true_.add(t, displayed, percent(channel::soc_true_cpct, 0.01));
}

// What the scenario did since the cycle before, at its moments on the axis.
void report::place_happenings(std::int64_t t, std::int64_t scenario_s) {
    for (; next_happening_ < about_.happenings.size(); ++next_happening_) {
        happening each = about_.happenings[next_happening_];
        if (each.at_s > scenario_s) return;
        each.at_s = std::max<std::int64_t>(t - (scenario_s - each.at_s), 0);
        happenings_.push_back(std::move(each));
    }
}

std::optional<std::int32_t> report::truth_number(const cycle& after, std::optional<std::size_t> index) const {
    if (!index || *index >= after.truth.size() || !(std::abs(after.truth[*index]) < 1e9)) return std::nullopt;
    return static_cast<std::int32_t>(after.truth[*index]);
}

std::uint32_t report::phone_states(const cycle& after) const {
    return bit_of(state::charger_usb, truth_number(after, charger_at_).value_or(0) - 1, CHARGER_KINDS) |
           bit_of(state::screen_on, truth_number(after, screen_at_).value_or(-1), SCREEN_STATES);
}

void report::note_fingerprint(std::int64_t t, std::uint32_t states) {
    constexpr std::uint64_t FACTOR = 0x9e3779b97f4a7c15ULL;  // odd, without a pattern in its bits
    const auto mix = [this](std::uint64_t value) { fingerprint_ = (fingerprint_ ^ value) * FACTOR; };
    mix(static_cast<std::uint64_t>(t));
    mix(states);
    for (const std::int32_t value : values_) mix(static_cast<std::uint32_t>(value));
    fingerprint_ ^= fingerprint_ >> 32U;
}

void report::on_cycle(const cycle& after) {
    const std::int64_t t = clock_.at(after.boot, after.elapsed_s, after.real_time_s);
    std::fill(values_.begin(), values_.end(), thinned_series::NO_VALUE);
    put_seen(values_, after.seen);
    put_daemon(values_, after);
    put_truth(after.truth);
    if (about_.has_samples) {
        sessions_.add(t, after);
        put_full_cycles(after);
    } else {
        put_estimates(values_, after);
    }
    if (stress_.table) put(values_, channel::stress_h, std::llround(stress_.total_h) + stress_.offset_h);
    // From here on the battery ages at another pace.
    if (toc_mv_ != 0 && after[column::toc_mv] != toc_mv_) {
        stress_.pace_from_h.reset();
        stress_.has_changed = true;
    }
    toc_mv_ = after[column::toc_mv];
    compare_displayed(t);
    const std::uint32_t states = states_of(after, about_.has_samples) | phone_states(after);
    series_.add(t, values_, states);
    close_ups_.add(t, values_, states);
    gaps_.add(t, after.boot);
    note_fingerprint(t, states);
    if (const auto scenario_s = truth_number(after, scenario_time_at_)) place_happenings(t, *scenario_s);
    last_cycle_t_ = t;
    boot_ = after.boot;
    elapsed_s_ = after.elapsed_s;
}

void report::finish() {
    close_ups_.finish();
    place_happenings(clock_.last(), about_.span_s);
}

// Told when its cycle is over, which may be after the next event.
void report::on_decision(const decision& what, std::string_view line_id) {
    const bool is_of_last_cycle = what.boot == boot_;
    const std::int64_t t = is_of_last_cycle ? last_cycle_t_ - (elapsed_s_ - what.elapsed_s) : clock_.last();
    std::size_t bytes = what.sentence.size();
    for (const number& each : what.numbers) bytes += each.name.size() + each.value.size();
    if (what.weight == importance::action) close_ups_.mark();
    decisions_.add(decision_group(what), {std::clamp<std::int64_t>(t, 0, clock_.last()), what, line_id},
                   bytes);
}

std::size_t report::decision_group(const decision& what) {
    const std::string key = what.feature + static_cast<char>('0' + static_cast<int>(what.weight));
    return decision_groups_.try_emplace(key, decision_groups_.size()).first->second;
}

}  // namespace lab
