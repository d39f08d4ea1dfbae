#include "stress/stress_trip.h"

#include "charge_mgr/charge_mgr.h"
#include "util/log.h"
#include "util/metrics.h"
#include "util/results.h"
#include "util/sensor_value.h"

std::uint8_t stress_trip_step(std::uint32_t stress_hours) {
    for (const stress_trip_level& level : STRESS_TRIP_LEVELS) {
        if (stress_hours > level.above_h) return level.step;
    }
    return 0;
}

std::int32_t current_stress_trip() {
    const std::int32_t step = charge_mgr__get_perm_toc_step(STRESS_TRIP_CLIENT);
    return step == INVALID_VALUE ? 0 : step;
}

std::int32_t set_sys_stress_trip(std::uint32_t stress_hours, bool force) {
    const std::uint8_t trip = stress_trip_step(stress_hours);
    const std::int32_t was = current_stress_trip();
    LOG_ERROR_BARE("stress trip is %d and was %d\n", trip, was);
    if (was > trip) {
        EMIT_RECORD(stress_trip_refused);
        return RESULT_REFUSED;
    }
    if (was == trip && !force) return RESULT_DONE;
    LOG_ERROR_BARE("setting stress trip to %d\n", trip);
    return charge_mgr__set_perm_toc(trip, STRESS_TRIP_CLIENT);
}
