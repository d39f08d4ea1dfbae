// The heat balance of the phone as two bodies in a row: the battery with the board, where the heat arises, and
// the case with what lies around it, which is slower.
//
//     heat --> [ battery ] --- share of the resistance --- [ case ] --- the rest --- ambient air
//
// For a constant heat the step is exact: the two temperatures approach their final values as the solution of the
// two linear equations does.
#pragma once

namespace lab::phone {

struct thermal_parameters {
    double heat_capacity_j_per_k = 100;  // of the battery and the board: some 95 g at 1.05 J/(g K)
    double case_capacity_j_per_k = 450;
    double resistance_k_per_w = 7;   // from the battery to the ambient air
    double case_share_pct = 50;      // of that resistance, from the case to the air
    double load_share_pct = 35;      // of the phone's load that heats the battery
    double charger_share_pct = 100;  // of the charger's loss, which arises beside it
    double zone_k_per_w = 5;         // thermal zone 6 is warmer than the battery by this, per watt of load
};

struct thermal_state {
    double battery_c = 23;
    double case_c = 23;
};

// How a step of one length moves the temperatures.
class thermal_step {
  public:
    thermal_step(const thermal_parameters& parameters, double step_s);

    double step_s() const { return step_s_; }
    thermal_state after(const thermal_state& before, double ambient_c, double power_w) const;

  private:
    double step_s_;
    double battery_ohm_, case_ohm_;       // K/W
    double own_, across_, back_, other_;  // what is left of each deviation in each body, by which had it
};

}  // namespace lab::phone
