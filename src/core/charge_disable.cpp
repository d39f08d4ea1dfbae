#include "core/charge_disable.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "core/sys_properties.h"
#include "monitors/charge_timer.h"
#include "monitors/secondary_thermal.h"
#include "precharge/precharge.h"
#include "util/log.h"
#include "util/results.h"
#include "util/wiring.h"

namespace {

// Who wants charging disabled. The numbers say nothing of their rank; they only tell the decisions apart.
enum code : std::uint32_t { PRECHARGE = 0, CHARGE_TIMER = 1, THERMAL = 2, NOBODY = 3, NOTHING_PUBLISHED = 4 };

struct disable_source {
    code wanted_by;
    flag_get_fn wants_disable;
    const char* value;  // of the property
};

bool return_true() {
    return true;
}

// In order of priority.
constexpr disable_source SOURCES[] = {
    {CHARGE_TIMER, get_chargetimer_disable_flag, "charge_timer"},
    {THERMAL, get_thermal_flag, "secondary_thermal"},
    {PRECHARGE, get_prechargetimer_disable_flag, "precharge_timer"},
    {NOBODY, return_true, "0"},
};

struct {
    code last_disable_code;  // of the decision last written with success
} s;

// A flag behind a raised one is not asked for.
const disable_source& deciding_source() {
    return *std::find_if(std::begin(SOURCES), std::end(SOURCES),
                         [](const disable_source& source) { return source.wants_disable(); });
}

}  // namespace

void charge_disable_init() {
    s = {NOTHING_PUBLISHED};
}

void update_chargedisable_sysprop() {
    const disable_source& source = deciding_source();
    if (source.wanted_by == s.last_disable_code) return;
    const bool failed = set_text_property(DISABLE_PROPERTY, source.value) != 0;
    if (!failed) s.last_disable_code = source.wanted_by;
    LOG_ERROR("charge disable sysprop set with status %d ---\n", failed ? RESULT_FAILED : RESULT_DONE);
}
