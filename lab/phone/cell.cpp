#include "lab/phone/cell.h"

#include <algorithm>
#include <utility>

#include "battery/vendor_table.h"
#include "lab/phone/repeatable.h"
#include "lab/phone/shape_preserving.h"

namespace lab::phone {

namespace {

// The own curve at 25 °C: state of charge in percent, volts. A graphite and lithium cobalt oxide cell for
// 4.45 V. Drawn by hand in the usual shape of such a cell, and 5 to 20 mV away from the daemon's tables on
// purpose: an estimator never has the exact curve of the cell that it looks at. The end below 0 % is the
// steep fall of a cell that is emptied beyond use.
constexpr std::array<std::pair<double, double>, 24> OWN_CURVE{{
    {-2, 2.300}, {-1, 2.750}, {0, 3.150},  {1, 3.310},  {2, 3.430},  {4, 3.575},  {6, 3.640},  {8, 3.668},
    {10, 3.683}, {15, 3.708}, {20, 3.738}, {25, 3.760}, {30, 3.777}, {40, 3.816}, {45, 3.841}, {50, 3.872},
    {55, 3.917}, {60, 3.976}, {65, 4.031}, {70, 4.085}, {80, 4.194}, {90, 4.311}, {95, 4.366}, {100, 4.421},
}};
constexpr double OWN_SPACING = 0.0025;

// Open-circuit voltage against temperature. Measured entropy coefficients of such cells lie within some
// tenths of a millivolt per kelvin on both sides of 0 and change with the state of charge (V. V. Viswanathan
// et al., Journal of Power Sources 195, 2010); one value stands for all here.
constexpr double ENTROPY_V_PER_K = -0.0001;

constexpr std::array<double, 5> CURVE_TEMPS_C{50, 25, 10, 0, -10};  // those of the daemon's tables
constexpr double REFERENCE_C = 25;
constexpr double KELVIN = 273.15;

// Resistance against temperature: Arrhenius, R = R25 exp(E / (8.314 J/(mol K)) (1/T - 1/298.15 K)). Charge
// transfer at graphite: 53 to 59 kJ/mol (T. Abe et al., Journal of the Electrochemical Society 151, 2004). The
// ohmic part follows the electrolyte, whose conductivity needs far less, and solid diffusion lies between: 15
// and 25 kJ/mol are round values, not measurements. Together they give a step of some seconds the 41 kJ/mol
// that a recorded phone shows (docs/phone.md).
constexpr double GAS_CONSTANT = 8.314;
constexpr double SERIES_J_PER_MOL = 15000;
constexpr double TRANSFER_J_PER_MOL = 56000;
constexpr double DIFFUSION_J_PER_MOL = 25000;
constexpr double LEAK_J_PER_MOL = 50000;  // doubles every 10 K or so; an assumption
constexpr double TABLE_LOWEST_C = -40;
constexpr double TABLE_HIGHEST_C = 100;
constexpr double TABLE_STEP_C = 0.5;

// A charge transfer carries more than a resistance would (Butler and Volmer), which counts in the cold: a current i
// needs 2 R T / F asinh(i r F / (2 R T)) volts where r is the resistance to a small current. The circuit has
// resistances: for one step, that of the current as it was in the last minutes.
constexpr double THERMAL_V_PER_K = 2 * GAS_CONSTANT / 96485;
constexpr double USUAL_S = 60;
constexpr double RELIEF_STEP = 0.25;
constexpr std::size_t RELIEF_SIZE = 401;  // to a hundred times the thermal voltage

// Resistances against the state of charge: Chen and Rincon-Mora's fits for a polymer cell, in ohms, as factors:
// 0.07446 + 0.1562 exp(-24.37 soc), 0.04669 + 0.3208 exp(-29.14 soc) and 0.04984 + 6.603 exp(-155.2 soc).
struct soc_term {
    double share;
    double rate;
};
constexpr soc_term SERIES_SOC{0.1562 / 0.07446, 24.37};
constexpr soc_term TRANSFER_SOC{0.3208 / 0.04669, 29.14};
constexpr soc_term DIFFUSION_SOC{6.603 / 0.04984, 155.2};
constexpr std::size_t SOC_TABLE_SIZE = 401;

constexpr double SECONDS_PER_HOUR = 3600;
constexpr double MILLI = 0.001;
constexpr double MICRO = 1e-6;
constexpr double LEAK_SOC = 0.5;  // the self-discharge is in proportion to the charge, and given for this one
constexpr double VENDOR_SPACING = 0.0101;
constexpr double VENDOR_UNIT_V = 0.0001;

std::vector<double> arrhenius(double joules_per_mol) {
    std::vector<double> factors;
    for (double c = TABLE_LOWEST_C; c <= TABLE_HIGHEST_C; c += TABLE_STEP_C) {
        const double inverse = 1 / (c + KELVIN) - 1 / (REFERENCE_C + KELVIN);
        factors.push_back(exp_of(joules_per_mol / GAS_CONSTANT * inverse));
    }
    return factors;
}

// asinh(x) / x over x.
std::vector<double> reliefs() {
    std::vector<double> factors{1};
    for (std::size_t i = 1; i < RELIEF_SIZE; ++i) {
        const double x = RELIEF_STEP * static_cast<double>(i);
        factors.push_back(asinh_of(x) / x);
    }
    return factors;
}

std::vector<double> over_soc(const soc_term& of) {
    std::vector<double> factors;
    for (std::size_t i = 0; i < SOC_TABLE_SIZE; ++i) {
        const double soc = static_cast<double>(i) / (SOC_TABLE_SIZE - 1);
        factors.push_back(1 + of.share * exp_of(-of.rate * soc));
    }
    return factors;
}

// A place in a table, within its ends: the entry before it, and the share of the next one.
struct table_place {
    std::size_t index;
    double share;

    double of(const std::vector<double>& table) const {
        return table[index] + share * (table[index + 1] - table[index]);
    }
};

table_place place_in(std::size_t size, double position) {
    position = std::clamp(position, 0.0, static_cast<double>(size - 1));
    const auto index = std::min(static_cast<std::size_t>(position), size - 2);
    return {index, position - static_cast<double>(index)};
}

// Of a value that runs from a to b in a straight line.
double mean_square(double a, double b) {
    return (a * a + a * b + b * b) / 3;
}

}  // namespace

double circuit::current_for_voltage(const cell_state& state, double voltage_v) const {
    const double without_current =
        ocv_v + state.transfer_v * transfer_decay + state.diffusion_v * diffusion_decay;
    const double ohm = series_ohm + transfer_ohm * (1 - transfer_decay) +
                       diffusion_ohm * (1 - diffusion_decay) + ocv_slope_v * step_s / capacity_as;
    return (voltage_v - without_current) / ohm;
}

// i (E + i R) = -p, the root of the smaller current.
double circuit::current_for_delivery(const cell_state& state, double power_w) const {
    const double e = std::max(terminal_v(state, 0), 0.0);
    const double discriminant = e * e - 4 * series_ohm * power_w;
    if (discriminant <= 0) return -e / (2 * series_ohm);
    return (-e + std::sqrt(discriminant)) / (2 * series_ohm);
}

double circuit::current_for_intake(const cell_state& state, double power_w) const {
    const double e = std::max(terminal_v(state, 0), 0.0);
    return (-e + std::sqrt(e * e + 4 * series_ohm * power_w)) / (2 * series_ohm);
}

cell::cell(const cell_parameters& parameters)
    : parameters_(parameters),
      series_soc_(over_soc(SERIES_SOC)),
      transfer_soc_(over_soc(TRANSFER_SOC)),
      diffusion_soc_(over_soc(DIFFUSION_SOC)),
      series_heat_(arrhenius(SERIES_J_PER_MOL)),
      transfer_heat_(arrhenius(TRANSFER_J_PER_MOL)),
      diffusion_heat_(arrhenius(DIFFUSION_J_PER_MOL)),
      leak_heat_(arrhenius(-LEAK_J_PER_MOL)),
      relief_(reliefs()) {
    if (parameters_.curve == cell_curve::own) {
        take_own_curve();
    } else {
        take_vendor_curve();
    }
    for (auto& curve : curves_) {
        for (double& volts : curve) volts += parameters_.ocv_shift_mv * MILLI;
    }
    lowest_soc_ = soc_at_protection();
}

double cell::soc_at_protection() const {
    double low = -0.5;
    double high = 0.5;
    for (int i = 0; i < 60; ++i) {
        const double middle = (low + high) / 2;
        (ocv_v(middle, REFERENCE_C) < parameters_.protect_mv * MILLI ? low : high) = middle;
    }
    return high;
}

void cell::take_own_curve() {
    std::vector<double> soc;
    std::vector<double> volts;
    for (const auto& [percent, volt] : OWN_CURVE) {
        soc.push_back(percent / 100);
        volts.push_back(volt);
    }
    const shape_preserving curve(soc, volts);
    first_soc_ = soc.front();
    soc_spacing_ = OWN_SPACING;
    const auto points = static_cast<std::size_t>((soc.back() - soc.front()) / OWN_SPACING + 1.5);
    for (std::size_t k = 0; k < CURVES; ++k) {
        const double shift_v = ENTROPY_V_PER_K * (CURVE_TEMPS_C[k] - REFERENCE_C);
        for (std::size_t i = 0; i < points; ++i) {
            curves_[k].push_back(curve.at(first_soc_ + OWN_SPACING * static_cast<double>(i)) + shift_v);
        }
    }
}

// The daemon's tables run from full to empty.
void cell::take_vendor_curve() {
    const batt_info& vendor = parameters_.curve == cell_curve::ATL ? batt_ATL : batt_LWN;
    soc_spacing_ = VENDOR_SPACING;
    first_soc_ = 1 - VENDOR_SPACING * (BATT_CURVE_POINTS - 1);
    for (std::size_t k = 0; k < CURVES; ++k) {
        for (int i = BATT_CURVE_POINTS - 1; i >= 0; --i) {
            curves_[k].push_back(VENDOR_UNIT_V * vendor.ocv_curves[k][i]);
        }
    }
}

cell_state cell::start() const {
    return {std::max(parameters_.soc_pct / 100, lowest_soc_), 0, 0};
}

cell::place cell::on_curve(double soc) const {
    const double position = (soc - first_soc_) / soc_spacing_;
    const auto last = static_cast<double>(curves_[0].size() - 2);
    const auto index = static_cast<std::size_t>(std::clamp(position, 0.0, last));
    return {index, position - static_cast<double>(index)};
}

std::pair<double, double> cell::ocv_and_slope(double soc, double temperature_c) const {
    std::size_t k = 0;
    while (k < CURVES - 2 && temperature_c < CURVE_TEMPS_C[k + 1]) ++k;
    const double weight = (CURVE_TEMPS_C[k] - temperature_c) / (CURVE_TEMPS_C[k] - CURVE_TEMPS_C[k + 1]);
    const place where = on_curve(soc);
    const auto& hot = curves_[k];
    const auto& cold = curves_[k + 1];
    const double low = hot[where.index] + weight * (cold[where.index] - hot[where.index]);
    const double high = hot[where.index + 1] + weight * (cold[where.index + 1] - hot[where.index + 1]);
    return {low + where.share * (high - low), (high - low) / soc_spacing_};
}

double cell::ocv_v(double soc, double temperature_c) const {
    return ocv_and_slope(soc, temperature_c).first;
}

circuit cell::at(const cell_state& state, const cell_health& health, double temperature_c,
                 double step_s) const {
    const auto [ocv, slope] = ocv_and_slope(state.soc, temperature_c);
    const table_place charge = place_in(SOC_TABLE_SIZE, state.soc * (SOC_TABLE_SIZE - 1));
    const table_place heat = place_in(series_heat_.size(), (temperature_c - TABLE_LOWEST_C) / TABLE_STEP_C);
    const double to_little = health.resistance * heat.of(transfer_heat_) * charge.of(transfer_soc_);
    const double needed_v = state.usual_a * parameters_.transfer_mohm * MILLI * to_little;
    const double drive = needed_v / (THERMAL_V_PER_K * (temperature_c + KELVIN));
    const double transfer = to_little * place_in(RELIEF_SIZE, drive / RELIEF_STEP).of(relief_);
    const double diffusion = health.resistance * heat.of(diffusion_heat_) * charge.of(diffusion_soc_);
    circuit now{};
    now.ocv_v = ocv;
    now.ocv_slope_v = slope;
    now.series_ohm =
        parameters_.series_mohm * MILLI * health.resistance * heat.of(series_heat_) * charge.of(series_soc_);
    now.transfer_ohm = parameters_.transfer_mohm * MILLI * transfer;
    now.diffusion_ohm = parameters_.diffusion_mohm * MILLI * diffusion;
    // The capacitors stay as they are, so the time constants follow the resistances.
    now.transfer_decay = exp_of(-step_s / (parameters_.transfer_tau_s * transfer));
    now.diffusion_decay = exp_of(-step_s / (parameters_.diffusion_tau_s * diffusion));
    now.leak_a = parameters_.leakage_ua * MICRO * heat.of(leak_heat_) * std::max(state.soc, 0.0) / LEAK_SOC;
    now.capacity_as = parameters_.capacity_mah * MILLI * SECONDS_PER_HOUR * health.capacity;
    now.step_s = step_s;
    return now;
}

// Heat: what the resistances burn, and the reversible part i T dU/dT (D. Bernardi, E. Pawlikowski and
// J. Newman, "A general energy balance for battery systems", Journal of the Electrochemical Society 132, 1985).
// A pair's voltage is taken to run in a straight line over the step.
double cell::advance(cell_state& state, const circuit& during, double current_a, double temperature_c) const {
    const cell_state before = state;
    const double into_cell_a = current_a - during.leak_a;
    state.soc = std::max(state.soc + into_cell_a * during.step_s / during.capacity_as, lowest_soc_);
    state.transfer_v = state.transfer_v * during.transfer_decay +
                       current_a * during.transfer_ohm * (1 - during.transfer_decay);
    state.diffusion_v = state.diffusion_v * during.diffusion_decay +
                        current_a * during.diffusion_ohm * (1 - during.diffusion_decay);
    const double share = during.step_s / (during.step_s + USUAL_S);
    state.usual_a += (std::abs(current_a) - state.usual_a) * share;
    return current_a * current_a * during.series_ohm +
           mean_square(before.transfer_v, state.transfer_v) / during.transfer_ohm +
           mean_square(before.diffusion_v, state.diffusion_v) / during.diffusion_ohm +
           current_a * (temperature_c + KELVIN) * ENTROPY_V_PER_K;
}

}  // namespace lab::phone
