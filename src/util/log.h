// Log lines. Each begins with the tag, most of them behind three dashes.
#pragma once

#include "platform/android_log.h"

constexpr char LOG_TAG[] = "vorn";

// Macros, so that the compiler checks each format against its values.
#define LOG_LINE(priority, format, ...) \
    __android_log_print(priority, LOG_TAG, format, LOG_TAG __VA_OPT__(, ) __VA_ARGS__)
#define LOG_INFO(format, ...) LOG_LINE(ANDROID_LOG_INFO, "--- %s " format __VA_OPT__(, ) __VA_ARGS__)
#define LOG_ERROR(format, ...) LOG_LINE(ANDROID_LOG_ERROR, "--- %s " format __VA_OPT__(, ) __VA_ARGS__)
// Without the dashes: the lines of stress and precharge.
#define LOG_ERROR_BARE(format, ...) LOG_LINE(ANDROID_LOG_ERROR, "%s " format __VA_OPT__(, ) __VA_ARGS__)
