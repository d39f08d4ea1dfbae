// fleet_plan: how a fleet is best cut into parts for a cluster, by running a few of its phones.
#pragma once

#include <cstdint>
#include <string>

#include "lab/fleet/phone_row.h"

namespace lab {

struct cluster_limits {
    std::uint64_t most_parts = 0;  // of an array; 0: not known
    double part_s = 3600;          // wall time that a part should take
    std::uint64_t cores = 1;       // of a part
};

struct fleet_plan {
    std::uint64_t phones = 0;
    std::uint64_t parts = 1;
    std::uint64_t arrays = 1;  // jobs that the parts need, none with more than most_parts
    std::uint64_t cores = 1;   // of a part
    double phone_s = 0;        // of one core, the slowest that was run
    double part_s = 0;
    double total_core_h = 0;
    std::int64_t memory_mb = 0;  // of a part
};

// From a phone that took `phone_s` and `memory_kb` at most. A part has at least one phone.
fleet_plan plan_parts(std::uint64_t phones, double phone_s, std::int64_t memory_kb,
                      const cluster_limits& within);

// MaxArraySize in what `scontrol show config` prints, less one, as it counts from 0; 0 when it is not said.
std::uint64_t most_parts_in(const std::string& config);

// The same of the cluster that this machine belongs to; 0 when it belongs to none.
std::uint64_t most_parts_here();

// As a person reads it, with the lines to type.
std::string plan_text(const fleet_plan& of, const std::string& population);

}  // namespace lab
