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

// Resistance against temperature: Arrhenius, R = R25 exp(E / (8.314 J/(mol K)) (1/T - 1/298.15 K)).
// Charge transfer at graphite: 53 to 59 kJ/mol (T. Abe et al., Journal of the Electrochemical Society 151,
// 2004). The ohmic part follows the electrolyte, whose conductivity needs far less, and solid diffusion lies
// between: 15 and 30 kJ/mol are round values, not measurements.
constexpr double GAS_CONSTANT = 8.314;
constexpr double SERIES_J_PER_MOL = 15000;
constexpr double TRANSFER_J_PER_MOL = 55000;
constexpr double DIFFUSION_J_PER_MOL = 30000;
constexpr double TABLE_LOWEST_C = -40;
constexpr double TABLE_HIGHEST_C = 100;
constexpr double TABLE_STEP_C = 0.5;

// Series resistance against the state of charge: Chen and Rincon-Mora's fit for a polymer cell,
// 0.07446 + 0.1562 exp(-24.37 soc) ohms, as a factor.
constexpr double SOC_FACTOR = 0.1562 / 0.07446;
constexpr double SOC_RATE = 24.37;
constexpr std::size_t SOC_TABLE_SIZE = 401;

constexpr double SECONDS_PER_HOUR = 3600;
constexpr double MILLI = 0.001;
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

// Index and share of a place in a table, within its ends.
double interpolate(const std::vector<double>& table, double position) {
    const double last = static_cast<double>(table.size() - 1);
    position = std::clamp(position, 0.0, last);
    const auto index = std::min(static_cast<std::size_t>(position), table.size() - 2);
    const double share = position - static_cast<double>(index);
    return table[index] + share * (table[index + 1] - table[index]);
}

double at_temperature(const std::vector<double>& table, double temperature_c) {
    return interpolate(table, (temperature_c - TABLE_LOWEST_C) / TABLE_STEP_C);
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
      series_heat_(arrhenius(SERIES_J_PER_MOL)),
      transfer_heat_(arrhenius(TRANSFER_J_PER_MOL)),
      diffusion_heat_(arrhenius(DIFFUSION_J_PER_MOL)) {
    if (parameters_.curve == cell_curve::own) {
        take_own_curve();
    } else {
        take_vendor_curve();
    }
    for (auto& curve : curves_) {
        for (double& volts : curve) volts += parameters_.ocv_shift_mv * MILLI;
    }
    for (std::size_t i = 0; i < SOC_TABLE_SIZE; ++i) {
        const double soc = static_cast<double>(i) / (SOC_TABLE_SIZE - 1);
        soc_resistance_.push_back(1 + SOC_FACTOR * exp_of(-SOC_RATE * soc));
    }
}

void cell::take_own_curve() {
    std::vector<double> soc;
    std::vector<double> volts;
    for (const auto& [percent, volt] : OWN_CURVE) {
        soc.push_back(percent / 100);
        volts.push_back(volt);
    }
    const shape_preserving curve(soc, volts);
    lowest_soc_ = soc.front();
    soc_spacing_ = OWN_SPACING;
    const auto points = static_cast<std::size_t>((soc.back() - soc.front()) / OWN_SPACING + 1.5);
    for (std::size_t k = 0; k < CURVES; ++k) {
        const double shift_v = ENTROPY_V_PER_K * (CURVE_TEMPS_C[k] - REFERENCE_C);
        for (std::size_t i = 0; i < points; ++i) {
            curves_[k].push_back(curve.at(lowest_soc_ + OWN_SPACING * static_cast<double>(i)) + shift_v);
        }
    }
}

// The daemon's tables run from full to empty.
void cell::take_vendor_curve() {
    const batt_info& vendor = parameters_.curve == cell_curve::ATL ? batt_ATL : batt_LWN;
    soc_spacing_ = VENDOR_SPACING;
    lowest_soc_ = 1 - VENDOR_SPACING * (BATT_CURVE_POINTS - 1);
    for (std::size_t k = 0; k < CURVES; ++k) {
        for (int i = BATT_CURVE_POINTS - 1; i >= 0; --i) {
            curves_[k].push_back(VENDOR_UNIT_V * vendor.ocv_curves[k][i]);
        }
    }
}

cell_state cell::start() const {
    return {parameters_.soc_pct / 100, 0, 0};
}

cell::place cell::on_curve(double soc) const {
    const double position = (soc - lowest_soc_) / soc_spacing_;
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
    const double transfer_heat = at_temperature(transfer_heat_, temperature_c);
    const double diffusion_heat = at_temperature(diffusion_heat_, temperature_c);
    circuit now{};
    now.ocv_v = ocv;
    now.ocv_slope_v = slope;
    now.series_ohm = parameters_.series_mohm * MILLI * health.resistance *
                     at_temperature(series_heat_, temperature_c) *
                     interpolate(soc_resistance_, state.soc * (SOC_TABLE_SIZE - 1));
    now.transfer_ohm = parameters_.transfer_mohm * MILLI * health.resistance * transfer_heat;
    now.diffusion_ohm = parameters_.diffusion_mohm * MILLI * health.resistance * diffusion_heat;
    // The capacitors stay as they are, so the time constants follow the resistances.
    now.transfer_decay = exp_of(-step_s / (parameters_.transfer_tau_s * transfer_heat * health.resistance));
    now.diffusion_decay =
        exp_of(-step_s / (parameters_.diffusion_tau_s * diffusion_heat * health.resistance));
    now.capacity_as = parameters_.capacity_mah * MILLI * SECONDS_PER_HOUR * health.capacity;
    now.step_s = step_s;
    return now;
}

// Heat: what the resistances burn, and the reversible part i T dU/dT (D. Bernardi, E. Pawlikowski and
// J. Newman, "A general energy balance for battery systems", Journal of the Electrochemical Society 132,
// 1985), both taken from the start of the step for the pairs.
double cell::advance(cell_state& state, const circuit& during, double current_a, double temperature_c) const {
    const double heat_w = current_a * current_a * during.series_ohm +
                          state.transfer_v * state.transfer_v / during.transfer_ohm +
                          state.diffusion_v * state.diffusion_v / during.diffusion_ohm +
                          current_a * (temperature_c + KELVIN) * ENTROPY_V_PER_K;
    const double into_cell_a = current_a - parameters_.leakage_ua * 1e-6;
    state.soc += into_cell_a * during.step_s / during.capacity_as;
    state.transfer_v = state.transfer_v * during.transfer_decay +
                       current_a * during.transfer_ohm * (1 - during.transfer_decay);
    state.diffusion_v = state.diffusion_v * during.diffusion_decay +
                        current_a * during.diffusion_ohm * (1 - during.diffusion_decay);
    return heat_w;
}

}  // namespace lab::phone
