// The landing: brings the state of charge to 100 % at the end of a charge, where the voltage already stands
// at the top of charge and only the falling current tells how much is missing.
//
//   100 % |                                          ____------   full: 100 %
//         |                             . . . ____---'            landed: on the line
//         |              line . . . .     _/|_/
//         |           . . .  _/|      _/|/                        landing: 1 % down whenever above the line
//         |       .     __--'  |__--''
//         |  ____---'-^ threshold                                   armed: as estimated
//         +------------------------------------------------------> time
//
// The line is 100 % less what the drop of the average current beyond 450 mA hides. It is reached for good
// when the average current has fallen to less than 80 % of what it was at the threshold.

#include "charge_mgr/charge_mgr.h"
#include "dyn_soc/internal.h"
#include "util/log.h"
#include "util/metrics.h"
#include "util/sensor_value.h"
#include "util/status.h"

namespace dyn_soc {
namespace {

constexpr std::int32_t SLOPE_BELOW_TOC = 1000;  // the slope is taken 100 mV below the top of charge, 0.1 mV
// Change of temperature [0.1 °C] < this: the slope near the top holds
constexpr std::int32_t SLOPE_TEMP_REACH = 10;
constexpr std::int32_t MIN_CURR_SAMPLES = 5;  // samples in the average current [samples] < this: no landing
// State of charge and what the drop of 2550 mA hides [m%] > this: the landing begins
constexpr std::int32_t THRESHOLD_SOC = 95000;
constexpr std::int32_t THRESHOLD_CURR_MA = 2550;
constexpr std::int32_t FINAL_CURR_MA = 450;  // the charger stops here, so this drop stays hidden
constexpr std::int32_t TARGET_TENTHS = 8;    // of the average current at the threshold: landed below that
constexpr std::int32_t LANDING_STEP = 1000;  // 1 %, m%

// 100 times the state of charge, m%, that the drop of `curr_ma` over the resistance hides near the top:
// mA * 0.1 mΩ = 0.1 µV, of which 100000 are 10 mV, and the slope is m% per 10 mV.
wrap32 hidden_soc_times_100(wrap32 curr_ma, wrap32 dcr) {
    return curr_ma * dcr / 1000 * s.toc_slope;
}

void refresh_toc_slope(wrap32 temp) {
    if (s.toc_slope_temp != INVALID_VALUE && abs(s.toc_slope_temp - temp) < SLOPE_TEMP_REACH) return;
    const wrap32 toc = TENTH_MV_PER_MV * wrap32{charge_mgr__get_top_of_charge_mv()};
    s.toc_slope = calc_soc_vs_ocv(toc - SLOPE_BELOW_TOC, curves_at(temp));
    s.toc_slope_temp = temp;
}

bool is_charging_steadily(const dyn_soc_record& curr) {
    return !s.tocboc_changed && curr.chg_sts == STATUS_CHARGING && s.i_avg_ma >= 0 &&
           s.curr_queue.count >= MIN_CURR_SAMPLES;
}

}  // namespace

void report_landing(const dyn_soc_record& curr, wrap32 soc_land) {
    EMIT_RECORD(soc_landed, s.prev.soc_scal.value, soc_land.value, curr.soc_ext.value,
                (curr.volt / TENTH_MV_PER_MV).value, s.i_avg_ma.value, curr.i_targ_ma.value,
                curr.soc_off.value);
}

bool update_landing_state(dyn_soc_record& curr) {
    if (curr.chg_sts == STATUS_FULL) {
        curr.landing_state = LANDING_FULL;
        return false;
    }
    if (!is_charging_steadily(curr)) {
        const bool was_landed = curr.landing_state == LANDING_LANDED;
        curr.landing_state = LANDING_IDLE;
        return was_landed;
    }
    switch (curr.landing_state) {
        case LANDING_IDLE:
            curr.landing_state = LANDING_ARMED;
            return false;
        case LANDING_ARMED:
            if (curr.soc_scal > THRESHOLD_SOC - hidden_soc_times_100(THRESHOLD_CURR_MA, curr.dcr) / 100) {
                curr.landing_state = LANDING_LANDING;
                curr.i_targ_ma = s.i_avg_ma * TARGET_TENTHS / 10;
                curr.soc_off = 0;
            }
            return false;
        case LANDING_LANDING:
            if (s.i_avg_ma >= curr.i_targ_ma) return false;
            curr.landing_state = LANDING_LANDED;
            return true;
        case LANDING_LANDED:
            return false;
        case LANDING_FULL:
            curr.landing_state = LANDING_IDLE;
            return false;
        default:
            LOG_ERROR("DYN_SOC error: unexpected landing algo state: %d ---\n", curr.landing_state);
            curr.landing_state = LANDING_IDLE;
            return false;
    }
}

landing_outcome update_toc_landing_algo(dyn_soc_record& curr) {
    if (curr.landing_state != LANDING_IDLE) refresh_toc_slope(curr.temp);
    bool jumps = update_landing_state(curr);
    const wrap32 hidden_times_100 = hidden_soc_times_100(s.i_avg_ma - FINAL_CURR_MA, curr.dcr);
    const wrap32 soc_land = SOC_FULL - hidden_times_100 / 100;
    switch (curr.landing_state) {
        case LANDING_LANDING:
            // soc_act is still that of the cycle before.
            if (curr.soc_act > soc_land) {
                curr.soc_off -= LANDING_STEP;
                jumps = true;
            }
            curr.soc_act = curr.soc_scal + curr.soc_off;
            break;
        case LANDING_LANDED:
            // Below FINAL_CURR_MA the line rises above 100 %: hold what there is.
            curr.soc_act = soc_land > SOC_FULL ? s.prev.soc_act : soc_land;
            break;
        case LANDING_FULL:
            curr.soc_act = SOC_FULL;
            break;
        default:
            curr.soc_act = curr.soc_scal;
            break;
    }
    const bool has_landed = curr.landing_state == LANDING_LANDED && s.prev.landing_state != LANDING_LANDED;
    return {jumps, has_landed, soc_land};
}

}  // namespace dyn_soc
