// Log lines. The tag is also the first argument of every format, so each format begins with a "%s" for it.
#pragma once

#include "platform/android_log.h"

constexpr char LOG_TAG[] = "vorn";

// Macros, so that the compiler checks each format against its values.
#define LOG_INFO(format, ...) \
    __android_log_print(ANDROID_LOG_INFO, LOG_TAG, format, LOG_TAG __VA_OPT__(, ) __VA_ARGS__)
#define LOG_ERROR(format, ...) \
    __android_log_print(ANDROID_LOG_ERROR, LOG_TAG, format, LOG_TAG __VA_OPT__(, ) __VA_ARGS__)
