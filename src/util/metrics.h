// Metrics records: one line of text each, written to the log buffer that the metrics pipeline collects.
#pragma once

#include <cstdint>

#include "platform/android_log.h"
#include "util/log.h"
#include "util/record_index.h"

constexpr int METRICS_LOG_BUFFER = 8;  // beyond the standard buffers, main 0 to kernel 7
constexpr char METRICS_GROUP[] = "lx6wwu6k";
constexpr char METRICS_FIXED_FIELD[] = "100";
constexpr char METRICS_REGION[] = "NA";
constexpr int METRICS_TEXT_SIZE = 1024;  // payload and record are each cut to 1023 characters

// Six text fields with empty values that precede every payload.
constexpr char METRICS_DEVICE_PREFIX[] =
    "_deviceId=;SY,_softwareVersion=;SY,_platform=;SY,_model=;SY,_deviceType=;SY,_countryOfResidence=;SY,";

// Prints the payload, wraps it as "group:schema:fixed:prefix payload:region" and writes it to
// METRICS_LOG_BUFFER. Returns the result of that write.
std::int32_t vorn_ostrel_metrics_log_print(std::int32_t priority, const char* tag, const char* group_id,
                                           const char* schema_id, const char* fixed_field,
                                           const char* region_code, const char* payload_format, ...)
    __attribute__((__format__(printf, 7, 8)));

// Emits the record `name` of util/record_index.h with its payload values in the order of its format.
// A macro, so that the compiler checks the values against the format.
#define EMIT_RECORD(name, ...)                                                                 \
    vorn_ostrel_metrics_log_print(ANDROID_LOG_WARN, LOG_TAG, METRICS_GROUP, record::name##_id, \
                                  METRICS_FIXED_FIELD, METRICS_REGION,                         \
                                  record::name##_format __VA_OPT__(, ) __VA_ARGS__, record::name##_version)
