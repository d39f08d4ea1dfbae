#include "lab/phone/ageing.h"

#include <algorithm>

#include "lab/phone/repeatable.h"

namespace lab::phone {

namespace {

constexpr double KELVIN = 273.15;
constexpr double REFERENCE_K = 298.15;
constexpr double REFERENCE_V = 4.2;
constexpr double GAS_CONSTANT = 8.314;
constexpr double DAYS_OF_SCALE = 365;
constexpr double CYCLES_OF_SCALE = 1000;
constexpr double TAKEN_EVERY_S = 600;
constexpr double DAY_S = 86400;
constexpr double LEAST_CAPACITY = 0.2;  // a cell below this has long been replaced

}  // namespace

ageing::ageing(const ageing_parameters& parameters)
    : of_(parameters), damage_per_day_(power_4_3(parameters.time_pct / 100) / DAYS_OF_SCALE) {}

void ageing::advance(ageing_state& state, double step_s, double soc, double ocv_v,
                     double temperature_c) const {
    state.cycles.follow(soc, damage_of);
    state.seconds += step_s;
    state.volt_seconds += ocv_v * step_s;
    state.degree_seconds += temperature_c * step_s;
    if (state.seconds < TAKEN_EVERY_S) return;
    take_time(state, state.seconds / DAY_S, state.volt_seconds / state.seconds,
              state.degree_seconds / state.seconds);
    state.seconds = state.volt_seconds = state.degree_seconds = 0;
    update_health(state);
}

void ageing::live(ageing_state& state, double days, double cycles, double ocv_v, double temperature_c) const {
    take_time(state, days, ocv_v, temperature_c);
    state.past_use += cycles;
    update_health(state);
}

void ageing::take_time(ageing_state& state, double days, double ocv_v, double temperature_c) const {
    const double heat =
        of_.time_kj_per_mol * 1000 / GAS_CONSTANT * (1 / REFERENCE_K - 1 / (temperature_c + KELVIN));
    const double factor = exp_of((of_.time_per_v * (ocv_v - REFERENCE_V) + heat) * 4 / 3);
    state.time_damage += damage_per_day_ * factor * days;
}

void ageing::update_health(ageing_state& state) const {
    const double cycles = state.past_use + state.cycles.damage(damage_of);
    const double lost = power_3_4(state.time_damage) + of_.use_pct / 100 / CYCLES_OF_SCALE * cycles;
    state.health.capacity = std::max(1 - lost, LEAST_CAPACITY);
    state.health.resistance = 1 + of_.resistance_gain * lost;
}

}  // namespace lab::phone
