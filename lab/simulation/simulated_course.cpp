#include "lab/simulation/simulated_course.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <type_traits>

#include "lab/io/error.h"
#include "lab/state/state_layout.h"

namespace lab {

namespace {

constexpr std::int64_t AWAKE_STEP_S = 10;
constexpr std::int64_t ASLEEP_STEP_S = 60;
constexpr std::int64_t OFF_STEP_S = 600;
constexpr std::int64_t AWAKE_AFTER_BOOT_S = 120;
constexpr std::int64_t AWAKE_AFTER_PLUG_S = 30;
constexpr double MILLI = 0.001;

}  // namespace

simulated_course::simulated_course(const scenario& plan)
    : scenario_(plan),
      model_(plan.phone, weather(plan).ambient_c(0, timeline(plan).conditions_at(0)), plan.chance),
      state_{.phone = model_.state()},
      world_(plan) {
    static_assert(std::is_trivially_copyable_v<course_state>, "crosses boots as bytes");
}

std::int64_t simulated_course::begin_boot(device& on) {
    nodes_.find(on);
    orders_.forget();
    take_circumstances(on);
    if (state_.boot == 0) {
        state_.change_s = state_.now_s;
        world_.cross(state_.now_s, on);
        if (!has_power_for_boot()) {
            advance_off(on, NEVER_S, true);
            if (state_.is_over) throw input_error(scenario_.file + ": the phone never starts");
        }
        orders_.read(on);
        model_.advance(state_.now_s, 1, world_.around(), orders_.given());  // so that a current flows
    }
    state_.boot += 1;
    state_.boot_start_s = state_.now_s;
    state_.awake_until_s = state_.now_s + AWAKE_AFTER_BOOT_S;
    if (state_.runs_boot_loader) write_boot_files(on);
    show(on);
    is_first_cycle_ = true;
    return state_.boot;
}

bool simulated_course::next_cycle(device& on) {
    if (is_first_cycle_) {
        is_first_cycle_ = false;
        return true;
    }
    orders_.read(on);
    const bool is_rebooting = orders_.asks_for_reboot() && scenario_.phone.charger.obeys;
    const ending why = is_rebooting ? ending::reboot : advance_awake(on);
    if (why != ending::none) {
        leave(on, why);
        return false;
    }
    show(on);
    return true;
}

// Until the daemon's sleep is over.
ending simulated_course::advance_awake(device& on) {
    std::int64_t left_s = scenario_.cycle_s;
    while (left_s > 0) {
        if (state_.now_s >= scenario_.duration_s()) return ending::over;
        const bool asleep = is_asleep();
        const std::int64_t step = step_s(asleep ? ASLEEP_STEP_S : std::min(left_s, AWAKE_STEP_S));
        world_.follow_weather(state_.now_s);
        model_.advance(state_.now_s, static_cast<double>(step),
                       asleep ? world_.around_asleep() : world_.around(), orders_.given());
        state_.now_s += step;
        if (!asleep) left_s -= step;
        if (model_.is_empty()) return ending::empty;
        if (state_.now_s == world_.next_change_s()) {
            const ending why = cross_change(on);
            if (why != ending::none) return why;
        }
    }
    return ending::none;
}

bool simulated_course::is_asleep() const {
    const conditions& now = world_.now();
    if (now.screen != screen_state::suspended || state_.now_s < state_.awake_until_s) return false;
    if (now.wake_every_s == 0) return true;
    const std::int64_t since_s = state_.now_s - state_.change_s;
    return since_s < now.wake_every_s || since_s % now.wake_every_s >= now.wake_for_s;
}

// Not past a change, nor past the moment at which the phone wakes up or falls asleep.
std::int64_t simulated_course::step_s(std::int64_t longest_s) const {
    const conditions& now = world_.now();
    const std::int64_t step = std::min(longest_s, world_.next_change_s() - state_.now_s);
    if (now.screen != screen_state::suspended) return step;
    if (state_.now_s < state_.awake_until_s) return std::min(step, state_.awake_until_s - state_.now_s);
    if (now.wake_every_s == 0) return step;
    const std::int64_t into_s = (state_.now_s - state_.change_s) % now.wake_every_s;
    return std::min(step, is_asleep() ? now.wake_every_s - into_s : now.wake_for_s - into_s);
}

// The phone on, the daemon not running.
void simulated_course::advance_on(device& on, std::int64_t for_s) {
    const std::int64_t end_s = std::min(state_.now_s + for_s, scenario_.duration_s());
    while (state_.now_s < end_s) {
        const std::int64_t step =
            std::min({AWAKE_STEP_S, end_s - state_.now_s, world_.next_change_s() - state_.now_s});
        world_.follow_weather(state_.now_s);
        model_.advance(state_.now_s, static_cast<double>(step), world_.around(), orders_.given());
        state_.now_s += step;
        if (state_.now_s != world_.next_change_s()) continue;
        cross_change(on);
    }
}

// The phone off: for so long, or until a charger has brought it far enough.
void simulated_course::advance_off(device& on, std::int64_t for_s, bool until_bootable) {
    const std::int64_t scenario_end_s = scenario_.duration_s();
    const std::int64_t end_s = for_s < scenario_end_s - state_.now_s ? state_.now_s + for_s : scenario_end_s;
    while (state_.now_s < end_s) {
        const bool is_charging = world_.around().charger != phone::charger_kind::none;
        if (until_bootable && is_charging && model_.can_boot()) return;
        const std::int64_t longest_s = is_charging ? AWAKE_STEP_S : OFF_STEP_S;
        const std::int64_t step =
            std::min({longest_s, end_s - state_.now_s, world_.next_change_s() - state_.now_s});
        world_.follow_weather(state_.now_s);
        model_.advance_off(static_cast<double>(step), world_.around());
        state_.now_s += step;
        if (state_.now_s != world_.next_change_s()) continue;
        cross_change(on);
    }
    if (until_bootable || state_.now_s >= scenario_end_s) state_.is_over = true;
}

bool simulated_course::has_power_for_boot() const {
    return model_.resting_v() >= scenario_.phone.power.power_off_mv * MILLI && !model_.is_empty();
}

// From the end of the daemon's process to the next start, or to the end.
void simulated_course::leave(device& on, ending why) {
    model_.forget_precharge();
    state_.runs_boot_loader = why != ending::restart;
    if (why == ending::restart) {
        advance_on(on, static_cast<std::int64_t>(scenario_.phone.power.restart_s));
    } else if (why != ending::over) {
        start_again(on, why);
    }
    if (state_.now_s >= scenario_.duration_s()) state_.is_over = true;
}

// The phone itself, which may first need a charger.
void simulated_course::start_again(device& on, ending why) {
    if (why == ending::power_cut) advance_off(on, world_.power_cut_s(state_.now_s), false);
    if (!state_.is_over && (why == ending::empty || !has_power_for_boot())) advance_off(on, NEVER_S, true);
    if (!state_.is_over) advance_on(on, static_cast<std::int64_t>(scenario_.phone.power.boot_s));
}

// A charger that comes or goes wakes a suspended phone up.
void simulated_course::take_circumstances(device& on) {
    const auto charger_before = world_.around().charger;
    if (world_.person().is_there()) {
        state_.user = world_.person().decide(state_.now_s, state_.user, model_.shown_pct());
    }
    world_.take(state_.now_s, state_.user, on);
    if (world_.around().charger == charger_before) return;
    state_.awake_until_s = std::max(state_.awake_until_s, state_.now_s + AWAKE_AFTER_PLUG_S);
}

ending simulated_course::cross_change(device& on) {
    take_circumstances(on);
    state_.change_s = state_.now_s;
    return world_.cross(state_.now_s, on);
}

// What the boot loader leaves for this boot; a scenario may have written it for the first one.
void simulated_course::write_boot_files(device& on) const {
    const auto* const timer = find_state_file("batt_precharge_uboottimer");
    const auto* const flag = find_state_file("batt_precharge_ubootflag");
    const bool is_given = state_.boot == 1 && (scenario_.files.contains(std::string(timer->path)) ||
                                               scenario_.files.contains(std::string(flag->path)));
    if (is_given) return;
    std::string bytes;
    set_state_field(*timer, bytes, "time_s", std::to_string(model_.state().precharge_s));
    on.at(timer->path).put(bytes);
    bytes.clear();
    set_state_field(*flag, bytes, "flag", model_.has_precharge_fault() ? "1" : "0");
    on.at(flag->path).put(bytes);
}

void simulated_course::show(device& on) {
    const std::int64_t since_boot_s = state_.now_s - state_.boot_start_s;
    on.elapsed_s = since_boot_s;
    on.real_time_s = world_.real_time_s(state_.now_s, since_boot_s);
    nodes_.show(model_.look(state_.now_s, world_.around()), scenario_.cell_vendor, world_.overrides());
}

std::vector<std::string> simulated_course::truth_names() const {
    return {truth_column_names.begin(), truth_column_names.end()};
}

void simulated_course::truth(const charge_limits& of, std::vector<double>& values) const {
    const phone::phone_state& phone = model_.state();
    // Three decimals are enough for any use, and short in a file.
    const auto rounded = [](double value) {
        return static_cast<double>(static_cast<std::int64_t>(value * 1000 + (value < 0 ? -0.5 : 0.5))) / 1000;
    };
    const std::array<double, truth_column_names.size()> now{
        static_cast<double>(state_.now_s),
        rounded(phone.cell.soc * 100),
        rounded(phone.terminal_v * 1000),
        rounded(phone.flow.current_a * 1000),
        rounded(phone.heat.battery_c),
        rounded(phone.ageing.health.capacity * 100),
        rounded(phone.ageing.health.resistance * 100),
        static_cast<double>(world_.around().charger),
        static_cast<double>(world_.now().screen),
        rounded(
            level_.pct(model_.battery(), phone.cell.soc, model_.temperature_c(), of.bottom_mv, of.top_mv)),
        rounded(phone.throughput_mah / 2 / scenario_.phone.cell.capacity_mah)};
    values.assign(now.begin(), now.end());
}

std::string simulated_course::save() const {
    course_state saved = state_;
    saved.phone = model_.state();
    std::string bytes(sizeof saved, '\0');
    std::memcpy(bytes.data(), &saved, sizeof saved);
    return bytes;
}

void simulated_course::load(const std::string& bytes) {
    std::memcpy(&state_, bytes.data(), sizeof state_);
    model_.set_state(state_.phone);
}

double simulated_course::progress() const {
    return static_cast<double>(state_.now_s) / static_cast<double>(scenario_.duration_s());
}

}  // namespace lab
