// input_difference: what differs between two builds on one input, as data. What is told of a comparison (verdict, lines,
// JSON, what is expected) comes from these.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "lab/compare/run_result.h"
#include "lab/session/event.h"

namespace lab {

enum class decision_change : std::uint8_t { only_old, only_new, later, earlier, other_value };

struct decision_difference_of {
    decision_change how = decision_change::only_old;
    importance weight = importance::routine;
    std::string feature;
    std::string shape;          // the sentence with # for its numbers
    std::string before, after;  // the sentence in each; empty where there is none
    std::string
        values;       // of the numbers that decided it, those that differ: "limit 20 h 0 min -> 22 h 0 min"
    double t_s = 0;   // in the old build, or the only one
    double by_s = 0;  // so much later in the new one
};

struct quantity_difference {
    std::string key;
    double before = 0, after = 0;
};

enum class effect_change : std::uint8_t { unlike, reworded };

// Log lines, records, property and file writes of one shape.
struct effect_difference {
    effect_change how = effect_change::unlike;
    event_kind kind = event_kind::log;
    std::string feature;
    std::string shape;
    std::string reworded_to;  // the new shape
    std::int64_t only_old = 0, only_new = 0;
    std::int64_t other_numbers = 0;        // there at the same moment, with other numbers in it
    std::int64_t boot = 0, elapsed_s = 0;  // the first of them
};

// A column of the daemon's state, or its stress hours.
struct column_difference {
    std::string column;
    std::int64_t cycles = 0;               // in which it differs
    double before = 0, after = 0;          // where it differs most
    std::int64_t boot = 0, elapsed_s = 0;  // the first of them
};

// The first moment at which anything differs, and what surrounds it.
struct first_divergence {
    std::int64_t boot = 0, elapsed_s = 0;
    std::vector<std::string> lines;  // "  same", "- old", "+ new"
};

// Of one way to run both builds on an input.
struct loop_difference {
    bool has_run = false;
    bool is_same = true;  // in every byte that it showed, and in its state after every cycle
    std::vector<decision_difference_of> decisions;
    std::vector<quantity_difference> quantities;
    std::vector<effect_difference> effects;  // open loop only; so are the next two
    std::vector<column_difference> columns;
    std::optional<first_divergence> first;
};

struct input_difference {
    std::string input;
    std::string error;    // why it could not be compared; else empty
    std::string skipped;  // why it was not compared although it could be; else empty
    bool is_scenario = false;
    std::uint64_t seed = 0;
    loop_difference open, closed;
    std::vector<quantity_difference> figures;  // of the closed loop, all of them, where seeds are compared
};

// Of two runs: their decisions, and quantities of class small or big; with `is_exact`, whatever their class.
loop_difference compare_runs(const run_result& before, const run_result& after, bool is_exact);

}  // namespace lab
