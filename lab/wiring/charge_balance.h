// Charge counted from the current, held against a gauge of the charge: the level, or the node charge_counter.
#pragma once

#include <cstdint>
#include <optional>

#include "lab/wiring/value_range.h"

namespace lab {

// The count goes from one change of the gauge to another that is far enough away: a gauge that wobbles between two
// values moves no charge, and a change tells more exactly than a step where the gauge is.
class charge_balance {
  public:
    explicit charge_balance(std::int64_t far) : far_(far) {}

    // The next sample: what the gauge says, the charge since the sample before (nothing: no current), and the seconds
    // since it (0 at the first of a boot).
    void take(std::optional<std::int64_t> gauge, std::optional<double> charge_uah, std::int64_t gap_s);

    double rise() const { return rise_; }  // of the gauge, in its unit, in all counts
    double fall() const { return fall_; }
    double moved() const { return rise_ + fall_; }
    bool turns() const;                          // it went a good way up, and a good way down
    double counted() const { return counted_; }  // of what it moved, that for which all charge is known
    double charge_uah() const { return counted_uah_; }  // of that, without its sign
    // Which share of the charge went as the gauge did, less that which went against it: 1 to -1.
    double agreement() const { return counted_uah_ > 0 ? along_uah_ / counted_uah_ : 0; }
    const value_range& nah_per_unit() const { return nah_per_unit_; }  // of the gauge; one of each count

  private:
    void end_count(std::int64_t gauge);

    std::int64_t far_;
    std::optional<std::int64_t> last_, anchor_;
    double open_uah_ = 0;  // since the anchor
    bool has_gap_ = false;
    std::uint64_t samples_ = 0, without_current_ = 0;
    double rise_ = 0, fall_ = 0;
    double along_uah_ = 0, counted_uah_ = 0, counted_ = 0;
    value_range nah_per_unit_;
};

}  // namespace lab
