// The heat balance of the battery as one body: C dT/dt = P - (T - ambient) / R. For a constant power the
// step is exact: T approaches ambient + P R with the time constant R C.
#pragma once

#include "lab/phone/repeatable.h"

namespace lab::phone {

struct thermal_parameters {
    double heat_capacity_j_per_k = 150;  // battery and what is glued to it: some 130 g at 1.1 J/(g K)
    double resistance_k_per_w = 7;       // to the ambient air
    double load_share_pct = 35;          // of the phone's load that heats the battery
    double charger_share_pct = 30;       // of the charger's loss that does
    double zone_k_per_w = 5;  // thermal zone 6 is warmer than the battery by this, per watt of load
};

inline double next_temperature_c(const thermal_parameters& of, double temperature_c, double ambient_c,
                                 double power_w, double step_s) {
    const double final_c = ambient_c + power_w * of.resistance_k_per_w;
    const double left = exp_of(-step_s / (of.resistance_k_per_w * of.heat_capacity_j_per_k));
    return final_c + (temperature_c - final_c) * left;
}

}  // namespace lab::phone
