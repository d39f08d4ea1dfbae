// proof: a phone is run again, and in another build, and must end as it did.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>

#include "lab/compare/build_runner.h"
#include "lab/fleet/fleet_directory.h"
#include "lab/fleet/phone_row.h"

namespace lab {

// Which phones are proved: those whose number is a multiple of it; 0: none.
struct proof_wishes {
    std::uint64_t twice_every = 50;
    std::optional<other_build> also;  // such as one with sanitizers
    std::uint64_t also_every = 50;
};

using phone_runner = std::function<phone_row(const population&, std::uint64_t)>;

// A phone ended in two ways, which are both in DIR/differs.
class phone_differs : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Marks the row as proved when it is. Throws phone_differs.
void prove_twice(const fleet_directory& fleet, const phone_runner& run, phone_row& row);
void prove_by(const fleet_directory& fleet, const other_build& other, const phone_row& row);

}  // namespace lab
