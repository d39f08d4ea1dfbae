#include <cstring>

#include "dyn_soc/dyn_soc.h"
#include "dyn_soc/internal.h"
#include "util/log.h"
#include "util/results.h"
#include "util/sensor_value.h"

namespace dyn_soc {

constinit module_state s = {};

namespace {

constexpr std::int32_t SOC_C_BASE = 10000;
constexpr tocboc_lookup NO_LOOKUP = {INVALID_VALUE, INVALID_VALUE, INVALID_VALUE, INVALID_VALUE,
                                     INVALID_VALUE};

// Everything that starts other than zero.
void preset_state() {
    dyn_soc_record& record = s.prev;
    record.soc_c = {0, INVALID_VALUE, SOC_C_BASE};
    record.soc_act = INVALID_VALUE;
    record.soc_smooth = INVALID_VALUE;
    record.soc_ui = INVALID_VALUE;
    vorn_queue__init(&s.ocv_queue, OCV_SAMPLES);
    vorn_queue__init(&s.curr_queue, CURR_SAMPLES);
    vorn_queue__init(&s.soc_past_queue, SOC_PAST_SAMPLES);
    s.last_daily_metric = INVALID_VALUE;
    s.last_low_metric = INVALID_VALUE;
    s.last_high_metric = INVALID_VALUE;
    for (auto& slot : s.tocboc_cache) slot = NO_LOOKUP;
    s.toc_slope_temp = INVALID_VALUE;
}

}  // namespace

void keep_vendor(const char* vendor) {
    const std::size_t length = std::strlen(vendor);
    if (length >= 1 && length < sizeof s.vend) {
        std::memcpy(s.vend, vendor, length + 1);
        return;
    }
    LOG_ERROR("DYN_SOC error: unexpected cell vendor string len=%d---\n", static_cast<int>(length));
    std::memcpy(s.vend, "UNKNOWN", sizeof "UNKNOWN");
}

std::int32_t start(const batt_info* battery, record_import_fn params_import, record_export_fn params_export) {
    s = {};
    if (battery == nullptr) {
        LOG_ERROR("DYN_SOC error: invalid battery info! ---\n");
        s.err_flags = ERR_NO_BATT_INFO;
        s.dyn_soc_state = STATE_DISABLED;
        return RESULT_FAILED;
    }
    s.battery = battery;
    s.params_import = params_import;
    s.params_export = params_export;
    keep_vendor(battery->vendor);
    preset_state();
    load_params();
    s.dyn_soc_state = STATE_FIRST_CYCLE;
    return RESULT_DONE;
}

}  // namespace dyn_soc

std::int32_t dyn_soc__init(record_import_fn params_import, record_export_fn params_export) {
    return dyn_soc::start(batt_info__get(), params_import, params_export);
}
