#include "util/metrics.h"

#include <cstdarg>
#include <cstdio>

std::int32_t vorn_ostrel_metrics_log_print(std::int32_t priority, const char* tag, const char* group_id,
                                           const char* schema_id, const char* fixed_field,
                                           const char* region_code, const char* payload_format, ...) {
    char payload[METRICS_TEXT_SIZE] = {};
    va_list values;
    va_start(values, payload_format);
    vsnprintf(payload, sizeof payload, payload_format, values);
    va_end(values);

    char text[METRICS_TEXT_SIZE] = {};
    snprintf(text, sizeof text, "%s:%s:%s:%s%s:%s", group_id, schema_id, fixed_field, METRICS_DEVICE_PREFIX,
             payload, region_code);
    return __android_log_buf_write(METRICS_LOG_BUFFER, priority, tag, text);
}
