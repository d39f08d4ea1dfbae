// Ageing of the cell: capacity that fades and resistance that grows, with time at a voltage and temperature,
// and with use.
//
// J. Schmalstieg, S. Kaebitz, M. Ecker and D. U. Sauer, "A holistic aging model for Li(NiMnCo)O2 based 18650
// lithium-ion batteries", Journal of Power Sources 257, 2014. For a time t in days at a constant voltage V
// and absolute temperature T, and a charge throughput Q in ampere-hours of their 2.15 Ah cell in cycles of
// depth D around a mean voltage M:
//
//     capacity    1 - a t^0.75 - b sqrt(Q)     a = (7.543 V - 23.75) 10^6 exp(-6976 / T)
//                                              b = 7.348e-3 (M - 3.667)^2 + 7.600e-4 + 4.081e-3 D
//     resistance  1 + c t^0.75 + d Q           c = (5.270 V - 16.32) 10^5 exp(-5986 / T)
//                                              d = 2.153e-4 (M - 3.725)^2 - 1.521e-5 + 2.798e-4 D
//
// They measured another chemistry, up to 4.2 V and 50 °C; above that this is an extrapolation. What counts
// here is that a lower voltage and a cooler cell age less, by amounts that were once measured.
//
// Where the conditions change, the equations are followed in their differential form: a^(4/3) dt adds up to
// (loss)^(4/3), and b^2 dQ adds up to (loss)^2, which is the same for constant conditions.
#pragma once

#include "lab/phone/cell.h"

namespace lab::phone {

struct ageing_state {
    double calendar_capacity = 0;  // sum of a^(4/3) dt
    double calendar_resistance = 0;
    double cycle_capacity = 0;    // sum of b^2 dQ
    double cycle_resistance = 0;  // sum of d dQ
    double lowest_soc = 1;        // since the current last turned
    double highest_soc = 0;
    double volt_seconds = 0;  // likewise, for the mean voltage
    double seconds = 0;
    double charge_as = 0;  // moved, likewise
    double direction = 0;  // +1 charging, -1 discharging, 0 not known
    cell_health health;
};

// Time at rest or in use at an open-circuit voltage and temperature; half a cycle is closed when the current
// turns after at least 1 % of the charge has moved. `capacity_mah` is that of the new cell.
void age(ageing_state& state, double days, double ocv_v, double temperature_c);
void age_by_use(ageing_state& state, double current_a, double step_s, double soc, double ocv_v,
                double capacity_mah);

}  // namespace lab::phone
