#include "monitors/n_day_pulldown.h"

#include "charge_mgr/charge_mgr.h"
#include "util/arith.h"
#include "util/metrics.h"
#include "util/results.h"
#include "util/status.h"

namespace {

// Time on the charger near full > this: the top of charge is lowered
constexpr std::uint64_t PULLDOWN_AFTER_S = 604800;
// Time without a charger >= this: the watch ends, the lowering is withdrawn
constexpr std::uint64_t WATCH_ENDS_AWAY_S = 3600;
constexpr std::uint64_t DAILY_RECORD_S = 86400;  // time since the last daily record >= this: the next one
constexpr std::uint8_t PULLDOWN_STEP = 4;        // 4250 mV
constexpr std::uint8_t NO_DERATING = 0;
constexpr std::int32_t TEMP_CLIENT = 0;

enum state : std::uint32_t { IDLE = 0, DISCHARGING = 1, ON_CHARGER = 2 };

struct {
    state nd_state;
    std::uint8_t pulldown_flag;          // 1 while step 4 is requested, else 0
    std::int64_t volt_thresh_mv;         // a watch needs a battery above this
    std::uint64_t pulldown_start_s;      // when the watch began
    std::uint64_t nd_discharge_start_s;  // when the charger was last seen to leave
    std::uint64_t last_daily_metric_s;   // when the last daily record was emitted, or the watch began
} s;

void start_watch(std::uint64_t now_s) {
    s.nd_state = ON_CHARGER;
    s.pulldown_start_s = now_s;
    s.last_daily_metric_s = now_s;
}

constexpr bool is_due(std::uint64_t watch_s, std::uint32_t mock_threshold_s) {
    return watch_s > PULLDOWN_AFTER_S || (mock_threshold_s != 0 && watch_s > mock_threshold_s);
}

std::uint64_t watched_s(std::uint64_t now_s) {
    return arith::sub(now_s, s.pulldown_start_s);
}

// A request that cannot be withdrawn now is withdrawn with the next watch.
void end_watch(std::uint64_t now_s, std::uint64_t away_s, std::int32_t status, std::int32_t v_mv) {
    EMIT_RECORD(pulldown_watch_ended, watched_s(now_s), away_s, status, v_mv);
    s.nd_state = IDLE;
    const bool is_requested =
        charge_mgr__get_temp_toc_step(TEMP_CLIENT) != NO_DERATING || s.pulldown_flag == 1;
    if (is_requested && charge_mgr__set_temp_toc(NO_DERATING, TEMP_CLIENT) == RESULT_DONE)
        s.pulldown_flag = 0;
}

void report_daily(std::uint64_t now_s) {
    if (arith::sub(now_s, s.last_daily_metric_s) < DAILY_RECORD_S) return;
    s.last_daily_metric_s = now_s;
    EMIT_RECORD(pulldown_daily, watched_s(now_s), s.pulldown_flag);
}

std::int32_t while_on_charger(std::uint64_t now_s, std::int32_t status, std::int32_t v_mv,
                              std::uint32_t mock_threshold_s) {
    if (!is_charger_present(status)) {
        s.nd_state = DISCHARGING;
        s.nd_discharge_start_s = now_s;
        return RESULT_DONE;
    }
    const std::uint64_t watch_s = watched_s(now_s);
    if (s.pulldown_flag == 1 || !is_due(watch_s, mock_threshold_s)) return RESULT_DONE;
    const std::int32_t result = charge_mgr__set_temp_toc(PULLDOWN_STEP, TEMP_CLIENT);
    if (result == RESULT_DONE) s.pulldown_flag = 1;
    EMIT_RECORD(pulldown_applied, watch_s, status, v_mv);
    return result;
}

std::int32_t while_discharging(std::uint64_t now_s, std::int32_t status, std::int32_t v_mv,
                               std::uint32_t mock_threshold_s) {
    const std::uint64_t away_s = arith::sub(now_s, s.nd_discharge_start_s);
    if (away_s >= WATCH_ENDS_AWAY_S) {
        end_watch(now_s, away_s, status, v_mv);
        if (is_charger_present(status)) start_watch(now_s);
        return RESULT_DONE;
    }
    if (!is_charger_present(status)) return RESULT_DONE;
    s.nd_state = ON_CHARGER;
    return while_on_charger(now_s, status, v_mv, mock_threshold_s);
}

}  // namespace

std::int32_t n_day_pulldown_init(std::int32_t volt_thresh_mv, voltage_set_fn client_set) {
    s = {};
    s.volt_thresh_mv = volt_thresh_mv;
    return charge_mgr__register_temp_client_prop(TEMP_CLIENT, client_set);
}

std::uint32_t n_day_pulldown_main(std::uint64_t now_s, std::int32_t status, std::int32_t v_mv,
                                  std::uint32_t mock_threshold_s) {
    const bool is_high = v_mv > s.volt_thresh_mv;
    if (s.nd_state == IDLE) {
        // Not charging starts no watch, though it keeps one going.
        if ((status == STATUS_CHARGING || status == STATUS_FULL) && is_high) start_watch(now_s);
        return RESULT_DONE;
    }
    report_daily(now_s);
    if (!is_high) {
        end_watch(now_s, 0, status, v_mv);
        return RESULT_DONE;
    }
    const std::int32_t result = s.nd_state == ON_CHARGER
                                    ? while_on_charger(now_s, status, v_mv, mock_threshold_s)
                                    : while_discharging(now_s, status, v_mv, mock_threshold_s);
    return static_cast<std::uint32_t>(result);
}
