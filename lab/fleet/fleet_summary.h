// fleet_summary: what a fleet's rows come to: shares over time, bands, causes, what mattered, who is unusual.
#pragma once

#include <string>
#include <vector>

#include "lab/fleet/population.h"
#include "lab/fleet/results.h"
#include "lab/fleet/statistics.h"
#include "lab/state/stress_table.h"

namespace lab {

// The phones of one kind of a group, or all of them (both names empty).
struct kind_curve {
    std::string group, kind;
    std::vector<curve_point> curve;  // share not yet lowered, at summary::days
    std::uint64_t phones = 0;
};

// A figure at the same moments as the curves: 5, 25, 50, 75 and 95 of 100 phones are below.
struct band_point {
    double day = 0;
    std::array<double, 5> at{};
};

struct stop_cause {
    std::string name;
    share phones;      // that it happened to
    double hours = 0;  // of a year, in the mean of those
};

struct key_influence {
    std::string key;
    // With the time to the first trip: negative means earlier where it is larger. Nothing when no phone was lowered.
    std::optional<double> rank;
    std::optional<double> stress;  // with the stress hours at the end, which every phone has
};

struct unusual_phone {
    std::uint64_t number = 0;
    std::string kinds;  // "hot, courier"
    std::string why;
};

struct fleet_summary {
    std::string title;
    std::uint64_t phones = 0;
    double effective = 0;
    double span_days = 0;
    std::array<std::uint64_t, phone_status_names.size()> by_status{};
    bool has_departures = false;  // some were watched for less than the span
    std::vector<double> days;     // of the curves; the last one is the span
    std::vector<kind_curve> curves;
    share lowered;
    std::vector<band_point> stress, capacity;
    stress_hours_table hours{};  // weighted mean of a phone
    std::vector<stop_cause> causes;
    std::vector<key_influence> influences;  // the strongest first
    std::vector<unusual_phone> unusual;
};

fleet_summary summarise_fleet(results& from, const population& of);

}  // namespace lab
