#include "lab/scenario/simulated_course.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <type_traits>

#include "core/sys_properties.h"
#include "lab/error.h"
#include "lab/state_layout.h"

namespace lab {

namespace {

using virtual_device::file;

constexpr std::int64_t AWAKE_STEP_S = 10;
constexpr std::int64_t ASLEEP_STEP_S = 60;
constexpr std::int64_t OFF_STEP_S = 600;
constexpr std::int64_t AWAKE_AFTER_BOOT_S = 120;
constexpr std::int64_t AWAKE_AFTER_PLUG_S = 30;
constexpr double MILLI = 0.001;

// Places in TRACE_NODES.
enum node : std::size_t {
    VOLTAGE,
    TEMPERATURE,
    CHARGE_COUNTER,
    CYCLE_COUNT,
    CAPACITY,
    CURRENT,
    STATUS,
    UI_SOC,
    VENDOR,
    ZONE,
    VBUS,
};
static_assert(TRACE_NODES[VBUS].column == "vbus" && TRACE_NODES[STATUS].column == "status" &&
              TRACE_NODES[VENDOR].column == "cell_vendor_name");

std::size_t place_of_node(std::string_view column) {
    std::size_t i = 0;
    while (TRACE_NODES[i].column != column) ++i;
    return i;
}

std::string path_of_mock(std::string_view column) {
    return std::string(column == TRACE_MOCK_FILES[0].column ? TRACE_MOCK_FILES[0].path
                                                            : TRACE_MOCK_FILES[1].path);
}

void put_line(file& into, std::string_view text) {
    into.put(text);
    into.bytes.push_back('\n');
}

const std::string* find_property(const virtual_device::device& on, const char* name) {
    const auto found = on.properties.find(std::string_view(name));
    return found == on.properties.end() ? nullptr : &found->second;
}

}  // namespace

simulated_course::simulated_course(const scenario& of)
    : scenario_(of),
      timeline_(of),
      model_(of.phone, timeline(of).conditions_at(0).ambient_c, of.seed),
      state_{.phone = model_.state()} {
    static_assert(std::is_trivially_copyable_v<course_state>, "crosses boots as bytes");
}

std::int64_t simulated_course::begin_boot(device& on) {
    find_files(on);
    take_conditions(on);
    if (state_.boot == 0) {
        cross(on);
        if (!has_power_for_boot()) {
            advance_off(on, NEVER_S, true);
            if (state_.is_over) throw input_error(scenario_.file + ": the phone never starts");
        }
        read_orders(on);
        model_.advance(1, around_, orders_);  // so that a current flows
    }
    state_.boot += 1;
    state_.boot_start_s = state_.now_s;
    state_.awake_until_s = state_.now_s + AWAKE_AFTER_BOOT_S;
    if (state_.runs_boot_loader) write_boot_files(on);
    put_line(*nodes_[VENDOR], scenario_.cell_vendor);
    show(on);
    is_first_cycle_ = true;
    return state_.boot;
}

bool simulated_course::next_cycle(device& on) {
    if (is_first_cycle_) {
        is_first_cycle_ = false;
        return true;
    }
    read_orders(on);
    const ending why = wants_reboot() ? ending::reboot : advance_awake(on);
    if (why != ending::none) {
        leave(on, why);
        return false;
    }
    show(on);
    return true;
}

// Until the daemon's sleep is over.
simulated_course::ending simulated_course::advance_awake(device& on) {
    std::int64_t left_s = scenario_.cycle_s;
    while (left_s > 0) {
        if (state_.now_s >= scenario_.duration_s()) return ending::over;
        const bool asleep = is_asleep();
        const std::int64_t step = step_s(asleep ? ASLEEP_STEP_S : std::min(left_s, AWAKE_STEP_S));
        model_.advance(static_cast<double>(step), around_, orders_);
        state_.now_s += step;
        if (!asleep) left_s -= step;
        if (model_.is_empty()) return ending::empty;
        if (state_.now_s == next_change_s_) {
            take_conditions(on);
            const ending why = cross(on);
            if (why != ending::none) return why;
        }
    }
    return ending::none;
}

bool simulated_course::is_asleep() const {
    if (now_.screen != screen_state::suspended || state_.now_s < state_.awake_until_s) return false;
    if (now_.wake_every_s == 0) return true;
    const std::int64_t since_s = state_.now_s - state_.change_s;
    return since_s < now_.wake_every_s || since_s % now_.wake_every_s >= now_.wake_for_s;
}

// Not past a change, nor past the moment at which the phone wakes up or falls asleep.
std::int64_t simulated_course::step_s(std::int64_t longest_s) const {
    std::int64_t step = std::min(longest_s, next_change_s_ - state_.now_s);
    if (now_.screen != screen_state::suspended) return step;
    if (state_.now_s < state_.awake_until_s) {
        step = std::min(step, state_.awake_until_s - state_.now_s);
    } else if (now_.wake_every_s > 0) {
        const std::int64_t into_s = (state_.now_s - state_.change_s) % now_.wake_every_s;
        const std::int64_t left_s = is_asleep() ? now_.wake_every_s - into_s : now_.wake_for_s - into_s;
        step = std::min(step, left_s);
    }
    return step;
}

// The phone on, the daemon not running.
void simulated_course::advance_on(device& on, std::int64_t for_s) {
    const std::int64_t end_s = std::min(state_.now_s + for_s, scenario_.duration_s());
    while (state_.now_s < end_s) {
        const std::int64_t step =
            std::min({AWAKE_STEP_S, end_s - state_.now_s, next_change_s_ - state_.now_s});
        model_.advance(static_cast<double>(step), around_, orders_);
        state_.now_s += step;
        if (state_.now_s != next_change_s_) continue;
        take_conditions(on);
        cross(on);
    }
}

// The phone off: for so long, or until a charger has brought it far enough.
void simulated_course::advance_off(device& on, std::int64_t for_s, bool until_bootable) {
    const std::int64_t scenario_end_s = scenario_.duration_s();
    const std::int64_t end_s = for_s < scenario_end_s - state_.now_s ? state_.now_s + for_s : scenario_end_s;
    while (state_.now_s < end_s) {
        const bool is_charging = around_.charger != phone::charger_kind::none;
        if (until_bootable && is_charging && model_.can_boot()) return;
        const std::int64_t longest_s = is_charging ? AWAKE_STEP_S : OFF_STEP_S;
        const std::int64_t step = std::min({longest_s, end_s - state_.now_s, next_change_s_ - state_.now_s});
        model_.advance_off(static_cast<double>(step), around_);
        state_.now_s += step;
        if (state_.now_s != next_change_s_) continue;
        take_conditions(on);
        cross(on);
    }
    if (until_bootable || state_.now_s >= scenario_end_s) state_.is_over = true;
}

bool simulated_course::has_power_for_boot() const {
    return model_.resting_v() >= scenario_.phone.power.power_off_mv * MILLI && !model_.is_empty();
}

// From the end of the daemon's process to the next start, or to the end.
void simulated_course::leave(device& on, ending why) {
    const auto& power = scenario_.phone.power;
    model_.forget_precharge();
    state_.runs_boot_loader = why != ending::restart;
    if (why == ending::over) {
        state_.is_over = true;
    } else if (why == ending::restart) {
        advance_on(on, static_cast<std::int64_t>(power.restart_s));
    } else {
        if (why == ending::power_cut) {
            std::int64_t off_s = 1;
            for (const auto& event : scenario_.events) {
                const bool is_it =
                    event.action == event_action::power_cut && timeline::happens_at(event, state_.now_s);
                if (is_it) off_s = std::max(off_s, event.for_s);
            }
            advance_off(on, off_s, false);
        }
        if (!state_.is_over && (why == ending::empty || !has_power_for_boot())) {
            advance_off(on, NEVER_S, true);
        }
        if (!state_.is_over) advance_on(on, static_cast<std::int64_t>(power.boot_s));
    }
    if (state_.now_s >= scenario_.duration_s()) state_.is_over = true;
}

void simulated_course::take_conditions(device& on) {
    const auto charger_before = around_.charger;
    now_ = timeline_.conditions_at(state_.now_s);
    next_change_s_ = timeline_.next_change(state_.now_s);
    around_ = {
        now_.charger, now_.ambient_c, now_.load_mw * MILLI, now_.burst_mw * MILLI, now_.burst_pct, 0, 0};
    clock_shift_s_ = 0;
    is_clock_lost_ = false;
    overrides_ = {};
    for (const auto& event : scenario_.events) {
        if (!timeline::is_going_on(event, state_.now_s)) continue;
        switch (event.action) {
            case event_action::plug:
            case event_action::unplug:
                around_.charger = event.charger;
                break;
            case event_action::clock_lost:
                is_clock_lost_ = true;
                break;
            case event_action::clock_shift:
                clock_shift_s_ += event.shift_s;
                break;
            case event_action::node:
                overrides_[place_of_node(event.target)] = &event;
                break;
            case event_action::soft_short:
                around_.short_ohm = event.amount;
                break;
            case event_action::heater:
                around_.heater_w += event.amount;
                break;
            default:
                break;
        }
    }
    if (around_.charger != charger_before) {
        state_.awake_until_s = std::max(state_.awake_until_s, state_.now_s + AWAKE_AFTER_PLUG_S);
    }
    set_faults(on);
}

void simulated_course::set_faults(device& on) {
    on.clear_faults();
    for (const auto& event : scenario_.events) {
        if (!timeline::is_going_on(event, state_.now_s)) continue;
        const bool reads_error = event.reads == text_kind::error;
        if (event.action == event_action::node && reads_error) {
            on.set_fault(*nodes_[place_of_node(event.target)], &file::read_fails);
        } else if (event.action == event_action::mock && reads_error) {
            on.set_fault(on.at(path_of_mock(event.target)), &file::read_fails);
        } else if (event.action == event_action::fail) {
            switch (event.call) {
                case failing_call::open:
                    on.set_fault(on.at(event.target), &file::open_fails);
                    break;
                case failing_call::read:
                    on.set_fault(on.at(event.target), &file::read_fails);
                    break;
                case failing_call::write:
                    on.set_fault(on.at(event.target), &file::write_fails);
                    break;
                case failing_call::property_set:
                    on.fail_property_set(event.target, true);
                    break;
            }
        }
    }
}

simulated_course::ending simulated_course::cross(device& on) {
    state_.change_s = state_.now_s;
    ending why = ending::none;
    for (const auto& event : scenario_.events) {
        const ending its = cross_event(on, event);
        if (its != ending::none) why = its;
    }
    return why;
}

simulated_course::ending simulated_course::cross_event(device& on, const scenario_event& event) {
    const bool begins = timeline::happens_at(event, state_.now_s);
    const bool is_over = event.for_s > 0 && state_.now_s >= event.at_s + event.for_s &&
                         timeline::happens_at(event, state_.now_s - event.for_s);
    if (event.action == event_action::mock && (begins || is_over)) set_mock(on, event, !begins);
    if (!begins) return ending::none;
    switch (event.action) {
        case event_action::power_cut:
            return ending::power_cut;
        case event_action::reboot:
            return ending::reboot;
        case event_action::restart:
            return ending::restart;
        default:
            return ending::none;
    }
}

void simulated_course::set_mock(device& on, const scenario_event& event, bool is_end) {
    file& mock = on.at(path_of_mock(event.target));
    if (is_end || event.reads == text_kind::missing) {
        mock.remove();
    } else if (event.reads == text_kind::text) {
        put_line(mock, event.text);
    } else {
        mock.put("");
    }
}

void simulated_course::find_files(device& on) {
    for (std::size_t i = 0; i < nodes_.size(); ++i) nodes_[i] = &on.at(TRACE_NODES[i].path);
    properties_seen_ = 0;
    toc_text_.clear();
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

// The daemon's three properties, found again only when a property has come or gone.
void simulated_course::read_orders(const device& on) {
    if (on.properties.size() != properties_seen_) {
        properties_seen_ = on.properties.size();
        toc_ = find_property(on, TOC_PROPERTY);
        disable_ = find_property(on, DISABLE_PROPERTY);
        power_ = find_property(on, POWER_PROPERTY);
    }
    orders_.is_charging_disabled = disable_ != nullptr && !disable_->empty() && *disable_ != "0";
    static const std::string NONE;
    const std::string& text = toc_ == nullptr ? NONE : *toc_;
    if (text == toc_text_) return;
    toc_text_ = text;
    int toc_mv = 0;
    std::from_chars(text.data(), text.data() + text.size(), toc_mv);
    orders_.toc_mv = toc_mv;
}

bool simulated_course::wants_reboot() const {
    return power_ != nullptr && *power_ == "reboot" && scenario_.phone.charger.obeys;
}

void simulated_course::set_clock(device& on) const {
    const std::int64_t since_boot_s = state_.now_s - state_.boot_start_s;
    on.elapsed_s = since_boot_s;
    on.real_time_s = is_clock_lost_ ? since_boot_s : scenario_.start_utc_s + state_.now_s + clock_shift_s_;
}

void simulated_course::put_node(std::size_t index, std::int64_t value) {
    char text[24];
    char* const end = std::to_chars(text, text + sizeof text, value).ptr;
    *end = '\n';
    nodes_[index]->put(std::string_view(text, static_cast<std::size_t>(end - text) + 1));
}

void simulated_course::show(device& on) {
    set_clock(on);
    const phone::readings read = model_.look(around_);
    put_node(VOLTAGE, read.voltage_uv);
    put_node(TEMPERATURE, read.temperature_decic);
    put_node(CHARGE_COUNTER, read.charge_counter_uah);
    put_node(CYCLE_COUNT, read.cycle_count);
    put_node(CAPACITY, read.capacity_pct);
    put_node(CURRENT, read.current_ua);
    put_node(UI_SOC, read.ui_soc);
    put_node(ZONE, read.zone_mc);
    put_node(VBUS, read.vbus_uv);
    put_line(*nodes_[STATUS], phone::charge_status_texts[static_cast<std::size_t>(read.status)]);
    for (std::size_t i = 0; i < overrides_.size(); ++i) {
        if (overrides_[i] == nullptr) continue;
        switch (overrides_[i]->reads) {
            case text_kind::text:
                put_line(*nodes_[i], overrides_[i]->text);
                break;
            case text_kind::missing:
                nodes_[i]->remove();
                break;
            case text_kind::empty:
                nodes_[i]->put("");
                break;
            case text_kind::error:
                break;
        }
    }
}

std::vector<std::string> simulated_course::truth_names() const {
    return {truth_column_names.begin(), truth_column_names.end()};
}

void simulated_course::truth(std::vector<double>& values) const {
    const phone::phone_state& phone = model_.state();
    // Three decimals are enough for any use, and short in a file.
    const auto rounded = [](double value) {
        return static_cast<double>(static_cast<std::int64_t>(value * 1000 + (value < 0 ? -0.5 : 0.5))) / 1000;
    };
    values = {static_cast<double>(state_.now_s),
              rounded(phone.cell.soc * 100),
              rounded(phone.terminal_v * 1000),
              rounded(phone.flow.current_a * 1000),
              rounded(phone.temperature_c),
              rounded(phone.ageing.health.capacity * 100),
              rounded(phone.ageing.health.resistance * 100),
              static_cast<double>(around_.charger),
              static_cast<double>(now_.screen)};
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
