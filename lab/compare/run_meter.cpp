#include "lab/compare/run_meter.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>

#include "dyn_soc/internal.h"
#include "lab/tally/worth.h"

namespace lab {

namespace {

constexpr double HOUR_S = 3600;
constexpr double MILLI = 0.001;
constexpr std::size_t NO_PLACE = SIZE_MAX;

struct stop_flag {
    column which;
    const char* why;
};
constexpr std::array<stop_flag, 3> STOP_FLAGS{{{column::charge_timer_flag, "charge timer"},
                                               {column::thermal_flag, "secondary thermal"},
                                               {column::precharge_flag, "precharge"}}};

std::size_t place_of(const std::vector<std::string>& names, std::string_view name) {
    const auto found = std::find(names.begin(), names.end(), name);
    return found == names.end() ? NO_PLACE : static_cast<std::size_t>(found - names.begin());
}

std::optional<double> value_at(const cycle& after, std::size_t place) {
    if (place >= after.truth.size()) return std::nullopt;
    return after.truth[place];
}

void add_to(run_cost& sum, const run_cost& more) {
    sum.cycles += more.cycles;
    sum.log_lines += more.log_lines;
    sum.records += more.records;
    sum.log_bytes += more.log_bytes;
    sum.property_writes += more.property_writes;
    sum.file_writes += more.file_writes;
    sum.failed_writes += more.failed_writes;
    sum.file_bytes += more.file_bytes;
}

}  // namespace

run_meter::run_meter(run_facts about, const std::vector<std::string>& truth_names, const device_image& before)
    : truth_{place_of(truth_names, "sim_s"),
             place_of(truth_names, "true_level_pct"),
             place_of(truth_names, "soc_true_pct"),
             place_of(truth_names, "true_mv"),
             place_of(truth_names, "capacity_left_pct"),
             place_of(truth_names, "resistance_pct"),
             place_of(truth_names, "equivalent_cycles")},
      told_([this](const decision& told) { tell(told); }, before) {
    result_.about = std::move(about);
}

void run_meter::tally::close() {
    figures.high_h = high_s / HOUR_S;
    figures.stopped_h = stopped_s / HOUR_S;
    figures.estimated = estimated.figures();
    figures.shown = shown.figures();
}

void run_meter::tell(const decision& told) {
    result_.decision_count += 1;
    if (result_.decisions.size() >= run_result::MOST_LISTED) return;
    result_.decisions.push_back({now_s_ - static_cast<double>(elapsed_s_ - told.elapsed_s), told});
}

void run_meter::add_cost(const event& what) {
    switch (what.kind) {
        case event_kind::log:
            pending_.log_lines += 1;
            pending_.log_bytes += static_cast<std::int64_t>(what.text.size());
            break;
        case event_kind::metric:
            pending_.records += 1;
            pending_.log_bytes += static_cast<std::int64_t>(what.text.size());
            break;
        case event_kind::property_set:
            pending_.property_writes += 1;
            break;
        case event_kind::write: {
            const auto bytes = std::max<std::int64_t>(what.result, 0);
            file_cost& file = result_.files[what.name];
            file.writes += 1;
            file.failed += what.result < 0 ? 1 : 0;
            file.bytes += bytes;
            pending_.file_writes += 1;
            pending_.failed_writes += what.result < 0 ? 1 : 0;
            pending_.file_bytes += bytes;
            break;
        }
    }
}

void run_meter::on_event(const event& what) {
    events_.add(static_cast<std::uint64_t>(what.kind));
    events_.add(static_cast<std::uint64_t>(what.boot));
    events_.add(static_cast<std::uint64_t>(what.elapsed_s));
    events_.add(static_cast<std::uint64_t>(what.priority) << 32 | static_cast<std::uint32_t>(what.buffer));
    events_.add(static_cast<std::uint64_t>(what.result));
    events_.add(what.name);
    events_.add(what.text);
    add_cost(what);
    told_.on_event(what);
}

double run_meter::moment_of(const cycle& after) {
    if (const auto sim_s = value_at(after, truth_.sim_s)) return *sim_s;
    return static_cast<double>(clock_.at(after.boot, after.elapsed_s, after.real_time_s));
}

void run_meter::on_cycle(const cycle& after) {
    const double before_s = std::exchange(now_s_, moment_of(after));
    elapsed_s_ = after.elapsed_s;
    if (has_cycle_) pass_time(now_s_ - before_s);
    if (!has_cycle_ || after.boot != boot_.figures.boot) begin_boot(after);
    has_cycle_ = true;
    pending_.cycles = 1;
    add_to(whole_.figures.cost, pending_);
    add_to(boot_.figures.cost, pending_);
    pending_ = {};
    note_state(after);
    note_step(after);
    note_flags(after);
    measure_estimate(after);
    add_digest(after);
    told_.on_cycle(after);
}

void run_meter::begin_boot(const cycle& after) {
    end_boot();
    boot_ = {};
    boot_.figures.boot = after.boot;
    boot_.figures.begin_s = now_s_;
    result_.boot_count += 1;
}

void run_meter::end_boot() {
    if (!has_cycle_) return;
    boot_.close();
    if (result_.boots.size() < run_result::MOST_LISTED) result_.boots.push_back(boot_.figures);
}

void run_meter::pass_time(double passed_s) {
    for (tally* each : {&whole_, &boot_}) {
        if (was_high_) each->high_s += passed_s;
        if (was_stopped_) each->stopped_s += passed_s;
    }
}

void run_meter::note_state(const cycle& after) {
    std::optional<double> voltage_mv = value_at(after, truth_.voltage);
    if (!voltage_mv && after.seen.voltage_uv) voltage_mv = *after.seen.voltage_uv * MILLI;
    was_high_ = voltage_mv && *voltage_mv > outcome_meter::HIGH_MV;
    for (tally* each : {&whole_, &boot_}) {
        span_figures& now = each->figures;
        now.end_s = now_s_;
        now.toc_mv = after[column::toc_mv];
        now.stress_h = after.stress_h;
        now.equivalent_cycles = value_at(after, truth_.cycles).value_or(0);
        now.capacity_left_pct = value_at(after, truth_.capacity);
        now.resistance_pct = value_at(after, truth_.resistance);
    }
}

void run_meter::note_step(const cycle& after) {
    const std::int32_t step = after[column::perm_step];
    const bool is_first = whole_.figures.cost.cycles == 1;
    if (!is_first && step > last_step_)
        result_.steps.push_back({now_s_, after.boot, step, after[column::toc_mv], after.stress_h});
    last_step_ = step;
}

void run_meter::note_flags(const cycle& after) {
    was_stopped_ = false;
    for (std::size_t i = 0; i < STOP_FLAGS.size(); ++i) {
        const bool is_set = after[STOP_FLAGS[i].which] != 0;
        std::size_t& open = open_stops_[i];
        if (is_set && open == 0 && result_.stops.size() < run_result::MOST_LISTED) {
            result_.stops.push_back({STOP_FLAGS[i].why, now_s_, 0, true});
            open = result_.stops.size();
        }
        if (open != 0) {
            result_.stops[open - 1].lasted_s = now_s_ - result_.stops[open - 1].begin_s;
            result_.stops[open - 1].is_open = is_set;
        }
        if (!is_set) open = 0;
        was_stopped_ = was_stopped_ || is_set;
    }
}

// The best reference there is: the simulated phone, a column of the trace, the gauge.
void run_meter::measure_estimate(const cycle& after) {
    if (after[column::dyn_soc_state] != dyn_soc::STATE_RUNNING) return;
    std::optional<double> reference = value_at(after, truth_.level);
    const char* source = "phone";
    if (!reference) {
        reference = value_at(after, truth_.soc);
        source = "trace";
    }
    if (!reference && after.seen.capacity_pct) {
        reference = *after.seen.capacity_pct;
        source = "gauge";
    }
    if (!reference) return;
    result_.reference = source;
    for (tally* each : {&whole_, &boot_}) {
        each->estimated.add(after[column::soc_scal] * MILLI, *reference, now_s_);
        each->shown.add(after[column::soc_smooth] * MILLI, *reference, now_s_);
    }
}

void run_meter::add_digest(const cycle& after) {
    cycles_.add(static_cast<std::uint64_t>(after.boot));
    cycles_.add(static_cast<std::uint64_t>(after.elapsed_s));
    for (const std::int32_t value : after.daemon) cycles_.add(static_cast<std::uint64_t>(value));
    cycles_.add(std::bit_cast<std::uint64_t>(after.stress_h));
}

run_result run_meter::finish() {
    told_.finish();
    add_to(whole_.figures.cost, pending_);  // what came after the last cycle
    add_to(boot_.figures.cost, pending_);
    end_boot();
    whole_.close();
    result_.whole = whole_.figures;
    result_.events_digest = events_.hex();
    result_.cycles_digest = cycles_.hex();
    return std::move(result_);
}

}  // namespace lab
