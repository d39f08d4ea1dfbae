#include "lab/compare/error_meter.h"

#include <algorithm>
#include <cmath>

namespace lab {

void error_meter::add(double estimate_pct, double reference_pct, double at_s) {
    const double error = estimate_pct - reference_pct;
    if (!std::isfinite(error)) return;
    const double magnitude = std::abs(error);
    so_far_.samples += 1;
    sum_ += error;
    sum_magnitude_ += magnitude;
    const double bin = std::min(std::ceil(magnitude * BINS_PER_PCT), static_cast<double>(BINS - 1));
    counts_[static_cast<std::size_t>(bin)] += 1;
    if (magnitude <= so_far_.greatest_pct && so_far_.samples > 1) return;
    so_far_.greatest_pct = magnitude;
    so_far_.greatest_at_s = at_s;
}

std::optional<error_figures> error_meter::figures() const {
    if (so_far_.samples == 0) return std::nullopt;
    error_figures result = so_far_;
    const auto samples = static_cast<double>(result.samples);
    result.mean_pct = sum_ / samples;
    result.mean_magnitude_pct = sum_magnitude_ / samples;
    std::int64_t seen = 0;
    std::size_t bin = 0;
    while (static_cast<double>(seen += counts_[bin]) < 0.95 * samples) ++bin;
    result.p95_pct = std::min(static_cast<double>(bin) / BINS_PER_PCT, result.greatest_pct);
    return result;
}

}  // namespace lab
