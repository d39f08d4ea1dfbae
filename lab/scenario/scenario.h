// A scenario: what the phone is made of, what happens to it, and what must hold. Read from TOML
// (docs/scenarios.md); times are seconds since the scenario's start unless said otherwise.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/phone/phone.h"

namespace lab {

enum class screen_state : std::uint8_t { on, off, suspended };
inline constexpr std::array<std::string_view, 3> screen_state_names{"on", "off", "suspended"};

enum class whereabouts : std::uint8_t { indoors, outdoors, pocket, hand };
inline constexpr std::array<std::string_view, 4> whereabouts_names{"indoors", "outdoors", "pocket", "hand"};

// What surrounds the phone for a while.
struct conditions {
    phone::charger_kind charger = phone::charger_kind::none;
    screen_state screen = screen_state::on;  // suspended: the daemon runs no cycles
    double ambient_c = 23;                   // where no weather is given
    whereabouts where = whereabouts::indoors;
    double suspended_mw = 25;  // the load of a suspended phone
    double load_mw = 400;
    double burst_mw = 0;   // the load of a burst
    double burst_pct = 0;  // of the steps are bursts
    // A suspended phone wakes up for so long, so often; 0: not at all.
    std::int64_t wake_every_s = 0;
    std::int64_t wake_for_s = 30;
};

// The air outdoors and what of it is felt.
struct weather_parameters {
    bool is_given = false;
    double mean_c = 10;        // over the year
    double year_swing_c = 9;   // from the mean to the warmest time of the year
    double warmest_day = 200;  // of the year
    double day_swing_c = 4;
    double warmest_hour = 15;
    double noise_c = 3;  // standard deviation from one day to another
    double indoor_least_c = 21;
    double indoor_most_c = 26;
    double pocket_c = 30;         // an assumption; of people's pockets 28 to 32
    std::vector<double> hours_c;  // in place of the swings: the hours of a year from its first on
};

// What the person does with the phone (lab/simulation/person.h). The defaults: an average person.
struct user_parameters {
    bool is_given = false;
    double plug_below_pct = 31;   // below this level they look for a charger
    double plug_chance_pct = 40;  // and find one within the hour
    double topups_per_day = 0.7;  // sessions on the charger on a whim
    double session_min = 40;      // median
    double night_pct = 57;        // of the nights on the charger
    double usb_pct = 8;           // of the sessions and nights
    double wireless_pct = 0;
    double sleep_from_h = 23;
    double sleep_until_h = 7;
    double work_from_h = 9;
    double work_until_h = 17;
    double work_charger_pct = 0;  // of the weekdays, all the time at work
    double screen_h = 3.25;       // a day, mean
    double screen_spread = 0.35;  // of its logarithm, from day to day
    // The loads are those of a phone with a cell of 7500 mAh: twice what the recorded one of 3500 mAh draws.
    double screen_mw = 2400;  // with the screen on
    double burst_mw = 5000;   // and in a burst
    double burst_pct = 15;    // of the cycles with the screen on
    double idle_mw = 350;
    double pocket_h = 7;   // a day
    double outdoor_h = 1;  // likewise
    bool suspends = false;
};

// From this time of day on, on these days, until the next entry; what an entry does not name is as in its
// phase.
struct daily_entry {
    std::int32_t at_s = 0;     // local time of day
    std::uint8_t days = 0x7F;  // bit 0 is Sunday
    conditions set;
};

struct phase {
    std::int64_t begin_s = 0;
    std::int64_t end_s = 0;
    conditions base;
    std::vector<daily_entry> daily;  // in the order of their time of day
};

enum class event_action : std::uint8_t {
    unplug,      // the charger is away
    plug,        // this charger is there
    clock_lost,  // the wall clock counts from 1970 since the boot
    clock_shift,
    node,  // a node reads something else
    fail,  // a platform call fails
    soft_short,
    heater,
    power_cut,  // off for the duration, without warning
    reboot,
    restart,  // of the daemon alone
    mock,     // one of the two test files
};
inline constexpr std::array<std::string_view, 12> event_action_names{
    "unplug",     "plug",   "clock_lost", "clock_shift", "node",    "fail",
    "soft_short", "heater", "power_cut",  "reboot",      "restart", "mock"};

enum class text_kind : std::uint8_t { text, missing, empty, error };
enum class failing_call : std::uint8_t { open, read, write, property_set };
inline constexpr std::array<std::string_view, 4> failing_call_names{"open", "read", "write", "property_set"};

struct scenario_event {
    event_action action = event_action::unplug;
    std::int64_t at_s = 0;
    std::int64_t for_s = 0;    // 0: a moment, or until the end
    std::int64_t every_s = 0;  // 0: once
    phone::charger_kind charger = phone::charger_kind::wall;
    std::string target;  // node name, path, property name or mock file name
    failing_call call = failing_call::write;
    text_kind reads = text_kind::text;
    std::string text;
    double amount = 0;  // ohms, watts
    std::int64_t shift_s = 0;
    std::string what;  // as the timeline shows it
};

// What an expectation looks at.
enum class subject : std::uint8_t { property, file, log, record, decision, cell, series };
inline constexpr std::array<std::string_view, 7> subject_names{"property", "file", "log",   "record",
                                                               "decision", "cell", "series"};

constexpr bool is_counted(subject of) {
    return of == subject::log || of == subject::record || of == subject::decision;
}

struct expectation {
    subject of = subject::property;
    std::string
        name;  // property; file.field; words of a log line or decision; schema id or its beginning; column
    std::optional<std::int64_t> at_s;  // checked after the first cycle at or after it; none: at the end
    std::int64_t since_s = 0;          // counts from here; what holds `throughout` holds from here
    bool is_throughout = false;        // it holds after every cycle from since_s to at_s
    std::optional<std::string> is;
    std::optional<double> min, max;  // also of a count
    std::string where;               // file:line, for the message
};

struct scenario {
    std::string file;
    std::string title;
    std::string time_zone = "UTC";
    std::int64_t start_utc_s = 0;
    phone::chance_key chance;
    std::int32_t cycle_s = 10;  // between two cycles of the daemon
    std::string cell_vendor = "ATL";
    phone::phone_parameters phone;
    weather_parameters weather;
    user_parameters user;
    std::vector<phase> phases;  // end to end, the first from 0
    std::vector<scenario_event> events;
    std::vector<expectation> expectations;
    std::map<std::string, std::string> files;       // initial state files, path to bytes
    std::map<std::string, std::string> properties;  // initial properties

    std::int64_t duration_s() const { return phases.empty() ? 0 : phases.back().end_s; }
};

// Reads a scenario. `overrides` are KEY=VALUE texts (override.h) that replace what the file says. Throws
// input_error: "FILE:LINE:COLUMN: what is wrong; what was probably meant".
scenario read_scenario(const std::string& path, const std::vector<std::string>& overrides = {});
scenario parse_scenario(std::string_view text, const std::string& name,
                        const std::vector<std::string>& overrides = {});

// The reference of all keys as docs/scenarios.md has it, in Markdown.
std::string scenario_reference();
// What an override may replace: "cell.soc_pct".
std::vector<std::string> scenario_key_names();

}  // namespace lab
