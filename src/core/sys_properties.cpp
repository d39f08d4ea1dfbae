#include "core/sys_properties.h"

#include <cstdio>

#include "core/number_text.h"
#include "platform/properties.h"
#include "util/log.h"
#include "util/results.h"

namespace {

constexpr int NUMBER_TEXT_SIZE = 20;

std::int32_t set_voltage_property(const char* name, std::int32_t voltage_mv) {
    char text[NUMBER_TEXT_SIZE] = {};
    snprintf(text, sizeof text, "%d", voltage_mv);
    return property_set(name, text) == 0 ? RESULT_DONE : RESULT_FAILED;
}

}  // namespace

std::int32_t read_number_property(const char* name) {
    char text[PROPERTY_VALUE_MAX] = {};
    property_get(name, text, "0");
    return parse_number(text, RESULT_UNREADABLE);
}

std::int32_t set_text_property(const char* name, const char* value) {
    const int result = property_set(name, value);
    if (result != 0) {
        LOG_ERROR("error setting property str \"%s\" to \"%s\", result=%d ---\n", name, value, result);
    }
    return result;
}

std::int32_t vorn_toc_property_get() {
    return read_number_property(TOC_PROPERTY);
}

std::int32_t vorn_toc_property_set(std::int32_t voltage_mv) {
    return set_voltage_property(TOC_PROPERTY, voltage_mv);
}

std::int32_t vorn_stress_property_set(std::int32_t voltage_mv) {
    return set_voltage_property(STRESS_PROPERTY, voltage_mv);
}

std::int32_t vorn_pulldown_property_set(std::int32_t voltage_mv) {
    return set_voltage_property(PULLDOWN_PROPERTY, voltage_mv);
}

bool vorn_precharge_property_get() {
    char text[PROPERTY_VALUE_MAX] = {};
    const int length = property_get(PRECHARGE_PROPERTY, text, "0");
    if (length <= 0) LOG_ERROR("error getting property bool %s, result=%d ---\n", PRECHARGE_PROPERTY, length);
    return text[0] == '1';
}

std::int32_t vorn_precharge_property_set(bool flag) {
    const int result = property_set(PRECHARGE_PROPERTY, flag ? "1" : "0");
    if (result == 0) return RESULT_DONE;
    LOG_ERROR("error setting property bool %s, result=%d ---\n", PRECHARGE_PROPERTY, result);
    return RESULT_FAILED;
}
