#include "lab/fleet/phone_row.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <nlohmann/json.hpp>
#include <sys/resource.h>

#include "lab/compare/run_one.h"
#include "lab/io/error.h"
#include "lab/io/text.h"
#include "lab/records/record_text.h"
#include "lab/scenario/truth.h"
#include "lab/state/state_layout.h"

namespace lab {

namespace {

using nlohmann::json;

constexpr double DAY_S = 86400;
constexpr double HOUR_S = 3600;
constexpr std::int64_t YEAR_S = 365LL * 86400;
constexpr std::size_t MOMENTS_PER_YEAR = 12;

// To three decimals: what the last bits of a sum are cannot be seen.
double rounded(double value) {
    return std::round(value * 1000) / 1000;
}

// What the result of a run does not say: the phone at equally spaced moments, its time on a charger, its temperature.
class phone_history : public listener {
  public:
    explicit phone_history(std::int64_t span_s)
        : step_s_(static_cast<double>(span_s) / static_cast<double>(moments_in(span_s))) {}

    void on_event(const event& what) override {
        const bool is_short =
            what.kind == event_kind::metric && record_name(what.text) == "short_fault_detected";
        if (is_short) short_findings += 1;
    }

    void on_cycle(const cycle& after) override {
        const auto truth = [&](truth_column which) { return after.truth[static_cast<std::size_t>(which)]; };
        const double now_s = truth(truth_column::sim_s);
        // Until this cycle all stood as after the one before.
        while (has_cycle_ && now_s >= next_s()) moments.push_back(last_at(next_s()));
        if (has_cycle_) pass_time(now_s - now_s_);
        has_cycle_ = true;
        now_s_ = now_s;
        last_ = {0, after[column::toc_mv], after.stress_h, truth(truth_column::capacity_left_pct)};
        is_plugged_ = truth(truth_column::charger) != 0;
        is_pulled_down_ = after[column::temp_step] != 0;
        temp_c_ = truth(truth_column::true_temp_c);
    }

    // The rest of the span, through which the phone was off.
    void finish(double end_s) {
        while (has_cycle_ && next_s() <= end_s + 1) moments.push_back(last_at(next_s()));
    }

    std::vector<phone_moment> moments;
    std::int64_t short_findings = 0;
    double plugged_s = 0, pulldown_s = 0, awake_s = 0, temp_sum = 0;

  private:
    double next_s() const { return static_cast<double>(moments.size() + 1) * step_s_; }
    phone_moment last_at(double moment_s) const {
        return {rounded(moment_s / DAY_S), last_.toc_mv, rounded(last_.stress_h),
                rounded(last_.capacity_left_pct)};
    }
    void pass_time(double passed_s) {
        constexpr double LONGEST_CYCLE_S = 600;  // what is longer was slept or off
        const double seconds = std::min(passed_s, LONGEST_CYCLE_S);
        awake_s += seconds;
        temp_sum += seconds * temp_c_;
        plugged_s += is_plugged_ ? seconds : 0;
        pulldown_s += is_pulled_down_ ? seconds : 0;
    }

    double step_s_;
    double now_s_ = 0, temp_c_ = 0;
    phone_moment last_;
    bool has_cycle_ = false, is_plugged_ = false, is_pulled_down_ = false;
};

void take_result(const run_result& from, phone_row& into) {
    const auto set = [&into](figure which, double value) { into[which] = rounded(value); };
    const span_figures& end = from.whole;
    set(figure::end_day, end.end_s / DAY_S);
    if (!from.steps.empty()) set(figure::first_trip_day, from.steps.front().t_s / DAY_S);
    for (const stress_step& each : from.steps)
        into.trips.push_back({rounded(each.t_s / DAY_S), each.step, each.toc_mv, rounded(each.stress_h)});
    set(figure::step, from.steps.empty() ? 0 : from.steps.back().step);
    set(figure::toc_mv, end.toc_mv);
    set(figure::stress_h, end.stress_h);
    set(figure::high_h, end.high_h);
    if (end.capacity_left_pct) set(figure::capacity_left_pct, *end.capacity_left_pct);
    if (end.resistance_pct) set(figure::resistance_pct, *end.resistance_pct);
    set(figure::equivalent_cycles, end.equivalent_cycles);
    const auto stops = [&](const char* why) {
        std::pair<double, double> sum{0, 0};
        for (const charge_stop& each : from.stops) {
            if (each.why != why) continue;
            sum.first += 1;
            sum.second += each.lasted_s / HOUR_S;
        }
        return sum;
    };
    const auto timer = stops("charge timer");
    const auto thermal = stops("secondary thermal");
    set(figure::timer_expiries, timer.first);
    set(figure::timer_stopped_h, timer.second);
    set(figure::thermal_stops, thermal.first);
    set(figure::thermal_stopped_h, thermal.second);
    set(figure::precharge_stops, stops("precharge").first);
    if (end.estimated) set(figure::estimate_error_pct, end.estimated->mean_magnitude_pct);
    if (end.shown) set(figure::shown_error_pct, end.shown->mean_magnitude_pct);
    set(figure::boots, static_cast<double>(from.boot_count));
    set(figure::cycles, static_cast<double>(end.cost.cycles));
    set(figure::flash_writes, static_cast<double>(end.cost.file_writes));
    set(figure::flash_bytes, static_cast<double>(end.cost.file_bytes));
    into.events_digest = from.events_digest;
    into.cycles_digest = from.cycles_digest;
}

void take_history(const phone_history& from, phone_row& into) {
    into.moments = from.moments;
    into[figure::short_findings] = static_cast<double>(from.short_findings);
    into[figure::plugged_h] = rounded(from.plugged_s / HOUR_S);
    into[figure::pulldown_h] = rounded(from.pulldown_s / HOUR_S);
    if (from.plugged_s > 0)
        into[figure::pulldown_share_pct] = rounded(100 * from.pulldown_s / from.plugged_s);
    if (from.awake_s > 0) into[figure::mean_temp_c] = rounded(from.temp_sum / from.awake_s);
}

// The most memory that this process or one it waited for has had.
std::int64_t memory_used_kb() {
    rusage own{}, children{};
    ::getrusage(RUSAGE_SELF, &own);
    ::getrusage(RUSAGE_CHILDREN, &children);
    return std::max(own.ru_maxrss, children.ru_maxrss);
}

}  // namespace

std::size_t moments_in(std::int64_t span_s) {
    return MOMENTS_PER_YEAR *
           static_cast<std::size_t>(std::max<std::int64_t>(1, (span_s + YEAR_S / 2) / YEAR_S));
}

phone_row row_of(const population& of, const phone_plan& plan) {
    phone_row row;
    row.number = plan.number;
    row.weight = plan.weight;
    for (std::size_t i = 0; i < plan.options.size(); ++i)
        row.options.push_back(of.groups[i].options[plan.options[i]].name);
    for (const std::string& path : of.drawn_paths()) row.drawn.push_back(plan.text_of(path));
    return row;
}

phone_row run_phone(const population& of, std::uint64_t number) {
    const phone_plan plan = plan_phone(of, number);
    phone_row row = row_of(of, plan);
    try {
        const scenario course = scenario_of(of, plan);
        phone_history history(of.span_s);
        const run_end end = run_scenario(course, image_at_start(course), {}, {{&history}, nullptr});
        history.finish(static_cast<double>(plan.span_s));
        take_result(end.result, row);
        take_history(history, row);
        row.host_s = end.result.host_s;
        row.error = end.result.error;
        if (end.result.status == run_status::crashed) row.status = phone_status::crashed;
        const auto stored = end.image.files.find(std::string(find_state_file("batt_stress")->path));
        if (stored != end.image.files.end()) row.histogram = stored->second;
    } catch (const std::bad_alloc&) {
        row.status = phone_status::failed;
        row.error = "out of memory";
    } catch (const std::exception& thrown) {
        row.status = phone_status::failed;
        row.error = on_one_line(thrown.what());
    }
    row.memory_kb = memory_used_kb();
    return row;
}

std::string packed(const phone_row& row) {
    json all{{"number", row.number},        {"weight", row.weight},       {"status", row.status},
             {"error", row.error},          {"options", row.options},     {"drawn", row.drawn},
             {"host_s", row.host_s},        {"memory_kb", row.memory_kb}, {"is_proved", row.is_proved},
             {"events", row.events_digest}, {"cycles", row.cycles_digest}};
    json figures = json::array(), trips = json::array(), moments = json::array();
    for (const auto& each : row.figures) figures.push_back(each ? json(*each) : json());
    for (const phone_trip& each : row.trips)
        trips.push_back({each.day, each.step, each.toc_mv, each.stress_h});
    for (const phone_moment& each : row.moments)
        moments.push_back({each.day, each.toc_mv, each.stress_h, each.capacity_left_pct});
    all["figures"] = figures;
    all["trips"] = trips;
    all["moments"] = moments;
    all["histogram"] = json::binary({row.histogram.begin(), row.histogram.end()});
    const std::vector<std::uint8_t> bytes = json::to_cbor(all);
    return {bytes.begin(), bytes.end()};
}

phone_row unpacked_row(const std::string& text) {
    const json all = json::from_cbor(text);
    phone_row row;
    row.number = all.at("number");
    row.weight = all.at("weight");
    row.status = all.at("status");
    row.error = all.at("error");
    row.options = all.at("options");
    row.drawn = all.at("drawn");
    row.host_s = all.at("host_s");
    row.memory_kb = all.at("memory_kb");
    row.is_proved = all.at("is_proved");
    row.events_digest = all.at("events");
    row.cycles_digest = all.at("cycles");
    for (std::size_t i = 0; i < row.figures.size(); ++i) {
        const json& value = all.at("figures").at(i);
        if (!value.is_null()) row.figures[i] = value.get<double>();
    }
    for (const json& each : all.at("trips")) row.trips.push_back({each[0], each[1], each[2], each[3]});
    for (const json& each : all.at("moments")) row.moments.push_back({each[0], each[1], each[2], each[3]});
    const auto& bytes = all.at("histogram").get_binary();
    row.histogram.assign(bytes.begin(), bytes.end());
    return row;
}

}  // namespace lab
