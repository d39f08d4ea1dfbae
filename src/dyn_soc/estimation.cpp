// The state of charge, from two sources: read from the curves at the open-circuit voltage (soc_v), and
// counted from the charge moved and drawn slowly toward soc_v (soc_c).

#include <algorithm>

#include "dyn_soc/internal.h"
#include "util/arith.h"
#include "util/status.h"

namespace dyn_soc {
namespace {

// Time since the last cycle > this: taken for sleep, of which 5 mA are counted
constexpr std::int32_t COUNTING_MAX_DT_S = 19;
constexpr std::int32_t SLEEP_CURR_MA = 5;  // and this stands for a longer one: taken for sleep
// Time since the last cycle > this: the open-circuit voltage is measured only, not predicted
constexpr std::int32_t PREDICTION_MAX_DT_S = 20;

// Percent of soc_c in the blend while soc_v is more than 10 %; below in proportion to soc_v, as there the curve
// is steep and the voltage knows best.
constexpr std::int32_t COUNTED_WEIGHT_MAX = 80;
// State of charge by voltage [m%] > this: the counted one has its full weight of 80 %
constexpr std::int32_t FULL_WEIGHT_ABOVE = 10000;

wrap32 charge_moved(wrap32 dt, wrap32 curr_before_ma, wrap32 curr_ma) {
    return dt <= COUNTING_MAX_DT_S ? (curr_before_ma + curr_ma) / 2 * dt : SLEEP_CURR_MA * dt;
}

// The open-circuit voltage: the one before, changed by the mean of what was measured (less the drop over the
// resistance, in whole millivolts) and what the moved charge predicts on the curve.
wrap32 estimate_ocv(const dyn_soc_record& curr, const curve_pair& curves, wrap32 dt, wrap32 dsoc_counted) {
    const dyn_soc_record& prev = s.prev;
    const wrap32 drop = resistive_drop(prev.dcr, curr.curr_ma);
    // Both changes in hundredths of 0.1 mV; the slope is m% per 10 mV.
    const wrap32 measured = (curr.volt - drop - prev.ocv) * 100;
    const wrap32 slope = calc_soc_vs_ocv(prev.ocv, curves);
    const wrap32 predicted = slope == 0 ? measured : dsoc_counted * 100 / slope;
    const wrap32 change = dt <= PREDICTION_MAX_DT_S ? (predicted + measured) / 2 : measured;
    return change / 100 + prev.ocv;
}

// `dsoc_counted` in m% * 100. Every second draws the count toward soc_v by 1/10000 of the difference.
big_int count_charge(const big_int& soc_c, wrap32 soc_v, wrap32 dt, wrap32 dsoc_counted) {
    const big_int counted = add_to_big_int(soc_c, soc_c.base, (soc_c.base / 100 * dsoc_counted).value);
    const big_int limited = apply_min_max_to_big_int(counted, soc_c.base, 0, SOC_FULL);
    return add_to_big_int(limited, soc_c.base, (dt * (soc_v - limited.whole)).value);
}

wrap32 blend(wrap32 soc_c, wrap32 soc_v) {
    const wrap32 weight = soc_v > FULL_WEIGHT_ABOVE ? wrap32{COUNTED_WEIGHT_MAX}
                                                    : soc_v / (FULL_WEIGHT_ABOVE / COUNTED_WEIGHT_MAX);
    return (weight * soc_c + (100 - weight) * soc_v) / 100;
}

// The change from which the capacity is learnt. While charging or discharging only new extremes count, so
// that noise does not.
wrap32 learnable_change(const dyn_soc_record& curr) {
    if (s.dyn_soc_state != STATE_RUNNING) return 0;
    if (curr.chg_sts == STATUS_DISCHARGING) return curr.soc_min - s.prev.soc_min;
    if (curr.chg_sts == STATUS_CHARGING) return curr.soc_max - s.prev.soc_max;
    return curr.soc_raw - s.prev.soc_raw;
}

}  // namespace

void update_soc_estimate(dyn_soc_record& curr, soc_delta& delta) {
    const dyn_soc_record& prev = s.prev;
    const bool is_same_status = curr.chg_sts == prev.chg_sts;
    const wrap32 dt = arith::low32(arith::sub(curr.time_s, prev.time_s));
    const bool is_long_gap = dt >= prev.qmax;  // the capacity, taken as seconds

    delta.dt_s = dt;
    delta.dq_mas = charge_moved(dt, prev.curr_ma, curr.curr_ma);
    const wrap32 dsoc_counted = delta.dq_mas * 10000 / prev.qmax;  // m% * 100, as mA s / C is 100 m%

    if (is_long_gap || !is_same_status) vorn_queue__init(&s.ocv_queue, OCV_SAMPLES);
    const curve_pair curves = curves_at(curr.temp);
    curr.ocv = estimate_ocv(curr, curves, dt, dsoc_counted);
    curr.ocv_avg = (curr.ocv + s.ocv_queue.sum) / (static_cast<std::int32_t>(s.ocv_queue.count) + 1);
    curr.soc_v = std::max(soc_from_curves(curr.ocv_avg, curves, s.place_of_ocv), wrap32{0});

    if (curr.chg_sts == STATUS_FULL || is_long_gap || s.dyn_soc_state == STATE_FIRST_CYCLE) {
        curr.soc_c = {0, curr.soc_v.value, prev.soc_c.base};
    } else {
        curr.soc_c = count_charge(prev.soc_c, curr.soc_v, dt, dsoc_counted);
    }
    curr.soc_raw = blend(curr.soc_c.whole, curr.soc_v);
    curr.soc_pre_scal = curr.soc_raw;

    curr.soc_min = is_same_status ? std::min(prev.soc_min, curr.soc_raw) : curr.soc_raw;
    curr.soc_max = is_same_status ? std::max(prev.soc_max, curr.soc_raw) : curr.soc_raw;
    delta.dsoc = learnable_change(curr);
}

}  // namespace dyn_soc
