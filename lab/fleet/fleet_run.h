// fleet_run: runs the phones that a directory lacks, on all cores.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "lab/fleet/fleet_directory.h"
#include "lab/fleet/phone_row.h"
#include "lab/fleet/proof.h"

namespace lab {

struct run_limits {
    std::size_t at_once = 0;  // phones at a time; 0: one for each core
    double limit_s = 0;  // wall time of a phone with its second run; 0: ten times the median of those before
    std::uint64_t memory_mb = 1024;  // of the heap of a process; 0: any
    proof_wishes proof;
};

struct run_progress {
    std::uint64_t done = 0;  // phones of this run
    std::uint64_t all = 0;
    std::uint64_t not_ok = 0;
    std::uint64_t first_not_ok = 0;  // its number, when there is one
    double host_s = 0;               // that they took, together
    double phone_s = 0;              // simulated
};

using progress_listener = std::function<void(const run_progress&)>;

// Runs what is missing of `within`; each phone that ends is kept at once, so that a second call goes on where the first
// was ended. Throws program_fault when a phone ends differently the second time, or under the other build; both ends are
// then in DIR/differs.
run_progress run_missing(const fleet_directory& fleet, phone_range within, const run_limits& limits,
                         const progress_listener& progress, const phone_runner& run = run_phone);

// Joins the parts into one file. Throws answer_is_no when phones are missing, and says which, and which tasks of arrays of no
// more than `most_parts` run them (0: of any size).
void gather(const fleet_directory& fleet, std::uint64_t most_parts = 0);

// Takes over complete parts of another directory with the same identity. Throws input_error for another one, and for
// phones that both have and that ended differently.
std::size_t add_parts(const fleet_directory& to, const std::string& from);

}  // namespace lab
