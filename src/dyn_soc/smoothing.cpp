// The smoother: when the estimate jumps, what is shown goes on from where it was and meets the estimate
// later.
//
//   soc |   shown o----___                        from smooth_from_smooth
//       |                 ----___
//       |     gap |              ----___          the gap shrinks by a percent for each percent of the way
//       |         |                     --__      that soc_act has come
//       |     act o----____                 -_    from smooth_from_act
//       |                  -----____          \_
//       |                           -----_____  `
//       |                                     ---o  to smooth_target, where they meet
//       +----------------------------------------------> time
//
// A soc_act that turns back keeps the gap of that start and sets out for a new target.

#include <algorithm>

#include "dyn_soc/internal.h"
#include "util/arith.h"
#include "util/log.h"
#include "util/status.h"

namespace dyn_soc {
namespace {

// Discharging from above, the two meet after five gaps more, yet at 10 % at the latest.
constexpr std::int32_t MEET_AFTER_GAPS = 5;
constexpr std::int32_t MEET_BY_SOC = 10000;

bool is_drawn_from(std::int32_t chg_sts) {
    return chg_sts == STATUS_DISCHARGING || chg_sts == STATUS_NOT_CHARGING;
}

bool is_filled(std::int32_t chg_sts) {
    return chg_sts == STATUS_CHARGING || chg_sts == STATUS_FULL;
}

void show_estimate(dyn_soc_record& curr) {
    curr.smoothing_active = false;
    curr.soc_smooth = clamp100(curr.soc_act);
}

// Where a smoothing from `shown` ends. The estimate itself, which ends it at once, where nothing else
// applies.
wrap32 target_from(wrap32 shown, const dyn_soc_record& curr) {
    const wrap32 act = curr.soc_act;
    if (is_filled(curr.chg_sts)) return SOC_FULL;
    if (is_drawn_from(curr.chg_sts)) {
        if (shown <= act) return 0;
        return std::clamp<std::int32_t>(act - MEET_AFTER_GAPS * (shown - act), 0, MEET_BY_SOC);
    }
    LOG_ERROR("--- %s DYN_SOC error: unexpected chg_sts in smoother init! chg_sts=%d---\n", curr.chg_sts);
    return act;
}

void start_smoothing(dyn_soc_record& curr, wrap32 shown) {
    curr.soc_smooth = shown;
    curr.smooth_from_act = curr.soc_act;
    curr.smooth_from_smooth = shown;
    curr.smoothing_active = true;
    curr.smooth_target = target_from(shown, curr);
    if (curr.smooth_target == curr.soc_act) show_estimate(curr);
}

// A change of the estimate, limited to what 5 mA would cause in the interval: the part of a jump that is
// shown.
wrap32 plausible_change(const dyn_soc_record& curr) {
    const std::uint64_t dt = arith::sub(curr.time_s, s.prev.time_s);
    const auto qmax = static_cast<std::uint64_t>(std::int64_t{s.prev.qmax});
    const std::uint64_t step =
        arith::div(arith::mul(dt, std::uint64_t{1000}), arith::mul(std::uint64_t{2}, qmax));
    const wrap32 change = curr.soc_act - s.prev.soc_act;
    if (step > INT32_MAX) return change;
    const auto most = static_cast<std::int32_t>(step);
    return std::clamp<std::int32_t>(change, -most, most);
}

void restart_from_shown(dyn_soc_record& curr) {
    const wrap32 shown = s.prev.soc_smooth + plausible_change(curr);
    start_smoothing(curr, shown <= 0 || shown >= SOC_FULL ? s.prev.soc_smooth : shown);
}

void apply_smoothing(dyn_soc_record& curr) {
    const wrap32 gap = curr.smooth_from_smooth - curr.smooth_from_act;
    const wrap32 span = curr.smooth_target - curr.smooth_from_act;
    const wrap32 moved = curr.soc_act - curr.smooth_from_act;
    if ((moved < 0) != (span < 0)) {
        start_smoothing(curr, clamp100(curr.soc_act + gap));
        return;
    }
    const wrap32 progress_pct = moved * 100 / span;
    if (progress_pct >= 100) {
        show_estimate(curr);
    } else {
        curr.soc_smooth = gap * (100 - progress_pct) / 100 + curr.soc_act;
    }
}

bool shows_estimate(const dyn_soc_record& curr) {
    if (is_drawn_from(curr.chg_sts)) return curr.soc_act <= 0;
    if (is_filled(curr.chg_sts)) return curr.soc_act >= SOC_FULL;
    return true;
}

}  // namespace

void update_smoother(dyn_soc_record& curr) {
    if (s.dyn_soc_state == STATE_FIRST_CYCLE || shows_estimate(curr)) {
        show_estimate(curr);
        return;
    }
    const bool is_new_status = curr.chg_sts != STATUS_FULL && curr.chg_sts != s.prev.chg_sts;
    if (s.smoother_jump || is_new_status) {
        s.smoother_jump = false;
        restart_from_shown(curr);
    } else if (curr.smoothing_active) {
        apply_smoothing(curr);
    } else {
        show_estimate(curr);
    }
}

}  // namespace dyn_soc
