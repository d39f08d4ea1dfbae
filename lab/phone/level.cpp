#include "lab/phone/level.h"

#include <algorithm>
#include <cmath>

namespace lab::phone {

namespace {

constexpr double SAME_TEMPERATURE_C = 0.5;

// The state of charge at which the cell rests at that voltage, within -10 % and 120 %, by bisection.
double soc_at(const cell& battery, double rest_mv, double temperature_c) {
    double low = -0.1;
    double high = 1.2;
    for (int i = 0; i < 40; ++i) {
        const double middle = (low + high) / 2;
        (1000 * battery.ocv_v(middle, temperature_c) < rest_mv ? low : high) = middle;
    }
    return low;
}

}  // namespace

double level_gauge::pct(const cell& battery, double soc, double temperature_c, double bottom_mv,
                        double top_mv) {
    const bool is_known = bottom_mv == bottom_mv_ && top_mv == top_mv_ &&
                          std::abs(temperature_c - temperature_c_) <= SAME_TEMPERATURE_C;
    if (!is_known) {
        empty_ = soc_at(battery, bottom_mv, temperature_c);
        full_ = soc_at(battery, top_mv, temperature_c);
        bottom_mv_ = bottom_mv;
        top_mv_ = top_mv;
        temperature_c_ = temperature_c;
    }
    return full_ > empty_ ? std::clamp(100 * (soc - empty_) / (full_ - empty_), 0.0, 100.0) : 0.0;
}

}  // namespace lab::phone
