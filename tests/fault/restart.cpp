#include "restart.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "platform/virtual/device.h"

// Named by the linker after the sections. Weak, since the daemon may have no data that starts other than zero.
extern "C" {
extern char __start_vorn_bss[];
extern char __stop_vorn_bss[];
extern char __start_vorn_data[] __attribute__((weak));
extern char __stop_vorn_data[] __attribute__((weak));
}

namespace fault {

namespace {

std::vector<char> initial_data;

// Byte by byte and unchecked: between the variables lie the guard bytes of a sanitizer.
__attribute__((no_sanitize("address"))) void set_memory(volatile char* begin, const volatile char* end,
                                                        const char* from) {
    for (; begin != end; ++begin) *begin = from == nullptr ? '\0' : *from++;
}

__attribute__((no_sanitize("address"))) void append(std::vector<char>& to, const char* begin,
                                                    const char* end) {
    for (; begin != end; ++begin) {
        const char byte = *begin;
        to.push_back(byte);
    }
}

}  // namespace

void remember_daemon_memory() {
    initial_data.clear();
    append(initial_data, __start_vorn_data, __stop_vorn_data);
}

void restart_daemon() {
    set_memory(__start_vorn_bss, __stop_vorn_bss, nullptr);
    set_memory(__start_vorn_data, __stop_vorn_data, initial_data.data());
}

void lose_power() {
    auto& device = virtual_device::the_device();
    virtual_device::device after;
    for (const auto* file : device.state_files()) after.at(file->path).put(file->bytes);
    after.properties = device.properties;
    after.forget_volatile_properties();
    after.told = device.told;
    after.outcome = device.outcome;
    device = std::move(after);
}

}  // namespace fault
