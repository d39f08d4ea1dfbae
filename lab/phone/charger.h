// The charger: constant current, then constant voltage at the top-of-charge voltage that the daemon
// publishes, down to a cut-off current; then it rests until the voltage has fallen by a threshold.
//
//   current |------------.                        voltage         .-------------- top of charge
//           |             \  constant voltage             .------'
//           | constant     '-.                       .---'
//           | current         '---. cut-off       .-'                (then Full)
//
// The phone's load is fed first. Where the input gives less than the load needs, the battery helps, and the
// status is still "Charging", as a kernel reports it that knows only that a charger is there and enabled.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "lab/phone/cell.h"

namespace lab::phone {

enum class charger_kind : std::uint8_t { none, usb, wall, wireless };
inline constexpr std::array<std::string_view, 4> charger_kind_names{"none", "usb", "wall", "wireless"};

// What the charger does with a battery above the top-of-charge voltage: leave it at rest, or take no input
// until the phone has drawn it down.
enum class above_top : std::uint8_t { rest, discharge };
inline constexpr std::array<std::string_view, 2> above_top_names{"rest", "discharge"};

// As the daemon numbers them.
enum class charge_status : std::uint8_t { unknown, charging, discharging, not_charging, full };
inline constexpr std::array<std::string_view, 5> charge_status_texts{"Unknown", "Charging", "Discharging",
                                                                     "Not charging", "Full"};

struct charger_parameters {
    double wall_ma = 3000;                // into the battery
    double wall_mw = 18000;               // from the wall
    double usb_ma = 500;                  // into the battery
    double usb_mw = 2500;                 // from the port
    double efficiency_pct = 85;           // of what is drawn, the rest is heat
    double wireless_ma = 1500;            // into the battery
    double wireless_mw = 10000;           // into the phone's coil
    double wireless_efficiency_pct = 75;  // of that
    double default_toc_mv = 4450;         // while the property is not set or no number
    double highest_toc_mv = 4450;         // a published voltage above is limited to this
    double cutoff_ma = 375;               // constant voltage ends below this: a twentieth of the capacity
    double recharge_mv = 100;             // below the top of charge
    double weak_below_mv = 3000;          // a battery below gets the weak current only
    double weak_ma = 300;
    double rest_ma = 5;  // that a resting battery still gives: gauge, peaks the input does not follow
    // Limits by temperature, in the manner of the JEITA guideline for notebook computers (2007).
    double cold_stop_c = 0;  // no charging below
    double cool_below_c = 10;
    double cool_share_pct = 40;  // of the current, between the two
    // A phone keeps itself from getting hot to the hand: less and less current from here on, down to a tenth
    // four degrees above. 37 to 38 °C is where the recorded phone stays in a fast charge.
    double gentle_above_c = 36;
    double warm_above_c = 45;
    double warm_toc_mv = 4200;  // at most, between warm and hot
    double hot_stop_c = 60;     // no charging above
    above_top above_toc = above_top::discharge;
    bool obeys = true;  // false: the daemon's two properties change nothing
};

struct charger_state {
    bool is_full = false;
    bool is_drawing_down = false;
    std::int32_t tapered_s = 0;  // for how long the current has been below the cut-off
};

// What the daemon and the phone ask of it.
struct charge_request {
    charger_kind kind = charger_kind::none;
    double toc_mv = 0;  // published; not positive: none
    bool is_disabled = false;
    double load_w = 0;
};

struct charge_flow {
    double current_a = 0;  // into the battery, as its gauge sees it
    double loss_w = 0;     // heat of the charger
    charge_status status = charge_status::discharging;
};

// Charging is allowed at this temperature, whoever is in charge of it.
inline bool may_charge(const charger_parameters& parameters, double temperature_c) {
    return temperature_c >= parameters.cold_stop_c && temperature_c <= parameters.hot_stop_c;
}

// Heat of the charger while it delivers this power to battery and phone.
double loss_w(const charger_parameters& parameters, charger_kind kind, double delivered_w);

// What flows during one step.
charge_flow flow_of(const charger_parameters& parameters, charger_state& state, const charge_request& wanted,
                    const circuit& battery, const cell_state& battery_state, double temperature_c);

}  // namespace lab::phone
