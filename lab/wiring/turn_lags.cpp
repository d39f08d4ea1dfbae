#include "lab/wiring/turn_lags.h"

#include <algorithm>
#include <cstdlib>

namespace lab {

namespace {

constexpr std::int64_t LONGEST_LAG_S = 1800;  // turns further apart are of two events

}  // namespace

void turn_lags::take(signal& mine, signal& other, bool is_on, std::int64_t at_s, int sign) {
    // Turns to the same side: at a weak charger the current turns with every load, too.
    const bool turns = mine.is_on && *mine.is_on != is_on;
    mine.is_on = is_on;
    if (!turns) return;
    if (other.turned_s && at_s - *other.turned_s <= LONGEST_LAG_S && other.is_on == is_on) {
        lags_s_.push_back(sign * (at_s - *other.turned_s));
        other.turned_s.reset();
        mine.turned_s.reset();
    } else {
        mine.turned_s = at_s;
    }
}

std::int64_t turn_lags::middle_s() const {
    if (lags_s_.empty()) return 0;
    std::vector<std::int64_t> sorted = lags_s_;
    std::ranges::sort(sorted);
    const std::int64_t low = sorted[(sorted.size() - 1) / 2], high = sorted[sorted.size() / 2];
    return std::abs(low) < std::abs(high) ? low : high;
}

}  // namespace lab
