// quantities: the figures of a run by which two of them are compared, and the daemon's columns likewise.
#pragma once

#include <optional>
#include <span>
#include <string_view>

#include "lab/compare/difference_class.h"
#include "lab/compare/run_result.h"
#include "lab/session/cycle.h"
#include "lab/story/features.h"

namespace lab {

struct quantity {
    std::string_view key;    // "end.stress_h": where it stands in the result as JSON
    std::string_view whose;  // "battery stress": a feature, or what the figures beside it are about
    std::string_view name;   // "stress hours"
    unit in;
    std::optional<double> (*of)(const run_result&);  // nothing where the run has none
};

std::span<const quantity> quantities();
const quantity* find_quantity(std::string_view key);  // null: none of this build's

inline constexpr std::string_view COST = "cost";  // quantity::whose of what a run cost

struct column_meaning {
    feature whose;
    unit in;
    double scale;  // of the column's number, to that unit
};

// The daemon's columns in their order, and one more: the stress hours.
std::span<const column_meaning> column_meanings();
std::string_view column_name(std::size_t place);

}  // namespace lab
