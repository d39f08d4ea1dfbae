#include "lab/session/cycle.h"

#include "charge_mgr/charge_mgr.h"
#include "dyn_soc/internal.h"
#include "monitors/charge_timer.h"
#include "monitors/secondary_thermal.h"
#include "precharge/precharge.h"

namespace lab {

const std::array<std::string_view, COLUMN_COUNT> column_names = {
    "toc_mv",        "perm_step",
    "temp_step",     "charge_timer_flag",
    "thermal_flag",  "precharge_flag",
    "dyn_soc_state", "dcr",
    "qmax",          "ocv",
    "ocv_avg",       "soc_v",
    "soc_c",         "soc_raw",
    "soc_scal",      "soc_act",
    "soc_smooth",    "soc_ui",
    "landing_state", "smoothing_active",
    "i_avg_ma",      "i_targ_ma",
    "soc_off",
};

std::array<std::int32_t, COLUMN_COUNT> read_daemon_columns() {
    const dyn_soc::module_state& estimator = dyn_soc::s;
    const dyn_soc::dyn_soc_record& committed = estimator.prev;
    return {
        charge_mgr__get_top_of_charge_mv(),
        charge_mgr__get_perm_toc_step(0),
        charge_mgr__get_temp_toc_step(0),
        get_chargetimer_disable_flag(),
        get_thermal_flag(),
        get_prechargetimer_disable_flag(),
        estimator.dyn_soc_state,
        committed.dcr.value,
        committed.qmax.value,
        committed.ocv.value,
        committed.ocv_avg.value,
        committed.soc_v.value,
        committed.soc_c.whole,
        committed.soc_raw.value,
        committed.soc_scal.value,
        committed.soc_act.value,
        committed.soc_smooth.value,
        committed.soc_ui.value,
        committed.landing_state,
        committed.smoothing_active,
        estimator.i_avg_ma.value,
        committed.i_targ_ma.value,
        committed.soc_off.value,
    };
}

}  // namespace lab
