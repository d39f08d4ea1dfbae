#include "lab/tally/run_clock.h"

#include <algorithm>
#include <cstdlib>

namespace lab {

// How far the axis moves from the moment before. Readings are far from the limits of 64 bits or garbage; garbage
// must not overflow, so differences are taken only of readings within a thousand years of zero.
namespace {

constexpr std::int64_t SANE_S = std::int64_t{1000} * 366 * 86400;

bool is_sane(std::int64_t seconds) {
    return seconds > -SANE_S && seconds < SANE_S;
}

std::int64_t difference(std::int64_t later, std::int64_t earlier) {
    return is_sane(later) && is_sane(earlier) ? later - earlier : 0;
}

}  // namespace

std::int64_t run_clock::step(std::int64_t boot, std::int64_t elapsed_s, std::int64_t real_time_s) const {
    if (boot == boot_) return std::max<std::int64_t>(difference(elapsed_s, elapsed_s_), 0);
    const bool ran_on = real_time_s > 0 && real_time_s_ > 0;
    const std::int64_t off_s = ran_on ? difference(real_time_s, real_time_s_) : 0;
    return off_s >= 0 && off_s <= MAX_OFF_S ? off_s : 0;
}

std::int64_t run_clock::at(std::int64_t boot, std::int64_t elapsed_s, std::int64_t real_time_s) {
    if (started_) now_ += step(boot, elapsed_s, real_time_s);
    started_ = true;
    boot_ = boot;
    elapsed_s_ = elapsed_s;
    real_time_s_ = real_time_s;
    if (real_time_s > 0 && is_sane(real_time_s)) follow_wall_clock(real_time_s);
    return now_;
}

void run_clock::follow_wall_clock(std::int64_t real_time_s) {
    const std::int64_t offset_s = real_time_s - now_;
    if (!has_wall_clock_ || std::abs(offset_s - current_.offset_s) > TOLERANCE_S) {
        current_ = {now_, offset_s};
        if (stretches_.size() <= MAX_JUMPS) {
            stretches_.push_back(current_);
        } else {
            ++jumps_left_out_;
        }
    }
    has_wall_clock_ = true;
    if (now_ - current_.t > best_length_s_) {
        best_length_s_ = now_ - current_.t;
        best_offset_s_ = current_.offset_s;
    }
}

std::int64_t run_clock::start_real_time_s() const {
    return best_offset_s_;
}

}  // namespace lab
