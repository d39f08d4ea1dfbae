// The Android log, declared as the platform declares it.
//
// Text is copied before the call returns. Both functions return a nonnegative number on success and a
// negative error code otherwise; the daemon ignores it.
#pragma once

enum android_log_priority : int {
    ANDROID_LOG_INFO = 4,
    ANDROID_LOG_WARN = 5,
    ANDROID_LOG_ERROR = 6,
};

extern "C" {
// Formats one line (cut at 1023 characters) and writes it to the main log buffer.
int __android_log_print(int priority, const char* tag, const char* format, ...)
    __attribute__((__format__(printf, 3, 4)));

// Writes one text as it is to log buffer `buffer_id`.
int __android_log_buf_write(int buffer_id, int priority, const char* tag, const char* text);
}
