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

#include "dyn_soc/internal.h"
#include "util/arith.h"
#include "util/log.h"
#include "util/status.h"

namespace dyn_soc {
namespace {

// Falling from above, the two meet after five gaps more, but never before the estimate has come down to 10 %.
constexpr std::int32_t MEET_AFTER_GAPS = 5;
// Where shown and estimate meet, falling from above [m%] > this: they meet here
constexpr std::int32_t HIGHEST_TARGET_SOC = 10000;

// Which way the estimate is expected to go. Not charging is on the charger, yet not filled; Full is not filled
// either, but full.
bool may_only_fall(std::int32_t chg_sts) {
    return chg_sts == STATUS_DISCHARGING || chg_sts == STATUS_NOT_CHARGING;
}

bool may_only_rise(std::int32_t chg_sts) {
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
    if (may_only_rise(curr.chg_sts)) return SOC_FULL;
    if (may_only_fall(curr.chg_sts)) {
        if (shown <= act) return 0;
        return clamp(act - MEET_AFTER_GAPS * (shown - act), 0, HIGHEST_TARGET_SOC);
    }
    LOG_ERROR("DYN_SOC error: unexpected chg_sts in smoother init! chg_sts=%d---\n", curr.chg_sts);
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

// m% by which 5 mA change the state of charge in `dt_s`: 5 mA s of `qmax_c` C are 5 / 1000 / qmax of 100000 m%,
// which is 500 / qmax, taken as 1000 / (2 * qmax).
std::uint64_t change_by_5_ma(std::uint64_t dt_s, wrap32 qmax_c) {
    const auto qmax = static_cast<std::uint64_t>(std::int64_t{qmax_c.value});
    return arith::div(arith::mul(dt_s, std::uint64_t{1000}), arith::mul(std::uint64_t{2}, qmax));
}

// The part of a jump that is shown: what a current of 5 mA would have caused since the last cycle.
wrap32 plausible_change(const dyn_soc_record& curr) {
    const std::uint64_t most = change_by_5_ma(arith::sub(curr.time_s, s.prev.time_s), s.prev.qmax);
    const wrap32 change = curr.soc_act - s.prev.soc_act;
    if (most > INT32_MAX) return change;
    const auto limit = static_cast<std::int32_t>(most);
    return clamp(change, -limit, limit);
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
    if (may_only_fall(curr.chg_sts)) return curr.soc_act <= 0;
    if (may_only_rise(curr.chg_sts)) return curr.soc_act >= SOC_FULL;
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
