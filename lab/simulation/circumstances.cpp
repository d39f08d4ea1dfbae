#include "lab/simulation/circumstances.h"

#include <algorithm>
#include <string>

namespace lab {

namespace {

using virtual_device::device;
using virtual_device::file;

constexpr double MILLI = 0.001;

std::string path_of_mock(std::string_view column) {
    return std::string(column == MOCK_FILES[0].name ? MOCK_FILES[0].path : MOCK_FILES[1].path);
}

void set_mock(device& on, const scenario_event& event, bool is_end) {
    file& mock = on.at(path_of_mock(event.target));
    if (is_end || event.reads == text_kind::missing) {
        mock.remove();
    } else if (event.reads == text_kind::text) {
        put_line(mock, event.text);
    } else {
        mock.put("");
    }
}

void fail_call(device& on, const scenario_event& event) {
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

void set_fault(device& on, const scenario_event& event) {
    const bool reads_error = event.reads == text_kind::error;
    if (event.action == event_action::node && reads_error) {
        on.set_fault(on.at(DEVICE_NODES[place_of_node(event.target)].path), &file::read_fails);
    } else if (event.action == event_action::mock && reads_error) {
        on.set_fault(on.at(path_of_mock(event.target)), &file::read_fails);
    } else if (event.action == event_action::fail) {
        fail_call(on, event);
    }
}

ending ending_by(event_action action) {
    switch (action) {
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

}  // namespace

void circumstances::take_weather(std::int64_t now_s) {
    around_.ambient_c = asleep_.ambient_c = weather_.ambient_c(now_s, now_);
    weather_until_s_ = now_s - now_s % weather::SLOT_S + weather::SLOT_S;
}

void circumstances::take(std::int64_t now_s, const doings& what, device& on) {
    now_ = timeline_.conditions_at(now_s);
    next_change_s_ = timeline_.next_change(now_s);
    if (person_.is_there()) {
        person_.apply(what, now_);
        next_change_s_ = std::min(next_change_s_, person_.next_s(now_s, what));
    }
    around_ = {
        now_.charger, now_.ambient_c, now_.load_mw * MILLI, now_.burst_mw * MILLI, now_.burst_pct, 0, 0};
    clock_shift_s_ = 0;
    is_clock_lost_ = false;
    overrides_ = {};
    on.clear_faults();
    for (const auto& event : scenario_.events) {
        if (!timeline::is_going_on(event, now_s)) continue;
        take_event(event);
        set_fault(on, event);
    }
    asleep_ = around_;
    asleep_.load_w = now_.suspended_mw * MILLI;
    asleep_.burst_pct = 0;
    take_weather(now_s);
}

void circumstances::take_event(const scenario_event& event) {
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

ending circumstances::cross(std::int64_t now_s, device& on) const {
    ending why = ending::none;
    for (const auto& event : scenario_.events) {
        const bool begins = timeline::happens_at(event, now_s);
        const bool is_over = event.for_s > 0 && now_s >= event.at_s + event.for_s &&
                             timeline::happens_at(event, now_s - event.for_s);
        if (event.action == event_action::mock && (begins || is_over)) set_mock(on, event, !begins);
        const ending its = begins ? ending_by(event.action) : ending::none;
        if (its != ending::none) why = its;
    }
    return why;
}

std::int64_t circumstances::power_cut_s(std::int64_t now_s) const {
    std::int64_t longest_s = 1;
    for (const auto& event : scenario_.events) {
        const bool is_it = event.action == event_action::power_cut && timeline::happens_at(event, now_s);
        if (is_it) longest_s = std::max(longest_s, event.for_s);
    }
    return longest_s;
}

}  // namespace lab
