// The Android log on a plain Linux host: one line on standard error for each line logged, in logcat's brief
// form. A metrics record shows its buffer: "M8/vorn(  123): text".

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "platform/android_log.h"

namespace {

constexpr int MAIN_BUFFER = 0;
constexpr int LINE_SIZE = 1024;  // the platform cuts a line at 1023 characters

char priority_letter(int priority) {
    constexpr char letters[] = "??VDIWEF";
    return priority >= 0 && priority < static_cast<int>(sizeof letters - 1) ? letters[priority] : '?';
}

// One write per line, so that lines of two processes never mix.
int put_line(int buffer_id, int priority, const char* tag, const char* text) {
    char kind[16];
    if (buffer_id == MAIN_BUFFER) {
        snprintf(kind, sizeof kind, "%c", priority_letter(priority));
    } else {
        snprintf(kind, sizeof kind, "M%d", buffer_id);
    }
    const std::size_t length = strlen(text);
    const char* line_end = length > 0 && text[length - 1] == '\n' ? "" : "\n";
    return dprintf(STDERR_FILENO, "%s/%-8s(%5d): %s%s", kind, tag, static_cast<int>(getpid()), text,
                   line_end);
}

}  // namespace

int __android_log_print(int priority, const char* tag, const char* format, ...) {
    char text[LINE_SIZE];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return put_line(MAIN_BUFFER, priority, tag, text);
}

int __android_log_buf_write(int buffer_id, int priority, const char* tag, const char* text) {
    return put_line(buffer_id, priority, tag, text);
}
