#include "monitors/topoff_ctrl.h"

#include "util/arith.h"
#include "util/metrics.h"
#include "util/status.h"

namespace {

constexpr std::uint32_t FULL_PCT = 100;  // capacity = this: with status Full, the full state begins
// Time without a charger, or between two samples on one, >= this: the full state ends
constexpr std::uint64_t PAUSE_S = 60;

struct {
    std::uint32_t reset_margin_mv;  // below the voltage when full
    bool chg_dis_flag;              // the charge-disable state
    std::uint32_t v_reset_mv;       // the state ends at or below this
    std::uint64_t flag_set_time_s;  // when the state was set
    std::uint64_t last_chg_time_s;  // last call with a charger present
    std::uint64_t prev_time_s;      // previous call
    std::uint32_t prev_status;      // its battery status
} s;

bool is_present(std::uint32_t status) {
    return is_charger_present(static_cast<std::int32_t>(status));
}

// With the charger away its absence counts; with the charger there, a pause between two calls that saw it.
bool must_clear(std::uint64_t now_s, std::uint32_t status, std::uint32_t v_mv) {
    if (s.v_reset_mv >= v_mv) return true;
    if (!is_present(status)) return arith::sub(now_s, s.last_chg_time_s) >= PAUSE_S;
    return is_present(s.prev_status) && arith::sub(now_s, s.prev_time_s) >= PAUSE_S;
}

void clear(std::uint64_t now_s, std::uint32_t v_mv) {
    const std::uint64_t duration_s = arith::sub(now_s, s.flag_set_time_s);
    s.chg_dis_flag = false;
    LOG_ERROR("TOPOFF Clearing chg dis flag, volt=%d, dur=%lu ---\n", v_mv, duration_s);
    EMIT_RECORD(topoff_cleared, v_mv, s.v_reset_mv, duration_s);
}

void set(std::uint64_t now_s, std::uint32_t v_mv) {
    s.chg_dis_flag = true;
    s.v_reset_mv = arith::sub(v_mv, s.reset_margin_mv);
    s.flag_set_time_s = now_s;
    LOG_ERROR("TOPOFF Battery full; setting chg dis flag ---\n");
    EMIT_RECORD(topoff_set, v_mv);
}

}  // namespace

void topoff_ctrl__init(std::uint32_t reset_margin_mv) {
    s = {};
    s.reset_margin_mv = reset_margin_mv;
}

void topoff_ctrl__update(std::uint64_t now_s, std::uint32_t status, std::uint32_t v_mv,
                         std::uint32_t capacity_pct) {
    if (s.chg_dis_flag) {
        if (must_clear(now_s, status, v_mv)) clear(now_s, v_mv);
    } else if (status == STATUS_FULL && capacity_pct == FULL_PCT) {
        set(now_s, v_mv);
    }
    if (is_present(status)) s.last_chg_time_s = now_s;
    s.prev_time_s = now_s;
    s.prev_status = status;
}
