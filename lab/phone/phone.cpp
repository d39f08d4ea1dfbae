#include "lab/phone/phone.h"

#include <algorithm>
#include <type_traits>

namespace lab::phone {

static_assert(std::is_trivially_copyable_v<phone_state>, "crosses boots as bytes");

namespace {

constexpr double AGEING_STEP_S = 600;
constexpr double DAY_S = 86400;
constexpr double LOAD_NOISE = 0.03;  // of the load, standard deviation
constexpr std::int64_t LOAD_SLOT_S = 10;
constexpr double PAST_C = 25;  // where a cell spent its age before the start
constexpr double PAST_V = 3.9;
constexpr double NEAR_TOP_V = 0.06;  // full within this of the highest voltage counts as held full

}  // namespace

model::model(const phone_parameters& parameters, double ambient_c, const chance_key& chance)
    : parameters_(parameters), chance_(chance), cell_(parameters.cell) {
    state_.cell = cell_.start();
    state_.temperature_c = ambient_c;
    if (parameters.age_days > 0) age(state_.ageing, parameters.age_days, PAST_V, PAST_C);
    state_.highest_toc_v = parameters.charger.highest_toc_mv / 1000;
    state_.terminal_v = resting_v();
}

double model::capacity_mah() const {
    return parameters_.cell.capacity_mah * state_.ageing.health.capacity;
}

// The current the gauge sees is given; a soft short takes its own from the cell beside it.
void model::settle(double step_s, const circuit& during, double current_a, double other_heat_w,
                   const surroundings& around) {
    const double terminal_v = during.terminal_v(state_.cell, current_a);
    const double short_a = around.short_ohm > 0 ? terminal_v / around.short_ohm : 0;
    const double cell_a = current_a - short_a;
    const double soc_before = state_.cell.soc;
    const double heat_w = cell_.advance(state_.cell, during, cell_a, state_.temperature_c) +
                          short_a * terminal_v + other_heat_w + around.heater_w;
    state_.terminal_v =
        ocv_v() + state_.cell.transfer_v + state_.cell.diffusion_v + cell_a * during.series_ohm;
    state_.temperature_c =
        next_temperature_c(parameters_.thermal, state_.temperature_c, around.ambient_c, heat_w, step_s);
    state_.throughput_mah += std::abs(cell_a) * step_s / 3.6;

    age_by_use(state_.ageing, cell_a, step_s, soc_before, during.ocv_v, parameters_.cell.capacity_mah);
    state_.unaged_s += step_s;
    if (state_.unaged_s < AGEING_STEP_S) return;
    age(state_.ageing, state_.unaged_s / DAY_S, during.ocv_v, state_.temperature_c);
    state_.unaged_s = 0;
}

// The load keeps for a slot of the clock, so that a daemon that wakes up some seconds later meets the same.
double model::load_w_at(std::int64_t at_s, const surroundings& around) const {
    const draws now(chance_, stream::load, at_s / LOAD_SLOT_S);
    const bool is_burst = now.uniform(0) * 100 < around.burst_pct;
    const double load_w = is_burst ? around.burst_w : around.load_w;
    return std::max(load_w * (1 + LOAD_NOISE * now.noise(1)), 0.0);
}

void model::advance(std::int64_t at_s, double step_s, const surroundings& around, const orders& given) {
    const circuit during = cell_.at(state_.cell, state_.ageing.health, state_.temperature_c, step_s);
    state_.load_w = load_w_at(at_s, around);

    const charge_request wanted{around.charger, given.toc_mv, given.is_charging_disabled, state_.load_w};
    state_.flow =
        flow_of(parameters_.charger, state_.charger, wanted, during, state_.cell, state_.temperature_c);
    const auto& thermal = parameters_.thermal;
    const double other_heat_w =
        state_.load_w * thermal.load_share_pct / 100 + state_.flow.loss_w * thermal.charger_share_pct / 100;
    settle(step_s, during, state_.flow.current_a, other_heat_w, around);
}

void model::advance_off(double step_s, const surroundings& around) {
    const circuit during = cell_.at(state_.cell, state_.ageing.health, state_.temperature_c, step_s);
    const auto& power = parameters_.power;
    double current_a = -power.off_ua * 1e-6;
    if (around.charger != charger_kind::none) {
        const bool is_deep = resting_v() * 1000 < power.precharge_below_mv;
        const double limit_a = (is_deep ? power.precharge_ma : power.off_charge_ma) / 1000;
        // It knows nothing of the daemon's wishes, but it does not overcharge.
        current_a = std::clamp(during.current_for_voltage(state_.cell, state_.highest_toc_v), 0.0, limit_a);
        if (is_deep) state_.precharge_s += static_cast<std::int64_t>(step_s);
    }
    state_.charger = {};
    state_.load_w = 0;
    state_.flow = {current_a, 0, charge_status::unknown};
    settle(step_s, during, current_a, 0, around);
}

readings model::look(std::int64_t at_s, const surroundings& around) const {
    const bool is_held_full =
        state_.flow.status == charge_status::full && state_.terminal_v > state_.highest_toc_v - NEAR_TOP_V;
    const truth_now truth{
        state_.terminal_v,     state_.flow.current_a,
        state_.temperature_c,  state_.temperature_c + state_.load_w * parameters_.thermal.zone_k_per_w,
        state_.cell.soc,       capacity_mah(),
        state_.throughput_mah, state_.flow.status,
        around.charger,        is_held_full};
    return measure(parameters_.gauge, truth, draws(chance_, stream::gauge, at_s));
}

}  // namespace lab::phone
