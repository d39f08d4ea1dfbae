#include "lab/wiring/value_range.h"

#include <algorithm>
#include <cstdlib>

namespace lab {

void value_range::add(std::int64_t value) {
    if (count_ > 0 && value != last_) changes_ += 1;
    if (count_ % every_ == 0) kept_.push_back(value);
    if (kept_.size() >= MOST_KEPT) {
        for (std::size_t i = 0; i < kept_.size() / 2; ++i) kept_[i] = kept_[2 * i];
        kept_.resize(kept_.size() / 2);
        every_ *= 2;
    }
    count_ += 1;
    last_ = value;
    least_ = std::min(least_, value);
    greatest_ = std::max(greatest_, value);
}

std::int64_t value_range::quantile(double share) const {
    if (kept_.empty()) return 0;
    std::vector<std::int64_t> sorted = kept_;
    std::ranges::sort(sorted);
    return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
}

std::int64_t value_range::magnitude(double share) const {
    if (kept_.empty()) return 0;
    std::vector<std::int64_t> sorted;
    for (const std::int64_t each : kept_) sorted.push_back(std::abs(each));
    std::ranges::sort(sorted);
    return sorted[static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1))];
}

}  // namespace lab
