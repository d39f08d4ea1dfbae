// State of charge from the battery's curves, and the rescaling between the charge limits.

#include "charge_mgr/charge_mgr.h"
#include "dyn_soc/internal.h"
#include "util/interpolate.h"
#include "util/sensor_value.h"

namespace dyn_soc {
namespace {

constexpr std::int32_t TEMP_SCALE = 1000;     // parts of one temperature interval
constexpr std::int32_t SOC_PER_POINT = 1010;  // m% from one curve point to the next
constexpr std::int32_t SLOPE_REACH = 1000;    // 100 mV to either side, 0.1 mV
constexpr std::int32_t SLOPE_SPAN_10MV = 20;  // from one side to the other
// Change of temperature [0.1 °C] < this: a look-up of the charge limits holds
constexpr std::int32_t CACHE_TEMP_REACH = 10;
constexpr std::int32_t DECIC_PER_C = 10;

}  // namespace

curve_pair curves_at(wrap32 temp) {
    const wrap32 at = interpolate_for_index(s.battery->temps, 1, BATT_TEMPS, (temp / DECIC_PER_C).value,
                                            TEMP_SCALE, s.place_of_temp);
    const std::int32_t k = clamp(at / TEMP_SCALE, 0, BATT_TEMPS - 2).value;
    return {s.battery->ocv_curves[k], s.battery->ocv_curves[k + 1], at - TEMP_SCALE * k};
}

wrap32 soc_from_curves(wrap32 ocv, const curve_pair& curves, curve_place& near) {
    const auto below_full_on = [&](const std::int32_t* curve, std::int32_t& segment) -> wrap32 {
        return interpolate_for_index(curve, 1, BATT_CURVE_POINTS, ocv.value, SOC_PER_POINT, segment);
    };
    const wrap32 warmer = below_full_on(curves.warmer, near.warmer);
    const wrap32 colder = below_full_on(curves.colder, near.colder);
    return SOC_FULL - warmer - curves.weight * (colder - warmer) / TEMP_SCALE;
}

wrap32 calc_soc_vs_ocv(wrap32 ocv, const curve_pair& curves) {
    const wrap32 above = soc_from_curves(ocv + SLOPE_REACH, curves, s.place_above);
    return (above - soc_from_curves(ocv - SLOPE_REACH, curves, s.place_below)) / SLOPE_SPAN_10MV;
}

soc_limits look_up_soc_at_toc_boc(wrap32 toc, wrap32 boc, wrap32 temp, tocboc_lookup& slot) {
    const bool are_limits_known = slot.toc_key == toc && slot.boc_key == boc;
    if (slot.temp != INVALID_VALUE && abs(temp - slot.temp) < CACHE_TEMP_REACH && are_limits_known) {
        return {slot.soc_toc, slot.soc_boc, false};
    }
    const curve_pair curves = curves_at(temp);
    const wrap32 soc_toc = soc_from_curves(toc, curves, s.place_of_toc);
    const wrap32 soc_boc = soc_from_curves(boc, curves, s.place_of_boc);
    if (soc_boc >= soc_toc) return {SOC_FULL, 0, false};
    slot = {soc_toc, soc_boc, toc, boc, temp};
    return {soc_toc, soc_boc, !are_limits_known};
}

bool rescale_to_limits(dyn_soc_record& curr) {
    const wrap32 toc = TENTH_MV_PER_MV * wrap32{charge_mgr__get_top_of_charge_mv()};
    const wrap32 boc = TENTH_MV_PER_MV * wrap32{charge_mgr__get_bot_of_charge_mv()};
    const soc_limits limits = look_up_soc_at_toc_boc(toc, boc, curr.temp, s.tocboc_cache[0]);
    // The part times 100000: a thousand above and a hundred below, which a greater product would overflow.
    const wrap32 range = limits.soc_toc - limits.soc_boc;
    curr.soc_scal = (curr.soc_pre_scal - limits.soc_boc) * 1000 / (range / 100);
    return limits.have_changed;
}

}  // namespace dyn_soc
