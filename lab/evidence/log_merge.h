// Logs that overlap, put together.
#pragma once

#include <cstdint>
#include <vector>

#include "lab/evidence/dossier.h"

namespace lab {

// The order of all lines of the log, by their index, each that stands in several sources once; `utc_ms` has the moment
// of each. Lines that two sources share hold them together, whatever the clock did there; only what neither tells is
// ordered by time.
std::vector<std::uint32_t> merge_logs(const dossier& evidence, const std::vector<std::int64_t>& utc_ms);

}  // namespace lab
