#include "precharge/precharge.h"

#include <algorithm>

#include "util/arith.h"
#include "util/metrics.h"
#include "util/results.h"
#include "util/sensor_value.h"

namespace {

constexpr std::int32_t MIN_PRECHARGE_S = 1;  // the boot loader's precharge < this: there was none
constexpr std::int32_t UV_PER_MV = 1000;

struct {
    bool prechargetimer_disable_flag;  // charging must stay disabled; only ever raised
} s;

// A lifetime total is 0 to 2147483646; anything else is a file that is missing or damaged.
constexpr bool is_total(std::int32_t stored) {
    return stored >= 0 && stored != INVALID_VALUE;
}

// µV after `hours` of discharge at `rate_uv` per hour, not below 0.
std::int32_t discharged_voltage_uv(std::int32_t from_uv, float hours, float rate_uv) {
    return std::max(arith::to_integer<std::int32_t>(static_cast<float>(from_uv) - hours * rate_uv), 0);
}

// The voltage to which the battery fell while the device was off, µV; for the record only. Falls back to the
// last saved voltage where the time is not known, and to INVALID_VALUE where the rate makes no sense.
std::int32_t estimate_voltage_uv(std::int32_t last_uv, float off_hours, float rate_uv) {
    if (last_uv == INVALID_VALUE || off_hours == INVALID_HOURS) {
        LOG_ERROR_BARE("precharge offline nonexistent or invalid V %d\n", last_uv);
        return last_uv;
    }
    if (!(off_hours > 0.0F)) {  // not a number is no time either
        LOG_ERROR_BARE("precharge error calculating offline time\n");
        return last_uv;
    }
    std::int32_t estimate_uv = INVALID_VALUE;
    if (rate_uv == INVALID_HOURS || rate_uv <= 0.0F) {
        LOG_ERROR_BARE("precharge UVP mode discharge rate is nonexistent or invalid %f\n",
                       static_cast<double>(rate_uv));
    } else {
        estimate_uv = discharged_voltage_uv(last_uv, off_hours, rate_uv);
    }
    LOG_ERROR_BARE("precharge offline logged hours %.2f for VT %d\n", static_cast<double>(off_hours),
                   last_uv / UV_PER_MV);
    return estimate_uv;
}

// A flag that cannot be stored is not raised either: it would be gone after the next start.
void raise_flag(flag_set_fn property_set) {
    if (s.prechargetimer_disable_flag || property_set(true) != 0) return;
    s.prechargetimer_disable_flag = true;
    EMIT_RECORD(precharge_flag_raised, 1);
}

}  // namespace

std::int32_t precharge_feature_init(const precharge_wiring& wiring, float uvp_discharge_rate,
                                    std::int32_t last_battery_volt_uv) {
    s = {};
    s.prechargetimer_disable_flag = wiring.property_get();
    const bool is_fault = wiring.uboot_flag_import();
    std::int32_t uboot_timer_s = wiring.uboot_timer_import();
    if (uboot_timer_s == INVALID_VALUE) uboot_timer_s = 0;
    const float off_hours = wiring.power_off_time();

    const std::int32_t result = update_precharge_trackers(uboot_timer_s, wiring);
    if (result != RESULT_DONE) LOG_ERROR_BARE("precharge trackers did not update successfully\n");
    if (!is_fault && uboot_timer_s < MIN_PRECHARGE_S) return result;

    std::int32_t discharge_uv = last_battery_volt_uv;
    if (is_fault) {
        discharge_uv = estimate_voltage_uv(last_battery_volt_uv, off_hours, uvp_discharge_rate);
        raise_flag(wiring.property_set);
    }
    const int fault_trip = is_fault ? 1 : 0;
    LOG_ERROR_BARE("precharge event with uboot timer %d and flag %d\n", uboot_timer_s, fault_trip);
    EMIT_RECORD(precharge_event, fault_trip, uboot_timer_s, last_battery_volt_uv / UV_PER_MV,
                discharge_uv / UV_PER_MV, static_cast<double>(uvp_discharge_rate));
    return result;
}

std::int32_t update_precharge_trackers(std::int32_t uboot_timer_s, const precharge_wiring& wiring) {
    LOG_ERROR_BARE("setting precharge timer and counter \n");
    if (uboot_timer_s < MIN_PRECHARGE_S) return RESULT_DONE;

    std::int32_t timer_s = wiring.timer_import();
    std::int32_t counter = wiring.counter_import();
    if (!is_total(timer_s)) {
        LOG_ERROR_BARE("precharge timer returned %d resetting to 0\n", timer_s);
        timer_s = 0;
    }
    if (!is_total(counter)) {
        LOG_ERROR_BARE("precharge counter returned %d resetting to 0\n", counter);
        counter = 0;
    }
    counter += 1;
    timer_s = arith::add(timer_s, uboot_timer_s);
    LOG_ERROR_BARE("setting precharge timer %d and counter %d\n", timer_s, counter);
    if (wiring.timer_export(timer_s) != 0) {
        LOG_ERROR_BARE("error while writing precharge timer, %d\n", timer_s);
        return RESULT_FAILED;
    }
    if (wiring.counter_export(counter) != 0) {
        LOG_ERROR_BARE("error while writing precharge counter, %d\n", counter);
        return RESULT_FAILED;
    }
    EMIT_RECORD(precharge_trackers_updated, counter, timer_s);
    return RESULT_DONE;
}

bool get_prechargetimer_disable_flag() {
    return s.prechargetimer_disable_flag;
}
