// The cell: open-circuit voltage, series resistance and two RC pairs (an equivalent circuit after
// M. Chen and G. A. Rincon-Mora, "Accurate electrical battery model capable of predicting runtime and I-V
// performance", IEEE Transactions on Energy Conversion 21(2), 2006).
//
//          series      transfer      diffusion
//     +---[ R0 ]---+---[ R1 ]---+---[ R2 ]---+---- terminal
//     |            +---[ C1 ]---+---[ C2 ]---+
//   (OCV)                                              current is positive into the cell
//     |
//     +------------------------------------------- ground
//
// Within one step the current is constant, and for a constant current the step is exact.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

namespace lab::phone {

// "own": the model's own curve. "ATL" and "LWN": the daemon's tables for that vendor, which gives the
// estimator a cell that it knows exactly.
enum class cell_curve : std::uint8_t { own, ATL, LWN };
inline constexpr std::array<std::string_view, 3> cell_curve_names{"own", "ATL", "LWN"};

struct cell_parameters {
    double capacity_mah = 7500;  // of the new cell, from 0 % to 100 %
    double soc_pct = 60;         // at the start
    double series_mohm = 24;     // at 25 °C, when new and not near empty
    double transfer_mohm = 66;   // likewise
    double transfer_tau_s = 1;   // time constant, likewise
    double diffusion_mohm = 40;
    double diffusion_tau_s = 1200;
    double leakage_ua = 150;   // self-discharge at 25 °C and 50 %
    double protect_mv = 2400;  // at rest and 25 °C; the pack's protection opens there and the curve ends
    double ocv_shift_mv = 0;   // added to the whole curve: a cell of another batch
    cell_curve curve = cell_curve::own;
};

struct cell_state {
    double soc = 0;          // 0 at 0 %, 1 at 100 %; below 0 when deeply empty, to where the protection opens
    double transfer_v = 0;   // across the first RC pair
    double diffusion_v = 0;  // across the second
    double usual_a = 0;      // size of the current, as it was in the last minutes
};

// What ageing has done: 1 for a new cell.
struct cell_health {
    double capacity = 1;
    double resistance = 1;
};

// The circuit as it is during one step.
struct circuit {
    double ocv_v;
    double ocv_slope_v;  // volts per unit of state of charge
    double series_ohm;
    double transfer_ohm;
    double diffusion_ohm;
    double transfer_decay;  // what is left of a pair's voltage after the step
    double diffusion_decay;
    double leak_a;       // self-discharge
    double capacity_as;  // coulombs
    double step_s;

    // Terminal voltage now, at that current.
    double terminal_v(const cell_state& state, double current_a) const {
        return ocv_v + state.transfer_v + state.diffusion_v + current_a * series_ohm;
    }
    // The current that brings the terminal to this voltage at the end of the step.
    double current_for_voltage(const cell_state& state, double voltage_v) const;
    // The current (negative) at which the cell delivers this power now; that of the greatest power it has
    // when it is asked for more.
    double current_for_delivery(const cell_state& state, double power_w) const;
    // The current at which it takes this power now.
    double current_for_intake(const cell_state& state, double power_w) const;
};

class cell {
  public:
    explicit cell(const cell_parameters& parameters);

    cell_state start() const;
    circuit at(const cell_state& state, const cell_health& health, double temperature_c, double step_s) const;

    // One step at a constant current. Returns the mean heat of the step in watts.
    double advance(cell_state& state, const circuit& during, double current_a, double temperature_c) const;

    double ocv_v(double soc, double temperature_c) const;
    // The pack's protection is open: nothing flows out of it, a charge current closes it.
    bool is_cut_off(const cell_state& state) const { return state.soc <= lowest_soc_; }

  private:
    struct place {
        std::size_t index;
        double share;  // of the next entry; outside 0 to 1 beyond the ends
    };
    static constexpr std::size_t CURVES = 5;

    void take_own_curve();
    void take_vendor_curve();
    place on_curve(double soc) const;
    std::pair<double, double> ocv_and_slope(double soc, double temperature_c) const;

    double soc_at_protection() const;

    cell_parameters parameters_;
    double first_soc_ = 0;   // of the first point of each curve
    double lowest_soc_ = 0;  // where the protection opens
    double soc_spacing_ = 1;
    std::array<std::vector<double>, CURVES> curves_;  // volts, one curve per temperature of CURVE_TEMPS_C
    std::vector<double> series_soc_, transfer_soc_, diffusion_soc_;     // factors over the state of charge
    std::vector<double> series_heat_, transfer_heat_, diffusion_heat_;  // and over the temperature
    std::vector<double> leak_heat_, relief_;
};

}  // namespace lab::phone
