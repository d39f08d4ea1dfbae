// What every metrics record means: when it is emitted, and each field's unit and meaning.
//
// The names, types and order of the fields come from util/record_index.h; lab/records/record_schema.cpp
// does not compile when a record there has no note here or its fields differ.
#pragma once

#include <cstddef>
#include <string_view>

namespace lab {

constexpr std::size_t MOST_FIELDS = 16;  // in one record, the version left out

struct field_note {
    std::string_view name;
    std::string_view unit;  // empty for codes, flags, counts and names
    std::string_view meaning;
};

struct record_note {
    std::string_view when;
    field_note fields[MOST_FIELDS];
};

namespace note {

inline constexpr record_note stress_trip_refused = {
    "The stress hours ask for a lower stress trip than the one in force, which stays.", {}};

inline constexpr record_note stress_entry_rejected = {
    "A bucket of the stress table is out of range and is set to 0.",
    {{"v", "", "voltage band (row)"},
     {"t", "", "temperature band (column)"},
     {"val", "h", "the hours that were thrown away"}}};

inline constexpr record_note stress_offline_hours = {
    "At start-up, and when a later hourly write makes good the time off that start-up could not tell.",
    {{"time", "h", "time off; -1 when the clocks cannot tell"},
     {"init", "", "1 at start-up, 0 later"},
     {"retry", "", "1 while the time off is still to be found out"},
     {"batt_volt", "mV", "voltage the hours are credited to; 2147483647 unreadable"},
     {"batt_temp", "m°C", "temperature the hours are credited to; 2147483647 unreadable"}}};

inline constexpr record_note stress_start = {
    "At start-up, after the stress trip has been set.",
    {{"table_valid", "", "1 when the stress table's file could be opened"},
     {"stress_hours", "h", "stress hours, mock offset included"},
     {"stress_trip", "", "derating step in force afterwards"},
     {"set_prop", "", "0 done, 1 not applied, 2 refused"}}};

inline constexpr record_note stress_table_written = {
    "Every hour, when the stress table is written to its file.",
    {{"flush_status", "", "0 written, 1 failed"}}};

inline constexpr record_note stress_evaluated = {"Every 48 hours of running.",
                                                 {{"stress_hours", "h", "stress hours, mock offset included"},
                                                  {"stress_trip", "", "derating step in force afterwards"},
                                                  {"set_prop", "", "0 done, 1 not applied, 2 refused"}}};

inline constexpr record_note precharge_trackers_updated = {
    "At start-up, when the boot loader's precharge has been added to the lifetime files.",
    {{"counter", "", "precharge events over the battery's life"},
     {"timer_s", "s", "precharge time over the battery's life"}}};

inline constexpr record_note precharge_flag_raised = {
    "At start-up, when a precharge fault newly disables charging.", {{"flag", "", "always 1"}}};

inline constexpr record_note precharge_event = {
    "At start-up, when the boot loader precharged or flagged a fault.",
    {{"fault_trip", "", "1 when the boot loader flagged a fault"},
     {"precharge_timer_s", "s", "precharge time of this boot"},
     {"last_batt_volt_mv", "mV", "voltage last saved before the device went off"},
     {"discharge_volt_mv", "mV", "voltage estimated at the end of the time off"},
     {"discharge_rate_uv", "µV/h", "rate of that estimate"}}};

inline constexpr record_note charge_period_ended = {
    "The charger has been away for a minute.",
    {{"charge_timer_s", "s", "length of the charge period, that minute included"},
     {"threshold_s", "s", "deadline after its start; 0 never computed"},
     {"discharge_timer_s", "s", "time without the charger"},
     {"min_curr_ua", "µA", "least current a deadline was computed for; 9223372036854775807 none"},
     {"final_soc", "%", "capacity as reported"}}};

inline constexpr record_note charge_timer_expired = {
    "A charge period passes its deadline, which disables charging.",
    {{"charge_timer_s", "s", "length of the charge period so far"},
     {"threshold_s", "s", "deadline after its start"},
     {"min_curr_ua", "µA", "least current a deadline was computed for; 9223372036854775807 none"},
     {"final_soc", "%", "capacity as reported"}}};

inline constexpr record_note pulldown_daily = {
    "Every day of a watch for days on the charger.",
    {{"pulldown_timer_s", "s", "since the watch began"},
     {"pulldown_flag", "", "1 while the lower voltage is requested"}}};

inline constexpr record_note pulldown_watch_ended = {
    "The charger was away for an hour, or the battery fell to 4000 mV.",
    {{"pulldown_timer_s", "s", "since the watch began"},
     {"discharge_timer_s", "s", "time without the charger; 0 when the voltage ended it"},
     {"chg_sts", "", "battery status code"},
     {"batt_volt_mv", "mV", "battery voltage"}}};

inline constexpr record_note pulldown_applied = {
    "The watch passes its threshold and asks for 4250 mV, again in every cycle until that is granted.",
    {{"pulldown_timer_s", "s", "since the watch began"},
     {"chg_sts", "", "battery status code"},
     {"batt_volt_mv", "mV", "battery voltage"}}};

inline constexpr record_note short_fault_detected = {
    "The voltage has dipped while charging near full, as with an internal short.",
    {{"v_mv", "mV", "battery voltage"},
     {"v_max_mv", "mV", "highest voltage seen before"},
     {"v_dip_th_mv", "mV", "dip that makes a fault"},
     {"sec_since_max", "s", "since the highest voltage"},
     {"curr_ma", "mA", "battery current"}}};

inline constexpr record_note short_active_ended = {
    "The short detector stops watching.",
    {{"v_accum_min", "mV", "what was left of the dip allowance at its lowest"},
     {"v_dip_th", "mV", "dip that makes a fault"}}};

inline constexpr record_note short_fault_cleared = {"The short detector stops watching after a fault.",
                                                    {{"v_mv", "mV", "battery voltage"},
                                                     {"v_max_mv", "mV", "highest voltage seen before"},
                                                     {"curr_ma", "mA", "battery current"}}};

inline constexpr record_note topoff_set = {"The battery is full at 100 %.",
                                           {{"v_mv", "mV", "battery voltage"}}};

inline constexpr record_note topoff_cleared = {
    "A full battery has sunk by 200 mV, or its charger or the samples stayed away for a minute.",
    {{"v_mv", "mV", "battery voltage"},
     {"v_reset_mv", "mV", "voltage that ends the full state"},
     {"dur_s", "s", "length of the full state"}}};

inline constexpr record_note soc_landed = {
    "The estimated charge lands on 100 % as the charge current tails off.",
    {{"soc_scal", "m%", "scaled state of charge, one cycle earlier"},
     {"soc_land", "m%", "state of charge on the landing line"},
     {"soc_ext", "m%", "state of charge shown by the system"},
     {"v_mv", "mV", "battery voltage"},
     {"i_avg_ma", "mA", "average current"},
     {"i_targ_ma", "mA", "average current below which the landing is done: 80 % of that at its threshold"},
     {"soc_off", "m%", "offset carried from the landing"}}};

inline constexpr record_note soc_parameters = {
    "Once a day, and when the shown charge falls to 2 % or rises to 98 %.",
    {{"soc_v", "m%", "from the open-circuit voltage"},
     {"soc_c", "m%", "from counted charge"},
     {"soc_raw", "m%", "the two blended"},
     {"soc_scal", "m%", "scaled between bottom and top of charge"},
     {"soc_ext", "m%", "shown by the system"},
     {"soc_act", "m%", "after the landing"},
     {"soc_smooth", "m%", "after smoothing"},
     {"soc_past", "m%", "smoothed value of some ten minutes ago; -1 not known"},
     {"soc_ui", "%", "for display"},
     {"chg_sts", "", "battery status code"},
     {"chg_sts_sec", "s", "since that status began"},
     {"dcr", "0.1 mΩ", "cell resistance as adapted"},
     {"qmax", "C", "cell capacity as adapted"},
     {"vend", "", "cell vendor"},
     {"err_flags", "",
      "1 bad inputs, 4 no display value, 8 write failed, 16 file not used, 64 no battery record"},
     {"num_aborts", "", "cycles given up since start"}}};

inline constexpr record_note thermal_released = {"Charging is allowed again after a fast temperature rise.",
                                                 {{"disable_timer_s", "s", "time charging was disabled"},
                                                  {"batt_temp_c", "°C", "battery temperature"},
                                                  {"batt_volt_mv", "mV", "battery voltage"}}};

inline constexpr record_note thermal_event = {
    "The temperature rises fast while charging, which disables charging.",
    {{"charge_timer_s", "s", "since charging began"},
     {"tsum_prev_c", "°C", "sum of the six temperatures of the minute before"},
     {"temp_rise_c", "°C", "rise of that sum within a minute"},
     {"t0", "°C", "first of the six temperatures"},
     {"t1", "°C", "second"},
     {"t2", "°C", "third"},
     {"t3", "°C", "fourth"},
     {"t4", "°C", "fifth"},
     {"t5", "°C", "last"},
     {"batt_volt_mv", "mV", "battery voltage"},
     {"batt_curr_a", "mA", "battery current (milliamperes, whatever the name says)"}}};

inline constexpr record_note thermal_charge_ended = {
    "Charging ends while the temperature is watched.",
    {{"temp_rise_max_c", "°C", "greatest rise of the six-temperature sum; 0 before the second minute"},
     {"curr_max_ma", "mA", "highest current"}}};

}  // namespace note
}  // namespace lab
