#include "tests/dyn_soc/estimator.h"

#include "charge_mgr/charge_mgr.h"
#include "core/persistent_files.h"

namespace test {

namespace {

const batt_info& straight_cell() {
    static const batt_info cell = [] {
        batt_info made = {"STRAIGHT", {50, 25, 10, 0, -10}, {}};
        for (int k = 0; k < BATT_TEMPS; ++k) {
            for (int i = 0; i < BATT_CURVE_POINTS; ++i) made.ocv_curves[k][i] = 45000 - 100 * (k + i);
        }
        return made;
    }();
    return cell;
}

}  // namespace

std::int32_t update(const reading& seen) {
    return dyn_soc__update(seen.elapsed_s, seen.voltage_uv, seen.current_ua, seen.temperature_decic,
                           seen.thermal_mc, seen.status, seen.ui_soc);
}

Estimator::Estimator() {
    batt_info__init("ATL");
    start_charge_mgr();
    (void)charge_mgr__register_temp_client_prop(0, [](std::int32_t) { return 0; });
    said.take();
}

void Estimator::start(const std::optional<words>& file_words) {
    file.remove();
    if (file_words) {
        file.put(
            {reinterpret_cast<const char*>(file_words->data()), file_words->size() * sizeof(std::int32_t)});
    }
    (void)dyn_soc__init(vorn_dyn_soc_params_import, vorn_dyn_soc_params_export);
    dyn_soc::s.battery = &straight_cell();
}

dyn_soc::dyn_soc_record Estimator::start_running() {
    start();
    said.take();
    auto& s = dyn_soc::s;
    s.dyn_soc_state = dyn_soc::STATE_RUNNING;
    s.good_cycles = 6;
    auto& prev = s.prev;
    prev.time_s = 1000;
    prev.volt = prev.ocv = prev.ocv_avg = 40000;
    prev.temp = prev.virt_temp = 500;
    prev.chg_sts = 2;
    prev.soc_c.whole = 50000;
    prev.soc_v = prev.soc_raw = prev.soc_pre_scal = prev.soc_min = prev.soc_max = 50000;
    prev.soc_scal = prev.soc_act = prev.soc_smooth = 50000;
    prev.soc_ui = 50;
    dyn_soc::dyn_soc_record curr = prev;
    curr.time_s = 1010;
    return curr;
}

}  // namespace test
