// What a recording shows of a device's wiring, gathered row by row in constant memory.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "lab/recordings/trace.h"
#include "lab/session/device_files.h"

namespace lab {

// The values of a node: how many, how far, in the middle.
class value_range {
  public:
    void add(std::int64_t value);

    std::uint64_t count() const { return count_; }
    std::uint64_t changes() const { return changes_; }  // from one value to the next
    std::int64_t least() const { return least_; }
    std::int64_t greatest() const { return greatest_; }
    // Of all values, or of every so many evenly; 0 when there are none. `share` from 0 to 1.
    std::int64_t quantile(double share) const;
    std::int64_t magnitude(double share) const;  // of the values without their signs

  private:
    static constexpr std::size_t MOST_KEPT = 4096;
    std::uint64_t count_ = 0, changes_ = 0, every_ = 1;
    std::int64_t last_ = 0, least_ = INT64_MAX, greatest_ = INT64_MIN;
    std::vector<std::int64_t> kept_;
};

struct node_facts {
    bool has_column = false;
    std::uint64_t missing = 0;  // rows in which it was not there, or could not be read
    std::uint64_t no_number = 0;
    value_range values;
    std::string example;  // of a text that is no number
};

// What current and level come to together: charge counted where the level moves, and the voltage where the current jumps.
struct charge_facts {
    double along_uah = 0;  // charge in the direction in which the level moved, less that against it
    double moved_uah = 0;  // without its sign
    double level_pct = 0;  // moved, without sign
    value_range
        per_mille_of_counter;  // from one level to the next: charge counted for that of the node charge_counter
    double jump_product = 0;  // sum of change of current times change of voltage, from one sample to the next
    double jump_squared = 0;  // of change of current, µA²
    std::uint64_t jumps = 0;
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
    std::uint64_t unset_clocks = 0;  // rows before 2021
    charge_facts charge;
    std::uint64_t in_rows = 0, out_rows = 0;  // current clearly positive, clearly negative
    std::vector<std::int64_t> status_lags_s;  // of the status behind the current, at each change of both
    std::uint64_t full_rows = 0, full_at_100 = 0;

    const node_facts& node(std::string_view name) const;
};

// Reads the trace to its end. `current_factor` is multiplied into the current: 1, or what the user assumes.
sample_facts gather_samples(trace_reader& from, int current_factor);

}  // namespace lab
