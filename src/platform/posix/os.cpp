// os.h on plain POSIX, for Android and Linux alike.

#include "platform/os.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace os {

namespace {

// A node of the kernel is what the kernel says it is; it may be reached by a link and need not be a regular file.
constexpr char NODE_DIR[] = "/sys/";

bool is_node(const char* path) {
    return strncmp(path, NODE_DIR, sizeof NODE_DIR - 1) == 0;
}

bool is_regular(int descriptor) {
    struct stat found = {};
    return ::fstat(descriptor, &found) == 0 && S_ISREG(found.st_mode);
}

// Others may write in the directories of the other files. Whatever stands there must not make the daemon wait (a
// FIFO without a writer stops an open for good), take a terminal, or lead it to somebody else's file.
int open_safely(const char* path, int flags, mode_t mode) {
    flags |= O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
    if (is_node(path)) return ::open(path, flags, mode);
    const int descriptor = ::open(path, flags | O_NOFOLLOW, mode);
    if (descriptor < 0 || is_regular(descriptor)) return descriptor;
    ::close(descriptor);
    errno = EINVAL;
    return -1;
}

bool is_empty(int descriptor) {
    struct stat found = {};
    return ::fstat(descriptor, &found) == 0 && found.st_size == 0;
}

std::int64_t clock_seconds(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return now.tv_sec;
}

}  // namespace

int open_to_read(const char* path) {
    return open_safely(path, O_RDONLY, 0);
}

int open_to_read_or_create(const char* path) {
    return open_safely(path, O_RDONLY | O_CREAT, 0444);
}

int open_to_write(const char* path) {
    return open_safely(path, O_RDWR | O_CREAT, 0644);
}

std::ptrdiff_t read(int descriptor, void* buffer, std::size_t size) {
    return ::read(descriptor, buffer, size);
}

std::ptrdiff_t write(int descriptor, const void* buffer, std::size_t size) {
    const bool is_first = is_empty(descriptor);
    const std::ptrdiff_t count = ::write(descriptor, buffer, size);
    // Until the kernel comes to it, half a minute later, a power cut leaves a new file empty. An old record is
    // there to fall back upon; a first one is not.
    if (is_first && count > 0) ::fsync(descriptor);
    return count;
}

void close(int descriptor) {
    ::close(descriptor);
}

bool is_readable_and_writable(const char* path) {
    return ::access(path, R_OK | W_OK) == 0;
}

std::int64_t boot_time_s() {
    return clock_seconds(CLOCK_BOOTTIME);
}

std::int64_t real_time_s() {
    return clock_seconds(CLOCK_REALTIME);
}

std::int64_t wall_time_s() {
    return ::time(nullptr);
}

bool local_time(std::int64_t utc_s, std::tm& local) {
    const auto time = static_cast<std::time_t>(utc_s);
    return ::localtime_r(&time, &local) != nullptr;
}

}  // namespace os
