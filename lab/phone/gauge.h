// The fuel gauge and the other nodes: what the kernel shows of the battery, with the noise and the steps of
// real converters. Its own state of charge is the true one between what it calls empty and full, with an
// offset that a scenario may give it.
#pragma once

#include <cstdint>

#include "lab/phone/chance.h"
#include "lab/phone/charger.h"

namespace lab::phone {

struct gauge_parameters {
    double voltage_noise_mv = 1;  // standard deviation
    double voltage_step_uv = 1000;
    double voltage_offset_mv = 0;  // added to what it measures, as a badly calibrated converter does
    double current_noise_ma = 4;
    double current_step_ua = 1000;
    double current_offset_ma = 0;
    double temperature_noise_c = 0.05;
    double soc_noise_pct = 0.02;
    double soc_offset_pct = 0;  // added to the state of charge it shows: a gauge that lies
    double empty_soc_pct = 3;   // true state of charge that it calls 0 %
    double full_soc_pct = 97;   // that it calls 100 %
};

// What is there to be measured.
struct truth_now {
    double terminal_v;
    double current_a;
    double temperature_c;
    double zone_c;
    double soc;
    double capacity_mah;  // at present
    double throughput_mah;
    charge_status status;
    charger_kind charger;
    bool is_held_full;  // full at the highest voltage the charger has
};

struct readings {
    std::int32_t voltage_uv;
    std::int32_t current_ua;
    std::int32_t temperature_decic;
    std::int32_t zone_mc;
    std::int32_t capacity_pct;
    std::int32_t ui_soc;  // hundredths of a percent
    std::int32_t charge_counter_uah;
    std::int32_t cycle_count;
    std::int32_t vbus_uv;
    charge_status status;
};

// The level it shows without its noise, %; not limited.
inline double shown_level_pct(const gauge_parameters& parameters, double soc) {
    return (soc * 100 - parameters.empty_soc_pct) / (parameters.full_soc_pct - parameters.empty_soc_pct) *
               100 +
           parameters.soc_offset_pct;
}

// `error` has the noise of this moment.
readings measure(const gauge_parameters& parameters, const truth_now& truth, const draws& error);

}  // namespace lab::phone
