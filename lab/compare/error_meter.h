// error_meter: figures of how far an estimate is from its reference. Memory does not grow with the samples.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "lab/compare/run_result.h"

namespace lab {

class error_meter {
  public:
    // In percent, at a moment. A reference that is no number is left out.
    void add(double estimate_pct, double reference_pct, double at_s);

    std::optional<error_figures> figures() const;  // nothing without a sample

  private:
    static constexpr std::size_t BINS = 20001;  // of 0.01 %, the last one is for all that is more
    static constexpr double BINS_PER_PCT = 100;

    std::array<std::int64_t, BINS> counts_{};
    error_figures so_far_;
    double sum_ = 0, sum_magnitude_ = 0;
};

}  // namespace lab
