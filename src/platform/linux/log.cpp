// The Android log on a plain Linux host: one line on standard error for each line logged, in logcat's brief
// form. A metrics record shows its buffer: "M8/vorn(  123): text".

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <poll.h>
#include <unistd.h>

#include "platform/android_log.h"
#include "platform/linux/repeated_lines.h"

namespace {

constexpr int MAIN_BUFFER = 0;
constexpr int LINE_SIZE = 1024;  // the platform cuts a line at 1023 characters
constexpr int PREFIX_SIZE = 64;  // what stands before it, and the line end

char priority_letter(int priority) {
    constexpr char letters[] = "??VDIWEF";
    return priority >= 0 && priority < static_cast<int>(sizeof letters - 1) ? letters[priority] : '?';
}

struct {
    int process_id;  // 0 until the first line
} s;

int process_id() {
    if (s.process_id == 0) s.process_id = static_cast<int>(getpid());
    return s.process_id;
}

// A reader that stopped reading must not stop the daemon: the line is dropped.
bool takes_a_line() {
    pollfd error_output = {STDERR_FILENO, POLLOUT, 0};
    return poll(&error_output, 1, 0) == 1 && (error_output.revents & POLLOUT) != 0;
}

// One write per line, so that lines of two processes never mix, and from the stack: a line needs no memory.
int put_line(int buffer_id, int priority, const char* tag, const char* text) {
    char kind[16];
    if (buffer_id == MAIN_BUFFER) {
        snprintf(kind, sizeof kind, "%c", priority_letter(priority));
    } else {
        snprintf(kind, sizeof kind, "M%d", buffer_id);
    }
    const std::size_t length = strlen(text);
    const char* line_end = length > 0 && text[length - 1] == '\n' ? "" : "\n";
    char line[LINE_SIZE + PREFIX_SIZE];
    const int size =
        snprintf(line, sizeof line, "%s/%-8s(%5d): %s%s", kind, tag, process_id(), text, line_end);
    if (size < 0 || !takes_a_line()) return -1;
    const std::size_t whole = std::min(static_cast<std::size_t>(size), sizeof line - 1);
    return write(STDERR_FILENO, line, whole) < 0 ? -1 : size;
}

}  // namespace

int __android_log_print(int priority, const char* tag, const char* format, ...) {
    char text[LINE_SIZE];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    if (priority >= ANDROID_LOG_ERROR && !repeated_lines::is_to_be_written(text)) return 0;
    return put_line(MAIN_BUFFER, priority, tag, text);
}

int __android_log_buf_write(int buffer_id, int priority, const char* tag, const char* text) {
    return put_line(buffer_id, priority, tag, text);
}
