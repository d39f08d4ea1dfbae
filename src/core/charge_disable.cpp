#include "core/charge_disable.h"

#include "core/sys_properties.h"
#include "monitors/charge_timer.h"
#include "monitors/secondary_thermal.h"
#include "precharge/precharge.h"
#include "util/log.h"
#include "util/wiring.h"

namespace {

struct disable_source {
    std::uint32_t code;
    flag_get_fn wants_disable;
    const char* value;
};

// In order of priority; the last one always matches.
constexpr disable_source SOURCES[] = {
    {1, get_chargetimer_disable_flag, "charge_timer"},
    {2, get_thermal_flag, "secondary_thermal"},
    {0, get_prechargetimer_disable_flag, "precharge_timer"},
    {3, return_true, "0"},
};
constexpr std::uint32_t NOTHING_PUBLISHED = 4;  // the code of no source

struct {
    std::uint32_t last_disable_code;  // of the source last written successfully
} s;

// A flag behind a raised one is not asked for.
const disable_source& deciding_source() {
    const disable_source* source = SOURCES;
    while (!source->wants_disable()) ++source;
    return *source;
}

}  // namespace

bool return_true() {
    return true;
}

void charge_disable_init() {
    s = {};
    s.last_disable_code = NOTHING_PUBLISHED;
}

void update_chargedisable_sysprop() {
    const disable_source& source = deciding_source();
    if (source.code == s.last_disable_code) return;
    const bool failed = set_text_property(DISABLE_PROPERTY, source.value) != 0;
    if (!failed) s.last_disable_code = source.code;
    LOG_ERROR("--- %s charge disable sysprop set with status %d ---\n", failed ? 1 : 0);
}
