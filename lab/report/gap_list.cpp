#include "lab/report/gap_list.h"

#include <algorithm>

namespace lab {

void gap_list::add(std::int64_t t, std::int64_t boot) {
    const std::int64_t distance_s = t - last_t_;
    const bool is_off = has_cycle_ && boot != boot_;
    if (is_off || (has_cycle_ && distance_s > LEAST_GAP_S)) {
        candidates_.push_back({last_t_, t, is_off});
        if (candidates_.size() > 2 * MAX_GAPS) forget_shortest();
    }
    if (has_cycle_ && !is_off) {
        ++distances_[static_cast<std::size_t>(std::clamp<std::int64_t>(distance_s, 0, COUNTED_S))];
        ++distance_count_;
    }
    has_cycle_ = true;
    last_t_ = t;
    boot_ = boot;
}

// A gap between boots counts as longer than any other.
void gap_list::forget_shortest() {
    const auto length = [](const gap& each) {
        return (each.is_off ? std::int64_t{1} << 60 : 0) + each.to_t - each.from_t;
    };
    const auto middle = candidates_.begin() + MAX_GAPS;
    std::nth_element(candidates_.begin(), middle, candidates_.end(),
                     [&](const gap& a, const gap& b) { return length(a) > length(b); });
    forgotten_ += candidates_.end() - middle;
    candidates_.erase(middle, candidates_.end());
    std::sort(candidates_.begin(), candidates_.end(),
              [](const gap& a, const gap& b) { return a.to_t < b.to_t; });
}

std::int64_t gap_list::usual_s() const {
    std::uint64_t passed = 0;
    for (std::size_t length = 0; length <= COUNTED_S; ++length) {
        passed += distances_[length];
        if (passed > 0 && passed >= (distance_count_ + 1) / 2) return static_cast<std::int64_t>(length);
    }
    return 0;
}

std::int64_t gap_list::longest_usual_s() const {
    return std::max(LEAST_GAP_S, GAP_FACTOR * usual_s());
}

std::vector<gap_list::gap> gap_list::gaps() const {
    std::vector<gap> found;
    const std::int64_t usual_s = longest_usual_s();
    std::copy_if(candidates_.begin(), candidates_.end(), std::back_inserter(found),
                 [usual_s](const gap& each) { return each.is_off || each.to_t - each.from_t > usual_s; });
    return found;
}

}  // namespace lab
