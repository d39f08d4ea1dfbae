// os.h on plain POSIX, for Android and Linux alike.

#include "platform/os.h"

#include <fcntl.h>
#include <unistd.h>

namespace os {

namespace {

std::int64_t clock_seconds(clockid_t clock) {
    timespec now = {};
    clock_gettime(clock, &now);
    return now.tv_sec;
}

}  // namespace

int open_to_read(const char* path) {
    return ::open(path, O_RDONLY | O_CLOEXEC);
}

int open_to_read_or_create(const char* path) {
    return ::open(path, O_RDONLY | O_CREAT | O_CLOEXEC, 0444);
}

int open_to_write(const char* path) {
    return ::open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
}

std::ptrdiff_t read(int descriptor, void* buffer, std::size_t size) {
    return ::read(descriptor, buffer, size);
}

std::ptrdiff_t write(int descriptor, const void* buffer, std::size_t size) {
    return ::write(descriptor, buffer, size);
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

void sleep_s(unsigned seconds) {
    ::sleep(seconds);
}

}  // namespace os
