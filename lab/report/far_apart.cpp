#include "lab/report/far_apart.h"

#include <cmath>

namespace lab {

namespace {

std::int64_t length(const far_apart::stretch& of) {
    return of.to_t - of.from_t;
}

}  // namespace

void far_apart::add(std::int64_t t, std::optional<double> first_pct, std::optional<double> second_pct) {
    const double apart = first_pct && second_pct ? *first_pct - *second_pct : 0;
    const bool is_same_side = open_ && (apart > 0) == (open_->worst_pct > 0);
    if (std::abs(apart) < FAR_PCT) {
        open_.reset();
        return;
    }
    if (!is_same_side || t - open_->to_t > MAX_SILENCE_S) open_ = stretch{t, t, t, apart};
    open_->to_t = t;
    if (std::abs(apart) > std::abs(open_->worst_pct)) {
        open_->worst_t = t;
        open_->worst_pct = apart;
    }
    if (!longest_ || length(*open_) >= length(*longest_)) longest_ = open_;
}

std::optional<far_apart::stretch> far_apart::longest() const {
    return longest_ && length(*longest_) >= LEAST_S ? longest_ : std::nullopt;
}

}  // namespace lab
