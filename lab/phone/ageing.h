// Ageing of the cell: capacity that fades and resistance that grows, with time at a voltage and temperature, and
// with use. The terms of J. Schmalstieg, S. Kaebitz, M. Ecker and D. U. Sauer, "A holistic aging model for
// Li(NiMnCo)O2 based 18650 lithium-ion batteries", Journal of Power Sources 257, 2014, with figures of their own:
//
//     capacity    1 - a t^0.75 - u       a = scale exp(k (V - 4.2 V)) exp(-E / R (1 / T - 1 / 298.15 K))
//                                        u = sum of b D^1.5 / 2 over half cycles of depth D, found by rainflow
//     resistance  1 + g (a t^0.75 + u)
//
// Where the conditions change the equation is followed in its differential form: a^(4/3) dt adds up to
// (loss)^(4/3), which is the same for constant conditions.
//
// The figures are those of a phone's cell as far as there are any (docs/phone.md): no measured fade of a cell for
// 4.45 V was at hand, so they are parameters.
#pragma once

#include "lab/phone/cell.h"
#include "lab/phone/rainflow.h"

namespace lab::phone {

// Temperatures at which cells were stored to find the figures, °C, and a little below: elsewhere the law is an
// extrapolation.
inline constexpr double MEASURED_LEAST_C = 20;
inline constexpr double MEASURED_MOST_C = 60;

struct ageing_parameters {
    double time_pct = 5.6;          // of the capacity lost in the first year at 25 °C and 4.2 V
    double time_per_v = 1.1;        // k: natural logarithm of the loss, per volt
    double time_kj_per_mol = 26.5;  // E
    double use_pct = 4.5;           // b: lost in a thousand cycles between full and empty
    double resistance_gain = 2;     // g: the resistance grows by so much of what the capacity has lost
};

struct ageing_state {
    double time_damage = 0;  // sum of a^(4/3) dt
    double past_use = 0;     // cycles between full and empty before the start
    rainflow cycles;         // of the state of charge
    cell_health health;

    // Since the time was last taken into account, for the mean: seconds, volts and degrees Celsius times seconds.
    double seconds = 0;
    double volt_seconds = 0;
    double degree_seconds = 0;
};

class ageing {
  public:
    explicit ageing(const ageing_parameters& parameters);

    // One step, with the state of charge at its end, and the open-circuit voltage and temperature in its course.
    // Time is taken into account every ten minutes, by its mean conditions.
    void advance(ageing_state& state, double step_s, double soc, double ocv_v, double temperature_c) const;
    // What was before the start: `cycles` between full and empty, `days` at a voltage and a temperature.
    void live(ageing_state& state, double days, double cycles, double ocv_v, double temperature_c) const;

  private:
    void take_time(ageing_state& state, double days, double ocv_v, double temperature_c) const;
    void update_health(ageing_state& state) const;
    // A half cycle's, as a share of a full one's.
    static double damage_of(double swing) { return swing * std::sqrt(swing) / 2; }

    ageing_parameters of_;
    double damage_per_day_;  // at 25 °C and 4.2 V
};

}  // namespace lab::phone
