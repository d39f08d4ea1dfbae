// phone_row: what became of one phone of a fleet; a row of its results (docs/fleet.md).
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/compare/run_result.h"
#include "lab/fleet/population.h"

namespace lab {

enum class phone_status : std::uint8_t {
    ok,
    crashed,  // the daemon did; what came before counts
    hung,     // was stopped when its time was over
    failed,   // could not be run: out of memory, a phone that never starts
};
inline constexpr std::array<std::string_view, 4> phone_status_names{"ok", "crashed", "hung", "failed"};

// A figure of a phone: its column in the results, and what it is.
struct phone_figure {
    std::string_view name;
    std::string_view meaning;
    bool is_whole;  // a whole number
};
// In the order of phone_row::figures.
enum class figure : std::uint8_t {
    end_day,
    first_trip_day,
    step,
    toc_mv,
    stress_h,
    high_h,
    capacity_left_pct,
    resistance_pct,
    equivalent_cycles,
    timer_expiries,
    timer_stopped_h,
    thermal_stops,
    thermal_stopped_h,
    precharge_stops,
    short_findings,
    plugged_h,
    pulldown_h,
    pulldown_share_pct,
    mean_temp_c,
    estimate_error_pct,
    shown_error_pct,
    boots,
    cycles,
    flash_writes,
    flash_bytes,
};
inline constexpr std::array<phone_figure, 25> phone_figures{{
    {"end_day", "last cycle of the daemon, days since the start", false},
    {"first_trip_day", "top of charge lowered for good for the first time, days; empty: never", false},
    {"step", "permanent steps at the end", true},
    {"toc_mv", "published top of charge at the end, mV", true},
    {"stress_h", "stress hours at the end", false},
    {"high_h", "hours with the cell above 4.3 V", false},
    {"capacity_left_pct", "of the new cell's, at the end", false},
    {"resistance_pct", "of the new cell's, at the end", false},
    {"equivalent_cycles", "charge moved, in full cycles", false},
    {"timer_expiries", "charge timer expired", true},
    {"timer_stopped_h", "charging stopped for that, hours", false},
    {"thermal_stops", "charging stopped by the secondary thermal check", true},
    {"thermal_stopped_h", "for how long, hours", false},
    {"precharge_stops", "charging stopped by a precharge fault", true},
    {"short_findings", "suspicions of a soft short", true},
    {"plugged_h", "hours on a charger with the daemon running", false},
    {"pulldown_h", "hours with a lower top of charge for a phone left on its charger", false},
    {"pulldown_share_pct", "of the hours on a charger", false},
    {"mean_temp_c", "of the cell while the daemon runs", false},
    {"estimate_error_pct", "estimate's mean distance from the true level, %", false},
    {"shown_error_pct", "likewise of the level shown", false},
    {"boots", "of the daemon", true},
    {"cycles", "of the daemon", true},
    {"flash_writes", "write calls to state files", true},
    {"flash_bytes", "bytes they wrote", true},
}};

// How things stood at one of the equally spaced moments of the span.
struct phone_moment {
    double day = 0;
    std::int32_t toc_mv = 0;
    double stress_h = 0;
    double capacity_left_pct = 0;
};

struct phone_trip {
    double day = 0;
    std::int32_t step = 0;
    std::int32_t toc_mv = 0;
    double stress_h = 0;
};

struct phone_row {
    std::uint64_t number = 0;
    double weight = 1;
    phone_status status = phone_status::ok;
    std::string error;                 // of one that is not ok
    std::vector<std::string> options;  // its kind in each group
    std::vector<std::string>
        drawn;  // text of each drawn key, in the order of population::drawn_paths; empty: none
    std::array<std::optional<double>, phone_figures.size()> figures;
    std::vector<phone_trip> trips;
    std::vector<phone_moment> moments;
    std::string histogram;  // the daemon's, as its file has it
    std::string events_digest, cycles_digest;

    // Of the machine, not of the phone.
    double host_s = 0;
    std::int64_t memory_kb = 0;
    bool is_proved = false;  // was run twice, with the same end

    std::optional<double>& operator[](figure which) { return figures[static_cast<std::size_t>(which)]; }
    const std::optional<double>& operator[](figure which) const {
        return figures[static_cast<std::size_t>(which)];
    }
};

// What is known of a phone before it runs.
phone_row row_of(const population& of, const phone_plan& plan);

// Runs it in this process. Does not throw for what the phone or the daemon does.
phone_row run_phone(const population& of, std::uint64_t number);

// To another process and back.
std::string packed(const phone_row& row);
phone_row unpacked_row(const std::string& text);

// Moments of a row within a span.
std::size_t moments_in(std::int64_t span_s);

}  // namespace lab
