// look: what a population draws, before hours are spent on running it.
#pragma once

#include <cstdint>
#include <string>

#include "lab/fleet/population.h"

namespace lab {

// The groups with how many phones each has, the quantiles of every key that varies, and how well the correlations
// came out, in the first `phones` phones. Several lines.
std::string look_at(const population& of, std::uint64_t phones);

}  // namespace lab
