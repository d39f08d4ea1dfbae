#include "lab/wiring/charge_balance.h"

#include <cmath>

namespace lab {

namespace {

// What flows meanwhile is not known: a phone that slept drew less than it did before and after. On the charger
// the current changes so slowly that a few minutes do not matter.
constexpr std::int64_t LONGEST_GAP_S = 120;
constexpr std::int64_t LONGEST_GAP_CHARGING_S = 600;
constexpr std::uint64_t LEAST_KNOWN = 20;  // of so many samples one may lack the current

}  // namespace

void charge_balance::take(std::optional<std::int64_t> gauge, std::optional<double> charge_uah,
                          std::int64_t gap_s) {
    if (gap_s <= 0 || gap_s > LONGEST_GAP_CHARGING_S) {
        last_.reset();
        anchor_.reset();
    }
    open_uah_ += charge_uah.value_or(0);
    samples_ += 1;
    without_current_ += charge_uah ? 0 : 1;
    has_gap_ = has_gap_ || gap_s > LONGEST_GAP_S;
    if (!gauge) return;
    const bool changes = last_ && *gauge != *last_;
    const bool is_far = changes && anchor_ && std::abs(*gauge - *anchor_) >= far_;
    if (is_far) end_count(*gauge);
    if (is_far || (changes && !anchor_)) {
        anchor_ = gauge;
        open_uah_ = 0;
        has_gap_ = false;
        samples_ = without_current_ = 0;
    }
    last_ = gauge;
}

void charge_balance::end_count(std::int64_t gauge) {
    const auto moved = static_cast<double>(gauge - *anchor_);
    (moved > 0 ? rise_ : fall_) += std::abs(moved);
    if (without_current_ * LEAST_KNOWN > samples_ || (moved < 0 && has_gap_)) return;
    along_uah_ += moved > 0 ? open_uah_ : -open_uah_;
    counted_uah_ += std::abs(open_uah_);
    counted_ += std::abs(moved);
    nah_per_unit_.add(std::llround(1000 * open_uah_ / moved));
}

bool charge_balance::turns() const {
    return rise_ >= static_cast<double>(far_) && fall_ >= static_cast<double>(far_);
}

}  // namespace lab
