#include "lab/phone/thermal.h"

#include <cmath>

#include "lab/phone/repeatable.h"

namespace lab::phone {

// With x and y the deviations of battery and case from their final temperatures, x' = -a x + a y and
// y' = b x - (b + c) y. The exponential of that matrix M, of which both eigenvalues p and q are real and negative,
// is ((e^p t - e^q t) M + (p e^q t - q e^p t) I) / (p - q).
thermal_step::thermal_step(const thermal_parameters& parameters, double step_s)
    : step_s_(step_s),
      battery_ohm_(parameters.resistance_k_per_w * (1 - parameters.case_share_pct / 100)),
      case_ohm_(parameters.resistance_k_per_w * parameters.case_share_pct / 100) {
    const double a = 1 / (battery_ohm_ * parameters.heat_capacity_j_per_k);
    const double b = 1 / (battery_ohm_ * parameters.case_capacity_j_per_k);
    const double c = 1 / (case_ohm_ * parameters.case_capacity_j_per_k);
    const double sum = a + b + c;
    const double root = std::sqrt(sum * sum - 4 * a * c);
    const double p = (root - sum) / 2;
    const double q = -(root + sum) / 2;
    const double slow = exp_of(p * step_s);
    const double fast = exp_of(q * step_s);
    const double of_matrix = (slow - fast) / root;
    const double of_unity = (p * fast - q * slow) / root;
    own_ = of_unity - of_matrix * a;
    across_ = of_matrix * a;
    back_ = of_matrix * b;
    other_ = of_unity - of_matrix * (b + c);
}

thermal_state thermal_step::after(const thermal_state& before, double ambient_c, double power_w) const {
    const double case_end_c = ambient_c + power_w * case_ohm_;
    const double battery_end_c = case_end_c + power_w * battery_ohm_;
    const double battery_k = before.battery_c - battery_end_c;
    const double case_k = before.case_c - case_end_c;
    return {battery_end_c + own_ * battery_k + across_ * case_k,
            case_end_c + back_ * battery_k + other_ * case_k};
}

}  // namespace lab::phone
