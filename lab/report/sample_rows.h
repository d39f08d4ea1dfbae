// sample_rows: what the page draws over time, row after row: the buckets of the run, cut where no cycle was, and
// between them the single cycles of the close-ups.
//
//     buckets    [ . . . . . . . . ][ . . . .      gap      . . . . ]
//     close-up         . . . .
//     rows       [ . .]. . . .[ . .][ . . . .]             [ . . . .]
//
// Both sides of a cut bucket have the extremes of the whole one; its mean and its states go without the cycles that
// the close-up shows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lab/report/close_ups.h"
#include "lab/report/gap_list.h"
#include "lab/report/thinned_series.h"

namespace lab {

struct sample_row {
    enum class before : std::uint8_t { nothing, gap, off };  // off: the daemon was not running

    std::int64_t first_t = 0;  // axis seconds of the first and the last cycle
    std::int64_t last_t = 0;
    before comes_after = before::nothing;
    std::uint32_t cycles = 0;                   // as many as the values and the states are of
    std::vector<thinned_series::range> values;  // by channel
    std::vector<std::uint32_t> in_state;        // cycles, by state; empty: not kept
};

// In order of time. `gaps` and `apart` as gap_list and close_ups give them.
std::vector<sample_row> sample_rows(const thinned_series& series, const std::vector<gap_list::gap>& gaps,
                                    const close_ups& apart);

}  // namespace lab
