// One cycle of the estimator.

#include <limits>

#include "dyn_soc/dyn_soc.h"
#include "dyn_soc/internal.h"
#include "util/arith.h"
#include "util/log.h"
#include "util/results.h"
#include "util/sensor_value.h"

namespace dyn_soc {
namespace {

// Time since the last good cycle > this: a gap, which ends the run of undisturbed cycles
constexpr std::uint64_t GAP_ABOVE_S = 20;
constexpr std::int32_t UV_PER_TENTH_MV = 100;
constexpr std::int32_t UA_PER_MA = 1000;
constexpr std::int32_t MC_PER_DECIC = 100;

constexpr std::int32_t CYCLES_PER_HISTORY = 4;  // one cycle in so many enters the history

// A reading in the estimator's unit. One that could not be read stays so.
wrap32 in_units(wrap32 reading, std::int32_t divisor) {
    return reading == INVALID_VALUE ? reading : reading / divisor;
}

// The system shows hundredths of a percent.
wrap32 soc_ext_from(wrap32 ui_soc) {
    return ui_soc == INVALID_VALUE ? ui_soc : ui_soc * (MPCT_PER_PCT / 100);
}

// Without a cycle before, this sample stands for it: no change since, and no drop hidden in the voltage.
void seed_prev(const dyn_soc_record& curr) {
    dyn_soc_record& prev = s.prev;
    prev.time_s = curr.time_s;
    prev.volt = curr.volt;
    prev.curr_ma = curr.curr_ma;
    prev.temp = curr.temp;
    prev.virt_temp = curr.virt_temp;
    prev.soc_ext = curr.soc_ext;
    prev.chg_sts = curr.chg_sts;
    prev.ocv = curr.volt - resistive_drop(curr.dcr, curr.curr_ma);
    prev.ocv_avg = prev.ocv;
    prev.soc_min = std::numeric_limits<std::int32_t>::max();
    prev.soc_max = std::numeric_limits<std::int32_t>::min();
}

// A change of status or a gap ends a run of good cycles.
void note_disturbance(const dyn_soc_record& curr) {
    if (s.dyn_soc_state == STATE_RUNNING && curr.chg_sts != s.prev.chg_sts) {
        s.chg_sts_time = curr.time_s;
        s.good_cycles = 0;
    } else if (arith::sub(curr.time_s, s.prev.time_s) > GAP_ABOVE_S) {
        s.good_cycles = 0;
    }
}

// Every fourth cycle, abandoned ones included, keeps the smoothed state of charge that holds after it.
void keep_history() {
    s.cycle_count += 1;
    if (s.cycle_count < CYCLES_PER_HISTORY) return;
    s.cycle_count = 0;
    vorn_queue__overwrite(&s.soc_past_queue, s.prev.soc_smooth.value);
}

// Drops the working record: the last good cycle stays the last one.
std::int32_t abandon(std::uint32_t err_flag, std::int32_t result) {
    s.num_aborts = arith::add(s.num_aborts, 1U);
    s.err_flags |= err_flag;
    s.good_cycles = 0;
    keep_history();
    return result;
}

void commit(const dyn_soc_record& curr) {
    s.prev = curr;
    vorn_queue__overwrite(&s.ocv_queue, curr.ocv.value);
    s.dyn_soc_state = STATE_RUNNING;
    s.good_cycles += 1;
    s.tocboc_changed = false;
    keep_history();
}

}  // namespace
}  // namespace dyn_soc

using namespace dyn_soc;

std::int32_t dyn_soc__update(std::uint64_t elapsed_s, std::int32_t voltage_uv, std::int32_t current_ua,
                             std::int32_t temperature_decic, std::int32_t thermal_mc, std::int32_t status,
                             std::int32_t ui_soc) {
    if (s.dyn_soc_state == STATE_DISABLED) return RESULT_FAILED;
    if (s.dyn_soc_state == STATE_NOT_INITIALISED) return RESULT_NOT_INITIALISED;

    dyn_soc_record curr = s.prev;
    curr.time_s = elapsed_s;
    curr.volt = in_units(voltage_uv, UV_PER_TENTH_MV);
    curr.curr_ma = in_units(current_ua, UA_PER_MA);
    curr.temp = temperature_decic;
    curr.virt_temp = in_units(thermal_mc, MC_PER_DECIC);
    curr.chg_sts = status;
    curr.soc_ext = soc_ext_from(ui_soc);

    if (s.dyn_soc_state == STATE_FIRST_CYCLE) seed_prev(curr);
    note_disturbance(curr);
    if (!validate_inputs(curr)) {
        LOG_ERROR("DYN_SOC error: invalid inputs ---\n");
        return abandon(ERR_BAD_INPUTS, RESULT_REFUSED);
    }

    update_avg_curr(curr);
    adapt_dcr_estimate(curr);
    soc_delta delta = {};
    update_soc_estimate(curr, delta);
    if (rescale_to_limits(curr)) {
        s.tocboc_changed = true;
        s.smoother_jump = true;
    }
    adapt_qmax_estimate(delta, curr);
    const landing_outcome landing = update_toc_landing_algo(curr);
    if (landing.jumps) s.smoother_jump = true;
    if (landing.has_landed) report_landing(curr, landing.soc_land);
    update_smoother(curr);
    if (curr.soc_smooth == INVALID_VALUE) {
        LOG_ERROR("DYN_SOC error: failed to update display SoC ---\n");
        return abandon(ERR_NO_DISPLAY_SOC, RESULT_FAILED);
    }
    curr.soc_ui = next_display_soc(curr.soc_smooth, s.prev.soc_ui, curr.chg_sts);

    // The record compares with the cycle before, so it comes before the commit.
    log_params_metric(curr);
    commit(curr);
    write_back_params();
    return RESULT_DONE;
}
