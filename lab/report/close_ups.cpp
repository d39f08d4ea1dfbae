#include "lab/report/close_ups.h"

#include <utility>

namespace lab {

namespace {

// Half of a close-up's cycles at most come before the moment, so that there is room for what follows.
constexpr std::size_t RING_SIZE = close_ups::MAX_CYCLES / 2;

void set(close_ups::taken& into, std::int64_t t, std::span<const std::int32_t> values, std::uint32_t states) {
    into.t = t;
    into.values.assign(values.begin(), values.end());
    into.states = states;
}

}  // namespace

void close_ups::add(std::int64_t t, std::span<const std::int32_t> values, std::uint32_t states) {
    if (open_ && (t > until_t_ || open_->size() >= MAX_CYCLES)) finish();
    last_t_ = t;
    if (open_) {
        set(open_->emplace_back(), t, values, states);
        return;
    }
    if (ring_.empty()) ring_.resize(RING_SIZE);
    if (ring_size_ == RING_SIZE) {
        ring_begin_ = (ring_begin_ + 1) % RING_SIZE;
        --ring_size_;
    }
    set(ring_[(ring_begin_ + ring_size_++) % RING_SIZE], t, values, states);
}

close_ups::close_up close_ups::recent() {
    close_up found;
    for (std::size_t i = 0; i < ring_size_; ++i) {
        const taken& each = ring_[(ring_begin_ + i) % RING_SIZE];
        if (each.t >= last_t_ - HALF_S) found.push_back(each);
    }
    ring_size_ = 0;
    return found;
}

void close_ups::mark() {
    if (!open_ && ring_size_ == 0) return;
    if (!open_) open_ = recent();
    until_t_ = last_t_ + HALF_S;
}

void close_ups::finish() {
    if (!open_) return;
    finished_.add(0, std::move(*open_), 0);
    open_.reset();
}

}  // namespace lab
