#include "lab/scenario/keys.h"

#include <array>

namespace lab {

namespace {

using phone::ageing_parameters;
using phone::cell_parameters;
using phone::charger_parameters;
using phone::gauge_parameters;
using phone::phone_parameters;
using phone::power_parameters;
using phone::thermal_parameters;

constexpr std::array POWER{
    key<power_parameters>{"power_off_mv", &power_parameters::power_off_mv, 2000, 4400,
                          "battery voltage below which the phone switches off, mV"},
    key<power_parameters>{"boot_at_mv", &power_parameters::boot_at_mv, 2000, 4400,
                          "resting voltage from which an empty phone on a charger starts, mV"},
    key<power_parameters>{"off_ua", &power_parameters::off_ua, 0, 1e6, "drawn while it is off, µA"},
    key<power_parameters>{"boot_s", &power_parameters::boot_s, 1, 3600,
                          "from power-on or reboot to the daemon's start, s"},
    key<power_parameters>{"restart_s", &power_parameters::restart_s, 1, 3600,
                          "from the daemon's end to its next start when only it restarts, s"},
};

constexpr std::array BOOT_LOADER{
    key<power_parameters>{"precharge_below_mv", &power_parameters::precharge_below_mv, 0, 4400,
                          "resting voltage below which the boot loader precharges, mV"},
    key<power_parameters>{"precharge_ma", &power_parameters::precharge_ma, 1, 4000, "its current, mA"},
    key<power_parameters>{"precharge_limit_s", &power_parameters::precharge_limit_s, 0, 1e6,
                          "it flags a fault when it precharges for longer, s"},
    key<power_parameters>{"off_charge_ma", &power_parameters::off_charge_ma, 1, 4000,
                          "current from there until the phone starts, mA"},
};

constexpr std::array CELL{
    key<cell_parameters>{"capacity_mah", &cell_parameters::capacity_mah, 100, 20000, "of the new cell, mAh"},
    key<cell_parameters>{"soc_pct", &cell_parameters::soc_pct, -2, 105,
                         "true state of charge at the start, %"},
    key<cell_parameters>{
        "curve",
        choice_in<cell_parameters, phone::cell_curve, &cell_parameters::curve>(phone::cell_curve_names), 0, 0,
        "open-circuit voltage: its own, or exactly that of the daemon's table"},
    key<cell_parameters>{"ocv_shift_mv", &cell_parameters::ocv_shift_mv, -300, 300,
                         "added to the whole curve, mV"},
    key<cell_parameters>{"series_mohm", &cell_parameters::series_mohm, 1, 1000,
                         "series resistance at 25 °C when new, mΩ"},
    key<cell_parameters>{"transfer_mohm", &cell_parameters::transfer_mohm, 0.1, 1000,
                         "resistance of the fast RC pair, likewise, mΩ"},
    key<cell_parameters>{"transfer_tau_s", &cell_parameters::transfer_tau_s, 0.1, 1e5,
                         "its time constant, s"},
    key<cell_parameters>{"diffusion_mohm", &cell_parameters::diffusion_mohm, 0.1, 1000,
                         "resistance of the slow RC pair, likewise, mΩ"},
    key<cell_parameters>{"diffusion_tau_s", &cell_parameters::diffusion_tau_s, 0.1, 1e5,
                         "its time constant, s"},
    key<cell_parameters>{"leakage_ua", &cell_parameters::leakage_ua, 0, 1e6,
                         "self-discharge at 25 °C and 50 %, µA"},
    key<cell_parameters>{"protect_mv", &cell_parameters::protect_mv, 1000, 3200,
                         "the pack's protection opens at this resting voltage and the curve ends, mV"},
};

constexpr std::array AGE{
    key<phone_parameters>{"age_days", &phone_parameters::age_days, 0, 36500,
                          "age of the cell at the start, days"},
    key<phone_parameters>{"age_cycles", &phone_parameters::age_cycles, 0, 10000,
                          "cycles between full and empty that it has behind it"},
    key<phone_parameters>{"age_mv", &phone_parameters::age_mv, 3000, 4500,
                          "voltage at which it spent that age, mV"},
    key<phone_parameters>{"age_c", &phone_parameters::age_c, -20, 60, "temperature, °C"},
};

constexpr std::array AGEING{
    key<ageing_parameters>{"time_pct", &ageing_parameters::time_pct, 0, 50,
                           "capacity lost in the first year at 25 °C and 4.2 V, %"},
    key<ageing_parameters>{"time_per_v", &ageing_parameters::time_per_v, 0, 10,
                           "natural logarithm of that loss, per volt"},
    key<ageing_parameters>{"time_kj_per_mol", &ageing_parameters::time_kj_per_mol, 0, 150,
                           "its activation energy, kJ/mol"},
    key<ageing_parameters>{"use_pct", &ageing_parameters::use_pct, 0, 100,
                           "capacity lost in a thousand cycles between full and empty, %"},
    key<ageing_parameters>{"resistance_gain", &ageing_parameters::resistance_gain, 0, 20,
                           "the resistance grows by so much of what the capacity has lost"},
};

constexpr std::array THERMAL{
    key<thermal_parameters>{"heat_capacity_j_per_k", &thermal_parameters::heat_capacity_j_per_k, 1, 1e5,
                            "of the battery and the board, J/K"},
    key<thermal_parameters>{"case_capacity_j_per_k", &thermal_parameters::case_capacity_j_per_k, 1, 1e6,
                            "of the case and what lies around it, J/K"},
    key<thermal_parameters>{"resistance_k_per_w", &thermal_parameters::resistance_k_per_w, 0.01, 1000,
                            "from the battery to the ambient air, K/W"},
    key<thermal_parameters>{"case_share_pct", &thermal_parameters::case_share_pct, 1, 99,
                            "of that resistance between the case and the air, %"},
    key<thermal_parameters>{"load_share_pct", &thermal_parameters::load_share_pct, 0, 100,
                            "of the phone's load that heats the battery, %"},
    key<thermal_parameters>{"charger_share_pct", &thermal_parameters::charger_share_pct, 0, 100,
                            "of the charger's loss that does, %"},
    key<thermal_parameters>{"zone_k_per_w", &thermal_parameters::zone_k_per_w, 0, 1000,
                            "thermal zone 6 above the battery, K per W of load"},
};

constexpr std::array CHARGER{
    key<charger_parameters>{"wall_ma", &charger_parameters::wall_ma, 1, 10000,
                            "current of the wall charger into the battery, mA"},
    key<charger_parameters>{"wall_mw", &charger_parameters::wall_mw, 1, 1e5, "its power, mW"},
    key<charger_parameters>{"usb_ma", &charger_parameters::usb_ma, 1, 10000,
                            "current of the slow charger into the battery, mA"},
    key<charger_parameters>{"usb_mw", &charger_parameters::usb_mw, 1, 1e5, "its power, mW"},
    key<charger_parameters>{"efficiency_pct", &charger_parameters::efficiency_pct, 1, 100,
                            "of the power drawn, the rest is heat, %"},
    key<charger_parameters>{"wireless_ma", &charger_parameters::wireless_ma, 1, 10000,
                            "current of the wireless charger into the battery, mA"},
    key<charger_parameters>{"wireless_mw", &charger_parameters::wireless_mw, 1, 1e5,
                            "its power into the phone's coil, mW"},
    key<charger_parameters>{"wireless_efficiency_pct", &charger_parameters::wireless_efficiency_pct, 1, 100,
                            "of that, the rest is heat, %"},
    key<charger_parameters>{"default_toc_mv", &charger_parameters::default_toc_mv, 3000, 5000,
                            "top-of-charge voltage while the property is not set, mV"},
    key<charger_parameters>{"highest_toc_mv", &charger_parameters::highest_toc_mv, 3000, 5000,
                            "that it never exceeds, mV"},
    key<charger_parameters>{"cutoff_ma", &charger_parameters::cutoff_ma, 1, 5000,
                            "full below this current at constant voltage, for a minute, mA"},
    key<charger_parameters>{"recharge_mv", &charger_parameters::recharge_mv, 1, 2000,
                            "charges again this far below the top of charge, mV"},
    key<charger_parameters>{"weak_below_mv", &charger_parameters::weak_below_mv, 0, 4400,
                            "weak current below this resting voltage, mV"},
    key<charger_parameters>{"weak_ma", &charger_parameters::weak_ma, 1, 5000, "the weak current, mA"},
    key<charger_parameters>{"rest_ma", &charger_parameters::rest_ma, 0, 1000,
                            "what a resting battery on the charger still gives, mA"},
    key<charger_parameters>{"cold_stop_c", &charger_parameters::cold_stop_c, -100, 100,
                            "no charging below, °C"},
    key<charger_parameters>{"cool_below_c", &charger_parameters::cool_below_c, -100, 100,
                            "less current below, °C"},
    key<charger_parameters>{"cool_share_pct", &charger_parameters::cool_share_pct, 0, 100,
                            "of the current, between the two, %"},
    key<charger_parameters>{"gentle_above_c", &charger_parameters::gentle_above_c, -100, 200,
                            "less and less current above, a tenth four degrees further, °C"},
    key<charger_parameters>{"warm_above_c", &charger_parameters::warm_above_c, -100, 200,
                            "lower voltage above, °C"},
    key<charger_parameters>{"warm_toc_mv", &charger_parameters::warm_toc_mv, 3000, 5000, "that voltage, mV"},
    key<charger_parameters>{"hot_stop_c", &charger_parameters::hot_stop_c, -100, 200,
                            "no charging above, °C"},
    key<charger_parameters>{
        "above_toc",
        choice_in<charger_parameters, phone::above_top, &charger_parameters::above_toc>(
            phone::above_top_names),
        0, 0, "a battery above the top of charge is left at rest, or drawn down by taking no input"},
    key<charger_parameters>{"obeys", &charger_parameters::obeys, 0, 0,
                            "false: the daemon's properties change nothing"},
};

constexpr std::array GAUGE{
    key<gauge_parameters>{"voltage_noise_mv", &gauge_parameters::voltage_noise_mv, 0, 1000,
                          "standard deviation, mV"},
    key<gauge_parameters>{"voltage_step_uv", &gauge_parameters::voltage_step_uv, 1, 1e6, "resolution, µV"},
    key<gauge_parameters>{"voltage_offset_mv", &gauge_parameters::voltage_offset_mv, -1000, 1000,
                          "added to the voltage, mV"},
    key<gauge_parameters>{"current_noise_ma", &gauge_parameters::current_noise_ma, 0, 1000,
                          "standard deviation, mA"},
    key<gauge_parameters>{"current_step_ua", &gauge_parameters::current_step_ua, 1, 1e6, "resolution, µA"},
    key<gauge_parameters>{"current_offset_ma", &gauge_parameters::current_offset_ma, -1000, 1000,
                          "added to the current, mA"},
    key<gauge_parameters>{"temperature_noise_c", &gauge_parameters::temperature_noise_c, 0, 50,
                          "standard deviation, °C"},
    key<gauge_parameters>{"soc_noise_pct", &gauge_parameters::soc_noise_pct, 0, 50,
                          "standard deviation of its own state of charge, %"},
    key<gauge_parameters>{"soc_offset_pct", &gauge_parameters::soc_offset_pct, -100, 100,
                          "added to it: a gauge that lies, %"},
    key<gauge_parameters>{"empty_soc_pct", &gauge_parameters::empty_soc_pct, -2, 50,
                          "true state of charge that it calls 0 %, %"},
    key<gauge_parameters>{"full_soc_pct", &gauge_parameters::full_soc_pct, 51, 105, "that it calls 100 %, %"},
};

constexpr std::array CONDITIONS{
    key<conditions>{
        "charger",
        choice_in<conditions, phone::charger_kind, &conditions::charger>(phone::charger_kind_names), 0, 0,
        "what the phone is plugged into"},
    key<conditions>{"screen", choice_in<conditions, screen_state, &conditions::screen>(screen_state_names), 0,
                    0, "a suspended phone runs no cycles"},
    key<conditions>{"ambient_c", &conditions::ambient_c, -60, 120,
                    "temperature of the air where there is no `[weather]`, °C"},
    key<conditions>{"where", choice_in<conditions, whereabouts, &conditions::where>(whereabouts_names), 0, 0,
                    "by `[weather]`; in a hand it is midway between the air and a pocket"},
    key<conditions>{"suspended_mw", &conditions::suspended_mw, 0, 20000,
                    "what it draws while it is suspended, mW"},
    key<conditions>{"load_mw", &conditions::load_mw, 0, 20000, "what the phone draws, mW"},
    key<conditions>{"burst_mw", &conditions::burst_mw, 0, 20000, "what it draws in a burst, mW"},
    key<conditions>{"burst_pct", &conditions::burst_pct, 0, 100, "of the cycles that are bursts, %"},
    key<conditions>{"wake_every", seconds_of<conditions>{&conditions::wake_every_s}, 0, 0,
                    "how often a suspended phone wakes up; 0: not at all"},
    key<conditions>{"wake_for", seconds_of<conditions>{&conditions::wake_for_s}, 0, 0, "for how long"},
};

constexpr std::array WEATHER{
    key<weather_parameters>{"mean_c", &weather_parameters::mean_c, -60, 60, "outdoors, over the year, °C"},
    key<weather_parameters>{"year_swing_c", &weather_parameters::year_swing_c, 0, 60,
                            "from the mean to the warmest time of the year, K"},
    key<weather_parameters>{"warmest_day", &weather_parameters::warmest_day, 0, 366, "of the year"},
    key<weather_parameters>{"day_swing_c", &weather_parameters::day_swing_c, 0, 40,
                            "from the day's mean to its warmest hour, K"},
    key<weather_parameters>{"warmest_hour", &weather_parameters::warmest_hour, 0, 24, "of the day"},
    key<weather_parameters>{"noise_c", &weather_parameters::noise_c, 0, 20,
                            "standard deviation from one day to another, K"},
    key<weather_parameters>{"indoor_least_c", &weather_parameters::indoor_least_c, -60, 60,
                            "it is never colder indoors, °C"},
    key<weather_parameters>{"indoor_most_c", &weather_parameters::indoor_most_c, -60, 60, "nor warmer, °C"},
    key<weather_parameters>{"pocket_c", &weather_parameters::pocket_c, -60, 60, "in a pocket, °C"},
};

constexpr std::array USER{
    key<user_parameters>{"plug_below_pct", &user_parameters::plug_below_pct, 0, 100,
                         "level below which they look for a charger, %"},
    key<user_parameters>{"plug_chance_pct", &user_parameters::plug_chance_pct, 0, 600,
                         "chance of finding one, per hour, %"},
    key<user_parameters>{"topups_per_day", &user_parameters::topups_per_day, 0, 100,
                         "sessions at any level, on average"},
    key<user_parameters>{"session_min", &user_parameters::session_min, 1, 1440,
                         "their median length, minutes"},
    key<user_parameters>{"night_pct", &user_parameters::night_pct, 0, 100, "of the nights on the charger, %"},
    key<user_parameters>{"usb_pct", &user_parameters::usb_pct, 0, 100,
                         "of sessions and nights on the slow charger, %"},
    key<user_parameters>{"wireless_pct", &user_parameters::wireless_pct, 0, 100,
                         "on the wireless charger, %"},
    key<user_parameters>{"sleep_from_h", &user_parameters::sleep_from_h, 0, 24, "hour of the day"},
    key<user_parameters>{"sleep_until_h", &user_parameters::sleep_until_h, 0, 24, "hour of the day"},
    key<user_parameters>{"work_from_h", &user_parameters::work_from_h, 0, 24, "hour of the day, on weekdays"},
    key<user_parameters>{"work_until_h", &user_parameters::work_until_h, 0, 24, "hour of the day"},
    key<user_parameters>{"work_charger_pct", &user_parameters::work_charger_pct, 0, 100,
                         "of the weekdays on a charger at work, %"},
    key<user_parameters>{"screen_h", &user_parameters::screen_h, 0, 20,
                         "hours with the screen on a day, mean"},
    key<user_parameters>{"screen_spread", &user_parameters::screen_spread, 0, 2,
                         "standard deviation of their logarithm"},
    key<user_parameters>{"screen_mw", &user_parameters::screen_mw, 0, 20000, "load with the screen on, mW"},
    key<user_parameters>{"burst_mw", &user_parameters::burst_mw, 0, 20000, "load in a burst, mW"},
    key<user_parameters>{"burst_pct", &user_parameters::burst_pct, 0, 100,
                         "of the cycles with the screen on that are bursts, %"},
    key<user_parameters>{"idle_mw", &user_parameters::idle_mw, 0, 20000, "load with the screen off, mW"},
    key<user_parameters>{"pocket_h", &user_parameters::pocket_h, 0, 24, "hours in a pocket a day"},
    key<user_parameters>{"outdoor_h", &user_parameters::outdoor_h, 0, 24, "hours outdoors a day"},
    key<user_parameters>{"suspends", &user_parameters::suspends, 0, 0,
                         "the phone is suspended while the screen is off"},
};

constexpr std::array HABITS{
    habit{"night charger",
          {.plug_below_pct = 30, .plug_chance_pct = 80, .topups_per_day = 0.3, .night_pct = 92}},
    habit{"desk",
          {.topups_per_day = 0.3, .night_pct = 15, .usb_pct = 30, .work_charger_pct = 90, .screen_h = 2.5}},
    habit{"courier",
          {.plug_below_pct = 40,
           .night_pct = 75,
           .work_from_h = 7,
           .work_until_h = 18,
           .work_charger_pct = 95,
           .screen_h = 9,
           .screen_mw = 1600,
           .burst_mw = 3500,
           .pocket_h = 1,
           .outdoor_h = 3}},
    habit{"drawer",
          {.plug_below_pct = 0,
           .topups_per_day = 0,
           .night_pct = 0,
           .screen_h = 0,
           .pocket_h = 0,
           .outdoor_h = 0,
           .suspends = true}},
};

}  // namespace

const std::span<const key<power_parameters>> power_keys = POWER;
const std::span<const key<power_parameters>> boot_loader_keys = BOOT_LOADER;
const std::span<const key<cell_parameters>> cell_keys = CELL;
const std::span<const key<ageing_parameters>> ageing_keys = AGEING;
const std::span<const key<phone_parameters>> age_keys = AGE;
const std::span<const key<thermal_parameters>> thermal_keys = THERMAL;
const std::span<const key<charger_parameters>> charger_keys = CHARGER;
const std::span<const key<gauge_parameters>> gauge_keys = GAUGE;
const std::span<const key<conditions>> condition_keys = CONDITIONS;
const std::span<const key<weather_parameters>> weather_keys = WEATHER;
const std::span<const key<user_parameters>> user_keys = USER;
const std::span<const habit> habits = HABITS;

}  // namespace lab
