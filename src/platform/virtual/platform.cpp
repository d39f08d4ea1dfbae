// The three platform headers on the virtual device.

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "platform/android_log.h"
#include "platform/os.h"
#include "platform/properties.h"
#include "platform/virtual/device.h"

using virtual_device::FAIL;
using virtual_device::operation;
using virtual_device::the_device;

namespace {

constexpr int LOG_LINE_SIZE = 1024;  // the platform cuts a log line at 1023 characters

// What the interceptor leaves of a clock: the time itself, or 0 for a clock that was never set.
std::int64_t intercepted_clock(const char* clock_name, std::int64_t time_s) {
    return the_device().decide(operation::clock, clock_name, 0) == FAIL ? 0 : time_s;
}

std::ptrdiff_t copy_from(const virtual_device::file& source, void* buffer, std::size_t size) {
    const std::size_t count = std::min(size, source.bytes.size());
    std::memcpy(buffer, source.bytes.data(), count);
    return static_cast<std::ptrdiff_t>(count);
}

// Where a fault or an interceptor has a say.
[[gnu::noinline]] std::ptrdiff_t read_otherwise(const virtual_device::file& source, void* buffer,
                                                std::size_t size) {
    const std::ptrdiff_t allowed = the_device().decide(operation::read, source.path, size);
    if (source.read_fails || allowed == FAIL) {
        errno = EIO;
        return -1;
    }
    return copy_from(source, buffer, std::min(size, static_cast<std::size_t>(allowed)));
}

}  // namespace

int __android_log_print(int priority, const char* tag, const char* format, ...) {
    const auto& told = the_device().told;
    if (told.log == nullptr) return 0;
    char text[LOG_LINE_SIZE];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    told.log(told.context, priority, tag, text);
    return 1;
}

int __android_log_buf_write(int buffer_id, int priority, const char* tag, const char* text) {
    const auto& told = the_device().told;
    if (told.metric != nullptr) told.metric(told.context, buffer_id, priority, tag, text);
    return 1;
}

int property_get(const char* name, char* value, const char* default_value) {
    auto& device = the_device();
    device.decide(operation::property_get, name, 0);
    const auto found = device.properties.find(std::string_view(name));
    const bool is_set = found != device.properties.end() && !found->second.empty();
    const std::string_view text = is_set ? std::string_view(found->second) : default_value;
    const std::size_t length = std::min<std::size_t>(text.size(), PROPERTY_VALUE_MAX - 1);
    std::memcpy(value, text.data(), length);
    value[length] = '\0';
    return static_cast<int>(length);
}

int property_set(const char* name, const char* value) {
    auto& device = the_device();
    const bool fails =
        device.property_set_fails(name) || device.decide(operation::property_set, name, 0) == FAIL;
    if (!fails) device.set_property(name, value);
    const int result = fails ? -1 : 0;
    if (device.told.property_set != nullptr)
        device.told.property_set(device.told.context, name, value, result);
    return result;
}

namespace os {

int open_to_read(const char* path) {
    return the_device().open(the_device().at(path), false);
}

// The way of the nodes that are read in every cycle.
int open_to_read_or_create(const char* path) {
    return the_device().open(the_device().at_address(path), true);
}

int open_to_write(const char* path) {
    return the_device().open(the_device().at(path), true);
}

std::ptrdiff_t read(int descriptor, void* buffer, std::size_t size) {
    const auto& source = *the_device().opened(descriptor);
    if (source.read_fails || the_device().outcome.decide != nullptr) [[unlikely]]
        return read_otherwise(source, buffer, size);
    return copy_from(source, buffer, size);
}

std::ptrdiff_t write(int descriptor, const void* buffer, std::size_t size) {
    auto& device = the_device();
    auto* target = device.opened(descriptor);
    const std::ptrdiff_t allowed = device.decide(operation::write, target->path, size);
    const bool fails = target->write_fails || allowed == FAIL;
    if (!fails) {
        const std::size_t count = std::min(size, static_cast<std::size_t>(allowed));
        target->bytes.resize(std::max(target->bytes.size(), count));
        std::memcpy(target->bytes.data(), buffer, count);
    }
    const std::ptrdiff_t result = fails ? -1 : std::min(static_cast<std::ptrdiff_t>(size), allowed);
    if (fails) errno = EIO;
    if (device.told.write != nullptr)
        device.told.write(device.told.context, target->path, buffer, size, result);
    return result;
}

void close(int descriptor) {
    the_device().close(descriptor);
}

bool is_readable_and_writable(const char* path) {
    const auto* target = the_device().find(path);
    return target != nullptr && target->exists;
}

std::int64_t boot_time_s() {
    std::int64_t wrapped_s = 0;  // a trace may say any elapsed time
    __builtin_add_overflow(virtual_device::BOOT_TIME_AT_START_S, the_device().elapsed_s, &wrapped_s);
    return wrapped_s;
}

std::int64_t real_time_s() {
    return intercepted_clock("realtime", the_device().real_time_s);
}

std::int64_t wall_time_s() {
    return intercepted_clock("time", the_device().real_time_s);
}

bool local_time(std::int64_t utc_s, std::tm& local) {
    if (the_device().decide(operation::local_time, "", 0) == FAIL) {
        errno = EOVERFLOW;
        return false;
    }
    const auto time = static_cast<std::time_t>(utc_s);
    return localtime_r(&time, &local) != nullptr;
}

void sleep_s(unsigned seconds) {
    const auto& told = the_device().told;
    if (told.sleep != nullptr) told.sleep(told.context, seconds);
}

}  // namespace os
