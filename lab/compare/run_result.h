// run_result: what came of one run of the daemon, as data. The terminal, JSON, a comparison, a sweep and whoever
// runs many phones all read this one object.
//
// Moments (`t_s`) are seconds since the run's start: the scenario's own time, or the axis of run_clock in a replay.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "lab/story/story.h"
#include "lab/tally/cost.h"

namespace lab {

// How far a state of charge was from a reference, in percent of the charge between the limit voltages.
struct error_figures {
    std::int64_t samples = 0;
    double mean_pct = 0;            // with its sign: the estimate less the reference
    double mean_magnitude_pct = 0;  // without
    double p95_pct = 0;             // 95 of 100 samples are at most so far off, to 0.01 %
    double greatest_pct = 0;
    double greatest_at_s = 0;
};

struct run_cost {
    std::int64_t cycles = 0;
    std::int64_t log_lines = 0;
    std::int64_t records = 0;
    std::int64_t log_bytes = 0;  // of both
    std::int64_t property_writes = 0;
    std::int64_t file_writes = 0;  // write calls, failed ones included
    std::int64_t failed_writes = 0;
    std::int64_t file_bytes = 0;  // that reached a file
};

// Of a boot, or of the whole run: how things stood at its end, and what came about in it.
struct span_figures {
    std::int64_t boot = 0;  // 0: the whole run
    double begin_s = 0;
    double end_s = 0;
    std::int32_t toc_mv = 0;  // published
    double stress_h = 0;
    double equivalent_cycles = 0;  // of a simulated phone; so are the next two
    std::optional<double> capacity_left_pct;
    std::optional<double> resistance_pct;
    double high_h = 0;                       // the cell was above outcome_meter::HIGH_MV, in this span
    double stopped_h = 0;                    // the daemon asked for charging to be stopped, likewise
    std::optional<error_figures> estimated;  // soc_scal against the reference
    std::optional<error_figures> shown;      // soc_smooth against it
    run_cost cost;
};

// The permanent step of the top of charge went up.
struct stress_step {
    double t_s = 0;
    std::int64_t boot = 0;
    std::int32_t step = 0;
    std::int32_t toc_mv = 0;
    double stress_h = 0;
};

// The daemon kept charging stopped.
struct charge_stop {
    std::string why;  // "charge timer", "secondary thermal", "precharge"
    double begin_s = 0;
    double lasted_s = 0;
    bool is_open = false;  // it still did at the end
};

struct run_decision {
    double t_s = 0;
    decision what;
};

struct run_facts {
    std::string input;  // the file
    std::string title;
    std::string origin;  // "simulation" or "replay"
    std::string time_zone;
    std::uint64_t seed = 0;             // of a simulation
    std::vector<std::string> settings;  // KEY=VALUE, as given with --set
};

enum class run_status : std::uint8_t {
    good,
    unexpected,  // an expectation did not hold
    crashed,     // the daemon did; what came before is told
    failed,      // it could not be run
};

struct run_result {
    static constexpr std::size_t MOST_LISTED = 5000;  // boots and decisions; more are counted

    run_facts about;
    run_status status = run_status::good;
    std::string error;  // of a crash or failure, one line
    std::size_t expected = 0;
    std::vector<std::string> failures;  // one line for each expectation that did not hold
    span_figures whole;
    std::int64_t boot_count = 0;
    std::vector<span_figures> boots;
    std::vector<stress_step> steps;
    std::vector<charge_stop> stops;
    std::vector<run_decision> decisions;
    std::int64_t decision_count = 0;
    std::string reference;  // of the estimate: "phone", "trace", "gauge"; empty: there is none
    std::map<std::string, file_cost> files;  // written, by path
    std::string events_digest;  // of every visible effect, and of the daemon's state in every cycle
    std::string cycles_digest;
    double host_s = 0;  // time it took here
};

}  // namespace lab
