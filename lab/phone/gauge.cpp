#include "lab/phone/gauge.h"

#include <algorithm>
#include <array>

namespace lab::phone {

namespace {

constexpr std::array<std::int32_t, 4> VBUS_UV{0, 5000000, 9000000, 9000000};  // by charger_kind

// Which of a moment's draws is the noise of what.
enum place : std::size_t { VOLTAGE, CURRENT, TEMPERATURE, SOC };

// To the nearest multiple of a step, away from zero when between two.
std::int32_t quantised(double value, double step) {
    const double scaled = value / step;
    const double rounded = static_cast<double>(static_cast<std::int64_t>(scaled + (scaled < 0 ? -0.5 : 0.5)));
    return static_cast<std::int32_t>(std::clamp(rounded * step, -2e9, 2e9));
}

}  // namespace

readings measure(const gauge_parameters& parameters, const truth_now& truth, const draws& error) {
    readings read{};
    const double error_mv = parameters.voltage_offset_mv + error.noise(VOLTAGE) * parameters.voltage_noise_mv;
    const double error_ma = parameters.current_offset_ma + error.noise(CURRENT) * parameters.current_noise_ma;
    read.voltage_uv = quantised(truth.terminal_v * 1e6 + error_mv * 1e3, parameters.voltage_step_uv);
    read.current_ua = quantised(truth.current_a * 1e6 + error_ma * 1e3, parameters.current_step_ua);
    read.temperature_decic =
        quantised((truth.temperature_c + error.noise(TEMPERATURE) * parameters.temperature_noise_c) * 10, 1);
    read.zone_mc = quantised(truth.zone_c * 1000, 100);

    const double shown_pct =
        shown_level_pct(parameters, truth.soc) + error.noise(SOC) * parameters.soc_noise_pct;
    const bool knows_full = truth.is_held_full && parameters.soc_offset_pct == 0;
    read.ui_soc = knows_full ? 10000 : quantised(std::clamp(shown_pct, 0.0, 100.0) * 100, 1);
    read.capacity_pct = (read.ui_soc + 50) / 100;

    read.charge_counter_uah = quantised(truth.soc * truth.capacity_mah * 1000, 1000);
    read.cycle_count = quantised(truth.throughput_mah / (2 * truth.capacity_mah) - 0.5, 1);
    read.vbus_uv = VBUS_UV[static_cast<std::size_t>(truth.charger)];
    read.status = truth.status;
    return read;
}

}  // namespace lab::phone
