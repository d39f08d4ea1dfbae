// What a recording shows of a device's wiring, gathered row by row in constant memory.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "lab/recordings/trace.h"
#include "lab/session/device_files.h"
#include "lab/wiring/charge_balance.h"
#include "lab/wiring/turn_lags.h"
#include "lab/wiring/value_range.h"

namespace lab {

struct node_facts {
    bool has_column = false;
    std::uint64_t missing = 0;  // rows in which it was not there, or could not be read
    std::uint64_t no_number = 0;
    value_range values;
    std::string example;  // of a text that is no number
};

// How the voltage answers a change of the current, from one sample to the next.
struct voltage_answer {
    double product = 0;  // sum of change of current times change of voltage
    double squared = 0;  // of change of current, µA²
    double voltage_squared = 0;
    std::uint64_t jumps = 0;

    double ohm() const { return squared > 0 ? product / squared : 0; }
    // By how many of its standard errors the resistance differs from none; 0 with fewer than ten jumps.
    double significance() const;
};

struct sample_facts {
    std::uint64_t rows = 0;
    std::int64_t span_s = 0;
    std::array<node_facts, DEVICE_NODES.size()> nodes;
    std::map<std::string, std::uint64_t> statuses;
    std::map<std::string, std::uint64_t> vendors;
    value_range gaps_s;
    std::uint64_t clock_steps = 0;  // wall clock and boot clock part by more than a minute
    std::int64_t largest_step_s = 0;
    std::uint64_t unset_clocks = 0;                   // rows before 2021
    charge_balance by_level{5}, by_counter{100'000};  // %, µAh
    voltage_answer answer;
    std::uint64_t in_rows = 0, out_rows = 0;  // current clearly positive, clearly negative
    turn_lags status_behind_charger;
    // The second of each: if the current's sign is the wrong one.
    std::array<turn_lags, 2> status_behind_current, current_behind_charger;
    std::uint64_t full_rows = 0, full_at_100 = 0;

    const node_facts& node(std::string_view name) const;
};

// Reads the trace to its end. `current_factor` is multiplied into the current: 1, or what the user assumes.
sample_facts gather_samples(trace_reader& from, int current_factor);

}  // namespace lab
