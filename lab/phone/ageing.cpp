#include "lab/phone/ageing.h"

#include <algorithm>

#include "lab/phone/repeatable.h"

namespace lab::phone {

namespace {

constexpr double KELVIN = 273.15;
constexpr double THEIR_CAPACITY_AH = 2.15;
constexpr double SMALLEST_HALF_CYCLE = 0.01;  // of the capacity
constexpr double RESTING_A = 0.02;            // below this the current has no direction
constexpr double LEAST_CAPACITY = 0.2;        // a cell below this has long been replaced
constexpr double SECONDS_PER_HOUR = 3600;
constexpr double MILLI = 0.001;

void update_health(ageing_state& state) {
    const double lost = power_3_4(state.calendar_capacity) + std::sqrt(state.cycle_capacity);
    state.health.capacity = std::max(1 - lost, LEAST_CAPACITY);
    state.health.resistance = 1 + power_3_4(state.calendar_resistance) + state.cycle_resistance;
}

void close_half_cycle(ageing_state& state, double capacity_mah) {
    const double capacity_as = capacity_mah * MILLI * SECONDS_PER_HOUR;
    const double depth = state.highest_soc - state.lowest_soc;
    if (state.charge_as >= SMALLEST_HALF_CYCLE * capacity_as) {
        const double mean_v = state.volt_seconds / state.seconds;
        const double throughput_ah = state.charge_as / capacity_as * THEIR_CAPACITY_AH;
        const double from_capacity_v = mean_v - 3.667;
        const double from_resistance_v = mean_v - 3.725;
        const double b = 7.348e-3 * from_capacity_v * from_capacity_v + 7.600e-4 + 4.081e-3 * depth;
        const double d = 2.153e-4 * from_resistance_v * from_resistance_v - 1.521e-5 + 2.798e-4 * depth;
        state.cycle_capacity += b * b * throughput_ah;
        state.cycle_resistance += std::max(d, 0.0) * throughput_ah;
    }
    state.lowest_soc = 1;
    state.highest_soc = 0;
    state.volt_seconds = state.seconds = state.charge_as = 0;
}

}  // namespace

void age(ageing_state& state, double days, double ocv_v, double temperature_c) {
    const double kelvin = temperature_c + KELVIN;
    const double a = std::max(7.543 * ocv_v - 23.75, 0.0) * 1e6 * exp_of(-6976 / kelvin);
    const double c = std::max(5.270 * ocv_v - 16.32, 0.0) * 1e5 * exp_of(-5986 / kelvin);
    state.calendar_capacity += power_4_3(a) * days;
    state.calendar_resistance += power_4_3(c) * days;
    update_health(state);
}

void age_by_use(ageing_state& state, double current_a, double step_s, double soc, double ocv_v,
                double capacity_mah) {
    if (current_a > -RESTING_A && current_a < RESTING_A) return;
    const double direction = current_a > 0 ? 1 : -1;
    if (direction != state.direction) {
        close_half_cycle(state, capacity_mah);
        state.direction = direction;
    }
    state.lowest_soc = std::min(state.lowest_soc, soc);
    state.highest_soc = std::max(state.highest_soc, soc);
    state.volt_seconds += ocv_v * step_s;
    state.seconds += step_s;
    state.charge_as += current_a * direction * step_s;
}

}  // namespace lab::phone
