#include "lab/report/thinned_series.h"

#include <algorithm>

namespace lab {

void thinned_series::range::take(std::int32_t value) {
    if (value != NO_VALUE) take({value, value, value, 1});
}

void thinned_series::range::take(const range& other) {
    if (other.count == 0) return;
    least = count == 0 ? other.least : std::min(least, other.least);
    greatest = count == 0 ? other.greatest : std::max(greatest, other.greatest);
    sum += other.sum;
    count += other.count;
}

thinned_series::thinned_series(std::size_t channels, std::size_t states, std::size_t capacity)
    : capacity_(capacity), channels_(channels), states_(states) {}

void thinned_series::add(std::int64_t t, std::span<const std::int32_t> values, std::uint32_t states) {
    if (extents_.empty() || extents_.back().cycles == cycles_per_bucket_) open_bucket(t);
    extent& open = extents_.back();
    open.last_t = t;
    ++open.cycles;
    ++cycles_;
    for (std::size_t i = 0; i < channels_.size(); ++i) channels_[i].back().take(values[i]);
    for (std::size_t i = 0; i < states_.size(); ++i) states_[i].back() += (states >> i) & 1U;
}

void thinned_series::open_bucket(std::int64_t t) {
    if (extents_.size() == capacity_) halve();
    extents_.push_back({t, t, 0});
    for (auto& each : channels_) each.emplace_back();
    for (auto& each : states_) each.push_back(0);
}

void thinned_series::halve() {
    const std::size_t half = capacity_ / 2;
    for (std::size_t i = 0; i < half; ++i) {
        const extent &left = extents_[2 * i], &right = extents_[2 * i + 1];
        extents_[i] = {left.first_t, right.last_t, left.cycles + right.cycles};
        for (auto& each : channels_) {
            each[i] = each[2 * i];
            each[i].take(each[2 * i + 1]);
        }
        for (auto& each : states_) each[i] = each[2 * i] + each[2 * i + 1];
    }
    extents_.resize(half);
    for (auto& each : channels_) each.resize(half);
    for (auto& each : states_) each.resize(half);
    cycles_per_bucket_ *= 2;
}

}  // namespace lab
