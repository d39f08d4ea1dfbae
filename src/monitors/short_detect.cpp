// While the battery charges at a steady current near the ToC its voltage should only rise. The changes from
// sample to sample are summed up, on a budget that begins at v_dip_thresh and never holds more:
//
//     voltage   /\__          a rise refills the budget, a fall draws on it; none left is a fault.
//              /    \___      Samples during a sharp fall of the current do not count: the voltage
//             /         \     falls with the current then, and that is no short.
#include "monitors/short_detect.h"

#include <algorithm>

#include "charge_mgr/charge_mgr.h"
#include "util/arith.h"
#include "util/metrics.h"
#include "util/results.h"
#include "util/sensor_value.h"
#include "util/status.h"

namespace {

constexpr std::uint32_t PARTS_PER_UNIT = 100000;  // a share of 1 in units of 10 ppm
constexpr std::uint32_t UV_PER_MV = 1000;
// Voltage fallen in all >= this (or 5 times what the current drop explains): a short is reported
constexpr std::uint32_t MIN_V_DIP_UV = 25000;
constexpr std::uint32_t DIP_SAFETY_FACTOR = 5;  // ... and this many times what the current drop explains
constexpr std::uint32_t CUTOFF_MIN_DIPS = 3;    // depth of arming [voltage dips] < this: it is this
constexpr std::int32_t MIN_CURRENT_MA = 1;      // current >= this: the sample counts
// Time not charging (after a fault: without a charger) >= this: the short detector is disarmed
constexpr std::uint64_t AWAY_S = 60;

struct {
    std::uint32_t curr_dip_thresh;     // mA; a sample counts when the current fell by less than this
    std::uint32_t v_dip_thresh;        // mV; a voltage fallen by this or more in all is a fault
    std::uint32_t cutoff_offset_mv;    // from the ToC down to the base cutoff
    std::int32_t last_toc_mv;          // ToC last seen
    std::uint32_t base_cutoff_mv;      // last_toc_mv - cutoff_offset_mv
    std::uint32_t volt_cutoff;         // mV; the battery must be above this; lower by v_dip_thresh once armed
    bool active;                       // armed
    bool fault_flag;                   // a fault was detected in this active state
    std::int32_t v_accum;              // mV, sum of voltage changes, at most v_dip_thresh
    std::int32_t v_accum_min;          // mV, its least value since arming
    std::int32_t v_max;                // mV, highest voltage since the active state last ended
    std::uint64_t v_max_time_s;        // when it was last reached
    std::int32_t prev_v_mv;            // previous valid sample; INVALID_VALUE = none
    std::int32_t prev_i_ma;            // the same, current
    std::uint64_t sd_last_present_s;   // last call with a charger present
    std::uint64_t sd_last_charging_s;  // last call with status Charging
} s;

constexpr std::uint32_t share_of(std::uint32_t whole, std::uint32_t parts) {
    return arith::mul(whole, parts) / PARTS_PER_UNIT;
}

void set_cutoffs(std::int32_t toc_mv) {
    s.last_toc_mv = toc_mv;
    s.base_cutoff_mv = arith::sub(static_cast<std::uint32_t>(toc_mv), s.cutoff_offset_mv);
    s.volt_cutoff = s.base_cutoff_mv;
}

void refill() {
    s.v_accum = static_cast<std::int32_t>(s.v_dip_thresh);
    s.v_accum_min = s.v_accum;
}

void exit_active_state(std::uint32_t v_mv, std::int32_t i_ma) {
    LOG_ERROR("SHORT_DETECT Exit active state, v_accum_min=%d, v_dip_th=%u\n", s.v_accum_min, s.v_dip_thresh);
    EMIT_RECORD(short_active_ended, s.v_accum_min, s.v_dip_thresh);
    if (s.fault_flag) {
        s.fault_flag = false;
        LOG_ERROR("SHORT_DETECT Clearing fault flag, v=%d, v_max=%u, curr=%d\n", v_mv, s.v_max, i_ma);
        EMIT_RECORD(short_fault_cleared, v_mv, s.v_max, i_ma);
    }
    s.v_max = 0;
    refill();
    s.volt_cutoff = s.base_cutoff_mv;
    s.active = false;
}

// A fault holds the active state until the charger itself has gone.
bool must_exit(std::uint64_t now_s) {
    if (arith::sub(now_s, s.sd_last_present_s) >= AWAY_S) return true;
    return !s.fault_flag && arith::sub(now_s, s.sd_last_charging_s) >= AWAY_S;
}

void note_presence(std::uint64_t now_s, std::int32_t status) {
    if (is_charger_present(status)) s.sd_last_present_s = now_s;
    if (status == STATUS_CHARGING) s.sd_last_charging_s = now_s;
}

// Whether the voltage may be judged: something flows, and no less than before by too much.
bool is_steady(std::int32_t i_ma) {
    const std::int64_t drop_ma = std::int64_t{s.prev_i_ma} - i_ma;
    return i_ma >= MIN_CURRENT_MA && drop_ma < s.curr_dip_thresh;
}

void accumulate(std::uint64_t now_s, std::uint32_t v_mv, std::int32_t i_ma) {
    const std::int32_t change_mv = arith::sub(static_cast<std::int32_t>(v_mv), s.prev_v_mv);
    s.v_accum = arith::add(s.v_accum, change_mv);
    s.v_accum_min = std::min(s.v_accum_min, s.v_accum);
    if (s.v_accum < 1) {
        const std::uint64_t since_max_s = arith::sub(now_s, s.v_max_time_s);
        s.fault_flag = true;
        LOG_ERROR(
            "SHORT_DETECT Fault detected, v=%d, v_max=%d, v_dip_thresh=%u, sec_since_max=%lu, "
            "curr=%d\n",
            v_mv, s.v_max, s.v_dip_thresh, since_max_s, i_ma);
        EMIT_RECORD(short_fault_detected, v_mv, s.v_max, s.v_dip_thresh, since_max_s, i_ma);
    } else {
        s.v_accum = std::min(s.v_accum, static_cast<std::int32_t>(s.v_dip_thresh));
    }
}

}  // namespace

void short_detect__init(std::uint32_t cutoff_ppm10, std::uint32_t curr_dip_ppm10,
                        std::uint32_t resistance_mohm, std::uint32_t curr_high_ma,
                        std::uint32_t curr_low_ma) {
    s = {};
    s.curr_dip_thresh = share_of(arith::add(curr_high_ma, curr_low_ma) / 2, curr_dip_ppm10);
    // mΩ * mA = µV
    const std::uint32_t v_dip_uv =
        arith::mul(arith::mul(DIP_SAFETY_FACTOR, resistance_mohm), s.curr_dip_thresh);
    s.v_dip_thresh = std::max(v_dip_uv, MIN_V_DIP_UV) / UV_PER_MV;
    s.cutoff_offset_mv =
        std::max(share_of(FULL_TOC_MV, cutoff_ppm10), arith::mul(CUTOFF_MIN_DIPS, s.v_dip_thresh));
    set_cutoffs(charge_mgr__get_top_of_charge_mv());
    LOG_ERROR("SHORT_DETECT Init params: v_dip_thresh=%u, curr_dip_thresh=%u, volt_cutoff=%u\n",
              s.v_dip_thresh, s.curr_dip_thresh, s.volt_cutoff);
    refill();
    s.prev_v_mv = INVALID_VALUE;
    s.prev_i_ma = INVALID_VALUE;
}

std::int32_t short_detect__update(std::uint64_t now_s, std::uint32_t status, std::uint32_t v_mv,
                                  std::int32_t i_ma) {
    const auto battery_status = static_cast<std::int32_t>(status);
    const auto voltage_mv = static_cast<std::int32_t>(v_mv);
    if (s.active && must_exit(now_s)) exit_active_state(v_mv, i_ma);

    if (battery_status == STATUS_UNKNOWN || voltage_mv == INVALID_VALUE || i_ma == INVALID_VALUE) {
        LOG_ERROR("SHORT_DETECT Invalid inputs, volt=%d, curr=%d\n", v_mv, i_ma);
        if (s.active) exit_active_state(v_mv, i_ma);
        note_presence(now_s, battery_status);
        s.prev_v_mv = INVALID_VALUE;
        s.prev_i_ma = INVALID_VALUE;
        return RESULT_REFUSED;
    }
    if (s.prev_v_mv == INVALID_VALUE || s.prev_i_ma == INVALID_VALUE) {
        s.prev_v_mv = voltage_mv;  // the first change after a gap is 0
        s.prev_i_ma = i_ma;
    }
    const std::int32_t toc_mv = charge_mgr__get_top_of_charge_mv();
    if (toc_mv != s.last_toc_mv) set_cutoffs(toc_mv);

    // A negative voltage is above every cutoff here: both are compared as unsigned numbers.
    if (!s.fault_flag && battery_status == STATUS_CHARGING && v_mv > s.volt_cutoff) {
        if (!s.active) {
            s.volt_cutoff = arith::sub(s.base_cutoff_mv, s.v_dip_thresh);
            s.active = true;
        }
        if (is_steady(i_ma)) accumulate(now_s, v_mv, i_ma);
    }
    note_presence(now_s, battery_status);
    s.prev_v_mv = voltage_mv;
    s.prev_i_ma = i_ma;
    if (voltage_mv >= s.v_max) {
        s.v_max = voltage_mv;
        s.v_max_time_s = now_s;
    }
    return RESULT_DONE;
}
