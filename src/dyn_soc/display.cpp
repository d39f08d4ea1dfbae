// The state of charge to display, and the record that reports it.

#include <algorithm>

#include "dyn_soc/internal.h"
#include "util/arith.h"
#include "util/metrics.h"
#include "util/sensor_value.h"
#include "util/status.h"

namespace dyn_soc {
namespace {

// Shown while charging [%] >= this: goes no higher until the status is Full
constexpr std::int32_t DISPLAY_MAX_CHARGING = 99;
constexpr std::uint64_t METRIC_INTERVAL_S = 86400;  // time since a trigger fired >= this: it may fire again
constexpr std::int32_t LOW_PCT = 2;                 // shown <= this: a record, once on the way down
constexpr std::int32_t HIGH_PCT = 98;               // shown >= this: a record, once on the way up
constexpr std::int32_t NO_HISTORY = -1;

wrap32 first_display_soc(wrap32 percent, std::int32_t chg_sts) {
    const std::int32_t least = chg_sts == STATUS_CHARGING ? 1 : 0;
    return std::max(std::min(percent, wrap32{DISPLAY_MAX_CHARGING}), wrap32{least});
}

bool is_due(std::uint64_t last_s, std::uint64_t now_s) {
    return last_s == INVALID_VALUE || arith::sub(now_s, last_s) >= METRIC_INTERVAL_S;
}

// Notes the time of a trigger that fires.
bool fires(bool is_met, std::uint64_t& last_s, std::uint64_t now_s) {
    if (!is_met || !is_due(last_s, now_s)) return false;
    last_s = now_s;
    return true;
}

wrap32 oldest_in_history() {
    if (!vorn_queue__is_full(&s.soc_past_queue)) return NO_HISTORY;
    const std::int32_t oldest = vorn_queue__peek(&s.soc_past_queue);
    return oldest == INVALID_VALUE ? NO_HISTORY : oldest;
}

}  // namespace

wrap32 next_display_soc(wrap32 soc_smooth, wrap32 shown, std::int32_t chg_sts) {
    const wrap32 percent = soc_smooth / MPCT_PER_PCT;
    if (shown == INVALID_VALUE) {
        if (chg_sts == STATUS_FULL) return soc_smooth >= 1 ? 100 : 0;
        shown = first_display_soc(percent, chg_sts);
    }
    if (soc_smooth <= 0) return chg_sts == STATUS_CHARGING ? shown : wrap32{0};
    switch (chg_sts) {
        case STATUS_CHARGING:
            return percent > shown && shown < DISPLAY_MAX_CHARGING ? shown + 1 : shown;
        case STATUS_DISCHARGING:
        case STATUS_NOT_CHARGING:
            return (soc_smooth + (MPCT_PER_PCT - 1)) / MPCT_PER_PCT < shown ? shown - 1 : shown;
        case STATUS_FULL:
            return shown == 100 ? shown : shown + 1;
        default:
            return shown;
    }
}

void log_params_metric(const dyn_soc_record& curr) {
    const wrap32 shown_before = s.prev.soc_ui;
    const bool is_low = curr.soc_ui <= LOW_PCT && shown_before > LOW_PCT && shown_before != INVALID_VALUE;
    const bool is_high = curr.soc_ui >= HIGH_PCT && shown_before < HIGH_PCT;
    // Each trigger that fires takes note of it, also when another one already did.
    const bool fires_daily = fires(true, s.last_daily_metric, curr.time_s);
    const bool fires_low = fires(is_low, s.last_low_metric, curr.time_s);
    const bool fires_high = fires(is_high, s.last_high_metric, curr.time_s);
    if (!fires_daily && !fires_low && !fires_high) return;
    EMIT_RECORD(soc_parameters, curr.soc_v.value, curr.soc_c.whole, curr.soc_raw.value, curr.soc_scal.value,
                curr.soc_ext.value, curr.soc_act.value, curr.soc_smooth.value, oldest_in_history().value,
                curr.soc_ui.value, curr.chg_sts, arith::sub(curr.time_s, s.chg_sts_time), curr.dcr.value,
                curr.qmax.value, s.vend, s.err_flags, s.num_aborts);
}

}  // namespace dyn_soc
