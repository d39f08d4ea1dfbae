// The phone: cell, ageing, heat, charger and gauge moved forward together. Knows no daemon and no scenario;
// it is told what surrounds it and what it is ordered to do, step by step.
#pragma once

#include <cstdint>

#include "lab/phone/ageing.h"
#include "lab/phone/cell.h"
#include "lab/phone/chance.h"
#include "lab/phone/charger.h"
#include "lab/phone/gauge.h"
#include "lab/phone/thermal.h"

namespace lab::phone {

struct power_parameters {
    double power_off_mv = 3300;  // the phone switches off when the battery's voltage is below
    double off_ua = 80;          // drawn while it is off
    double boot_at_mv = 3450;    // on a charger it starts once the resting battery is above
    double boot_s = 40;          // from power-on or reboot to the daemon's start
    double restart_s = 5;        // from the daemon's end to its next start, the phone staying up
    // The boot loader charges a deeply empty battery with a weak current, and calls it a fault when that
    // takes too long.
    double precharge_below_mv = 3000;
    double precharge_ma = 250;
    double precharge_limit_s = 3600;  // a fault when it has precharged for longer
    double off_charge_ma = 800;       // above that voltage, until it boots
};

struct phone_parameters {
    cell_parameters cell;
    thermal_parameters thermal;
    charger_parameters charger;
    gauge_parameters gauge;
    power_parameters power;
    ageing_parameters ageing;
    // What the cell has behind it at the start: so long at a voltage and a temperature, so many full cycles.
    double age_days = 0;
    double age_cycles = 0;
    double age_mv = 3900;
    double age_c = 25;
};

struct surroundings {
    charger_kind charger = charger_kind::none;
    double ambient_c = 23;
    double load_w = 0.4;
    double burst_w = 0;    // load in a burst, in place of load_w
    double burst_pct = 0;  // of the steps are bursts
    double short_ohm = 0;  // a soft short across the cell, past the gauge; 0: none
    double heater_w = 0;   // heat from outside the model
};

struct orders {
    double toc_mv = 0;  // the published top-of-charge voltage; not positive: none
    bool is_charging_disabled = false;
};

// Everything that changes; trivially copyable, so that it crosses boots as bytes.
struct phone_state {
    cell_state cell;
    ageing_state ageing;
    charger_state charger;
    thermal_state heat;
    double load_w = 0;  // of the last step
    double terminal_v = 0;
    charge_flow flow;
    double throughput_mah = 0;  // in both directions together
    double highest_toc_v = 0;   // what the charger holds at most
    std::int64_t precharge_s = 0;
};

class model {
  public:
    model(const phone_parameters& parameters, double ambient_c, const chance_key& chance);

    // One step of 1 to 60 seconds from the simulated second `at_s` on, with the phone on.
    void advance(std::int64_t at_s, double step_s, const surroundings& around, const orders& given);
    // One step with the phone off: the boot loader charges where a charger is.
    void advance_off(double step_s, const surroundings& around);

    bool is_empty() const {
        return state_.terminal_v * 1000 < parameters_.power.power_off_mv || cell_.is_cut_off(state_.cell);
    }
    bool can_boot() const { return resting_v() * 1000 >= parameters_.power.boot_at_mv; }
    void forget_precharge() { state_.precharge_s = 0; }
    bool has_precharge_fault() const {
        return static_cast<double>(state_.precharge_s) > parameters_.power.precharge_limit_s;
    }

    // A measurement at that second.
    readings look(std::int64_t at_s, const surroundings& around) const;

    const cell& battery() const { return cell_; }
    const phone_state& state() const { return state_; }
    void set_state(const phone_state& state) { state_ = state; }
    // The level that the gauge shows, %, but for its noise.
    double shown_pct() const { return shown_level_pct(parameters_.gauge, state_.cell.soc); }
    double temperature_c() const { return state_.heat.battery_c; }
    double ocv_v() const { return cell_.ocv_v(state_.cell.soc, temperature_c()); }
    double resting_v() const { return ocv_v() + state_.cell.transfer_v + state_.cell.diffusion_v; }
    double capacity_mah() const;

  private:
    double load_w_at(std::int64_t at_s, const surroundings& around) const;
    double off_current_a(double step_s, const circuit& during, charger_kind charger);
    void settle(const circuit& during, double current_a, double other_heat_w, const surroundings& around);
    void warm(double step_s, double heat_w, double ambient_c);

    phone_parameters parameters_;
    chance_key chance_;
    cell cell_;
    ageing ageing_;
    thermal_step warming_;  // for steps as long as the last one
    phone_state state_;
};

}  // namespace lab::phone
