#include "lab/phone/phone.h"

#include <algorithm>
#include <type_traits>

namespace lab::phone {

static_assert(std::is_trivially_copyable_v<phone_state>, "crosses boots as bytes");

namespace {

constexpr double MILLI = 0.001;
constexpr double LOAD_NOISE = 0.03;  // of the load, standard deviation
constexpr std::int64_t LOAD_SLOT_S = 10;
constexpr double NEAR_TOP_V = 0.06;  // full within this of the highest voltage counts as held full

}  // namespace

model::model(const phone_parameters& parameters, double ambient_c, const chance_key& chance)
    : parameters_(parameters),
      chance_(chance),
      cell_(parameters.cell),
      ageing_(parameters.ageing),
      warming_(parameters.thermal, 1) {
    state_.cell = cell_.start();
    state_.heat = {ambient_c, ambient_c};
    ageing_.live(state_.ageing, parameters.age_days, parameters.age_cycles, parameters.age_mv * MILLI,
                 parameters.age_c);
    state_.throughput_mah = 2 * parameters.age_cycles * capacity_mah();
    state_.highest_toc_v = parameters.charger.highest_toc_mv * MILLI;
    state_.terminal_v = resting_v();
}

double model::capacity_mah() const {
    return parameters_.cell.capacity_mah * state_.ageing.health.capacity;
}

// The current the gauge sees is given; a soft short takes its own from the cell beside it.
void model::settle(const circuit& during, double current_a, double other_heat_w, const surroundings& around) {
    const double terminal_v = during.terminal_v(state_.cell, current_a);
    const double short_a = around.short_ohm > 0 ? terminal_v / around.short_ohm : 0;
    const double cell_a = current_a - short_a;
    const double before_c = temperature_c();
    const double heat_w = cell_.advance(state_.cell, during, cell_a, before_c) + short_a * terminal_v +
                          other_heat_w + around.heater_w;
    const double ocv_after_v = ocv_v();
    state_.terminal_v =
        ocv_after_v + state_.cell.transfer_v + state_.cell.diffusion_v + cell_a * during.series_ohm;
    warm(during.step_s, heat_w, around.ambient_c);
    state_.throughput_mah += std::abs(cell_a) * during.step_s / 3.6;
    ageing_.advance(state_.ageing, during.step_s, state_.cell.soc, (during.ocv_v + ocv_after_v) / 2,
                    (before_c + temperature_c()) / 2);
}

void model::warm(double step_s, double heat_w, double ambient_c) {
    if (step_s != warming_.step_s()) warming_ = thermal_step(parameters_.thermal, step_s);
    state_.heat = warming_.after(state_.heat, ambient_c, heat_w);
}

// The load keeps for a slot of the clock, so that a daemon that wakes up some seconds later meets the same.
double model::load_w_at(std::int64_t at_s, const surroundings& around) const {
    const draws now(chance_, stream::load, at_s / LOAD_SLOT_S);
    const bool is_burst = now.uniform(0) * 100 < around.burst_pct;
    const double load_w = is_burst ? around.burst_w : around.load_w;
    return std::max(load_w * (1 + LOAD_NOISE * now.noise(1)), 0.0);
}

void model::advance(std::int64_t at_s, double step_s, const surroundings& around, const orders& given) {
    const circuit during = cell_.at(state_.cell, state_.ageing.health, temperature_c(), step_s);
    state_.load_w = load_w_at(at_s, around);

    const charge_request wanted{around.charger, given.toc_mv, given.is_charging_disabled, state_.load_w};
    state_.flow = flow_of(parameters_.charger, state_.charger, wanted, during, state_.cell, temperature_c());
    const auto& thermal = parameters_.thermal;
    const double other_heat_w =
        state_.load_w * thermal.load_share_pct / 100 + state_.flow.loss_w * thermal.charger_share_pct / 100;
    settle(during, state_.flow.current_a, other_heat_w, around);
}

// The boot loader knows nothing of the daemon's wishes, but it neither overcharges nor charges in frost or heat.
double model::off_current_a(double step_s, const circuit& during, charger_kind charger) {
    const auto& power = parameters_.power;
    if (charger == charger_kind::none) return cell_.is_cut_off(state_.cell) ? 0 : -power.off_ua * 1e-6;
    if (!may_charge(parameters_.charger, temperature_c())) return 0;
    const bool is_deep = resting_v() * 1000 < power.precharge_below_mv;
    if (is_deep) state_.precharge_s += static_cast<std::int64_t>(step_s);
    const double limit_a = (is_deep ? power.precharge_ma : power.off_charge_ma) * MILLI;
    return std::clamp(during.current_for_voltage(state_.cell, state_.highest_toc_v), 0.0, limit_a);
}

void model::advance_off(double step_s, const surroundings& around) {
    const circuit during = cell_.at(state_.cell, state_.ageing.health, temperature_c(), step_s);
    const double current_a = off_current_a(step_s, during, around.charger);
    state_.charger = {};
    state_.load_w = 0;
    const double charging_w = std::max(current_a, 0.0) * during.terminal_v(state_.cell, current_a);
    const double heat_w = loss_w(parameters_.charger, around.charger, charging_w);
    state_.flow = {current_a, heat_w, charge_status::unknown};
    settle(during, current_a, heat_w * parameters_.thermal.charger_share_pct / 100, around);
}

readings model::look(std::int64_t at_s, const surroundings& around) const {
    const bool is_held_full =
        state_.flow.status == charge_status::full && state_.terminal_v > state_.highest_toc_v - NEAR_TOP_V;
    const truth_now truth{
        state_.terminal_v,     state_.flow.current_a,
        temperature_c(),       temperature_c() + state_.load_w * parameters_.thermal.zone_k_per_w,
        state_.cell.soc,       capacity_mah(),
        state_.throughput_mah, state_.flow.status,
        around.charger,        is_held_full};
    return measure(parameters_.gauge, truth, draws(chance_, stream::gauge, at_s));
}

}  // namespace lab::phone
