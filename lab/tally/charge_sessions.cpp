#include "lab/tally/charge_sessions.h"

#include <algorithm>
#include <cstdlib>

#include "util/status.h"

namespace lab {

namespace {

constexpr std::int32_t SANE_MA = 50'000;  // a greater current is a garbled node

std::optional<std::int32_t> current_ma(const sample& seen) {
    if (!seen.current_ua || std::abs(std::int64_t{*seen.current_ua}) > std::int64_t{SANE_MA} * 1000)
        return std::nullopt;
    return *seen.current_ua / 1000;
}

bool is_stopped(const cycle& after) {
    return after[column::charge_timer_flag] != 0 || after[column::thermal_flag] != 0 ||
           after[column::precharge_flag] != 0;
}

}  // namespace

// What the cycle before says holds until this one.
void charge_sessions::count_charge(std::int64_t held_s) {
    if (held_s > MAX_HELD_S || !last_ma_) {
        if (open_) open_->unmeasured_s += held_s;
        return;
    }
    moved_mas_ += std::abs(*last_ma_) * held_s;
    if (open_) open_->charge_mas += *last_ma_ * held_s;
}

void charge_sessions::close(charge_session::end how) {
    open_->ended = how;
    ++seen_;
    if (finished_.size() < MAX_SESSIONS) finished_.push_back(*open_);
    open_.reset();
}

void charge_sessions::add(std::int64_t t, const cycle& after) {
    const sample& seen = after.seen;
    const bool is_new_boot = has_cycle_ && after.boot != boot_;
    // A session ends before the time off is counted, and any other end after the time that led to it.
    if (is_new_boot && open_) close(charge_session::end::off);
    if (has_cycle_ && !is_new_boot) count_charge(t - last_t_);
    has_cycle_ = true;
    boot_ = after.boot;
    last_t_ = t;
    last_ma_ = current_ma(seen);

    if (!is_charger_present(seen.status)) {
        if (open_) {
            open_->to_t = t;
            close(is_full_ ? charge_session::end::full : charge_session::end::unplugged);
        }
        return;
    }
    if (!open_) {
        open_.emplace().from_t = t;
        open_->from_pct = seen.capacity_pct;
    }
    open_->to_t = t;
    open_->to_pct = seen.capacity_pct;
    open_->was_stopped = open_->was_stopped || is_stopped(after);
    is_full_ = seen.status == STATUS_FULL;
    open_->was_full = open_->was_full || is_full_;
    if (seen.temperature_decic)
        open_->peak_decic = std::max(open_->peak_decic.value_or(INT32_MIN), *seen.temperature_decic);
}

std::vector<charge_session> charge_sessions::all() const {
    std::vector<charge_session> sessions = finished_;
    if (open_) sessions.push_back(*open_);
    return sessions;
}

}  // namespace lab
