#include "lab/report/thinned_series.h"

#include <algorithm>
#include <bit>
#include <iterator>

namespace lab {

// Room for all from the start: what is not touched costs no memory, and nothing is ever moved.
thinned_series::thinned_series(std::size_t channels, std::size_t states, std::size_t capacity)
    : channels_(channels), states_(states), capacity_(capacity) {
    extents_.reserve(capacity);
    values_.reserve(capacity * channels);
    cycles_in_state_.reserve(capacity * states);
}

void thinned_series::add(std::int64_t t, std::span<const std::int32_t> values, std::uint32_t states) {
    if (extents_.empty() || extents_.back().cycles == cycles_per_bucket_) {
        open_bucket(t, values);
    } else {
        range* const of_bucket = values_.data() + values_.size() - channels_;
        for (std::size_t i = 0; i < channels_; ++i) of_bucket[i].take(range::of(values[i]));
    }
    extent& open = extents_.back();
    open.last_t = t;
    ++open.cycles;
    ++cycles_;
    std::uint32_t* const cycles_in = cycles_in_state_.data() + cycles_in_state_.size() - states_;
    for (; states != 0; states &= states - 1) ++cycles_in[std::countr_zero(states)];
}

void thinned_series::open_bucket(std::int64_t t, std::span<const std::int32_t> values) {
    if (extents_.size() == capacity_) halve();
    extents_.push_back({t, t, 0});
    std::transform(values.begin(), values.end(), std::back_inserter(values_), range::of);
    cycles_in_state_.resize(cycles_in_state_.size() + states_);
}

void thinned_series::halve() {
    const std::size_t half = capacity_ / 2;
    for (std::size_t i = 0; i < half; ++i) {
        const extent &left = extents_[2 * i], &right = extents_[2 * i + 1];
        extents_[i] = {left.first_t, right.last_t, left.cycles + right.cycles};
        for (std::size_t channel = 0; channel < channels_; ++channel) {
            range both = value(channel, 2 * i);
            both.take(value(channel, 2 * i + 1));
            values_[i * channels_ + channel] = both;
        }
        for (std::size_t state = 0; state < states_; ++state)
            cycles_in_state_[i * states_ + state] =
                cycles_in_state(state, 2 * i) + cycles_in_state(state, 2 * i + 1);
    }
    extents_.resize(half);
    values_.resize(half * channels_);
    cycles_in_state_.resize(half * states_);
    cycles_per_bucket_ *= 2;
}

}  // namespace lab
