#include "lab/phone/charger.h"

#include <algorithm>

namespace lab::phone {

namespace {

constexpr double MILLI = 0.001;
constexpr double ABOVE_TOP_V = 0.020;  // so far above the top a battery counts as above it
constexpr double AT_TOP_V = 0.005;     // so near below it the voltage counts as constant
constexpr double GENTLE_BAND_C = 4;
constexpr double LEAST_SHARE = 0.1;        // of the current, in a hot phone
constexpr std::int32_t TAPER_HOLD_S = 60;  // the current must stay below the cut-off for so long

double top_v(const charger_parameters& parameters, const charge_request& wanted, double temperature_c) {
    const bool is_asked = parameters.obeys && wanted.toc_mv > 0;
    double top_mv = std::min(is_asked ? wanted.toc_mv : parameters.default_toc_mv, parameters.highest_toc_mv);
    if (temperature_c > parameters.warm_above_c) top_mv = std::min(top_mv, parameters.warm_toc_mv);
    return top_mv * MILLI;
}

struct source {
    double greatest_ma;  // into the battery
    double input_mw;
    double efficiency_pct;
};

source source_of(const charger_parameters& parameters, charger_kind kind) {
    switch (kind) {
        case charger_kind::usb:
            return {parameters.usb_ma, parameters.usb_mw, parameters.efficiency_pct};
        case charger_kind::wireless:
            return {parameters.wireless_ma, parameters.wireless_mw, parameters.wireless_efficiency_pct};
        default:
            return {parameters.wall_ma, parameters.wall_mw, parameters.efficiency_pct};
    }
}

// The greatest current into the battery, whatever the voltage.
double current_limit_a(const charger_parameters& parameters, charger_kind kind, double resting_v,
                       double temperature_c) {
    double limit_ma = source_of(parameters, kind).greatest_ma;
    if (resting_v < parameters.weak_below_mv * MILLI) limit_ma = std::min(limit_ma, parameters.weak_ma);
    if (temperature_c < parameters.cool_below_c) limit_ma *= parameters.cool_share_pct / 100;
    if (temperature_c > parameters.gentle_above_c) {
        const double share = 1 - (temperature_c - parameters.gentle_above_c) / GENTLE_BAND_C;
        limit_ma *= std::max(share, LEAST_SHARE);
    }
    return limit_ma * MILLI;
}

// Whether a full battery is still full, and one above the top still to be drawn down.
void review(const charger_parameters& parameters, charger_state& state, double resting_v, double top) {
    if (resting_v < top - parameters.recharge_mv * MILLI) state.is_full = false;
    if (resting_v > top + ABOVE_TOP_V) state.is_drawing_down = true;
    if (resting_v <= top) state.is_drawing_down = false;
}

// Counts how long the current has tapered off; the caller's step is the circuit's.
void watch_taper(const charger_parameters& parameters, charger_state& state, const circuit& battery,
                 const cell_state& battery_state, double current_a, double top) {
    const bool is_constant_voltage = battery.terminal_v(battery_state, current_a) > top - AT_TOP_V;
    const bool is_low = current_a < parameters.cutoff_ma * MILLI;
    if (!is_constant_voltage || !is_low) {
        state.tapered_s = 0;
        return;
    }
    state.tapered_s += static_cast<std::int32_t>(battery.step_s);
    if (state.tapered_s < TAPER_HOLD_S) return;
    state.is_full = true;
    state.tapered_s = 0;
}

}  // namespace

double loss_w(const charger_parameters& parameters, charger_kind kind, double delivered_w) {
    const double efficiency = source_of(parameters, kind).efficiency_pct / 100;
    return delivered_w * (1 - efficiency) / efficiency;
}

charge_flow flow_of(const charger_parameters& parameters, charger_state& state, const charge_request& wanted,
                    const circuit& battery, const cell_state& battery_state, double temperature_c) {
    const double on_battery_a = battery.current_for_delivery(battery_state, wanted.load_w);
    if (wanted.kind == charger_kind::none) {
        state = {};
        return {on_battery_a, 0, charge_status::discharging};
    }
    const double resting_v = battery.terminal_v(battery_state, 0);
    const double top = top_v(parameters, wanted, temperature_c);
    review(parameters, state, resting_v, top);

    const source from = source_of(parameters, wanted.kind);
    const double input_w = from.input_mw * MILLI * from.efficiency_pct / 100;
    const double left_w = input_w - wanted.load_w;
    // Without charging the input still carries the load, as far as it can.
    const double idle_a =
        left_w >= 0 ? -parameters.rest_ma * MILLI : battery.current_for_delivery(battery_state, -left_w);
    const double idle_loss_w = loss_w(parameters, wanted.kind, std::min(input_w, wanted.load_w));

    const bool is_stopped = parameters.obeys && wanted.is_disabled;
    if (is_stopped || !may_charge(parameters, temperature_c)) {
        state.tapered_s = 0;
        return {idle_a, idle_loss_w, charge_status::not_charging};
    }
    const bool is_warm = temperature_c > parameters.warm_above_c;
    if (state.is_drawing_down && parameters.above_toc == above_top::discharge && !is_warm) {
        return {on_battery_a, 0, charge_status::not_charging};
    }
    if (state.is_full) return {idle_a, idle_loss_w, charge_status::full};
    if (state.is_drawing_down) return {idle_a, idle_loss_w, charge_status::not_charging};
    if (left_w < 0) return {idle_a, idle_loss_w, charge_status::charging};

    const double limit_a = std::min(current_limit_a(parameters, wanted.kind, resting_v, temperature_c),
                                    battery.current_for_intake(battery_state, left_w));
    const double current_a = std::clamp(battery.current_for_voltage(battery_state, top), 0.0, limit_a);
    watch_taper(parameters, state, battery, battery_state, current_a, top);
    const double taken_w = wanted.load_w + current_a * battery.terminal_v(battery_state, current_a);
    return {current_a, loss_w(parameters, wanted.kind, taken_w), charge_status::charging};
}

}  // namespace lab::phone
