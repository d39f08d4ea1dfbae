#include "journey.h"

#include <cstring>

#include "core/daemon.h"
#include "core/sys_properties.h"
#include "restart.h"

namespace fault {

namespace {

using virtual_device::the_device;
using kind = virtual_device::operation;

constexpr std::string_view PROPERTIES[] = {TOC_PROPERTY, STRESS_PROPERTY, PULLDOWN_PROPERTY,
                                           PRECHARGE_PROPERTY, DISABLE_PROPERTY};
constexpr std::string_view TOC_CLIENTS = "/mnt/vendor/nvcfg/vorn/toc_clients";

std::string_view content(std::string_view path) {
    const auto* found = the_device().find(path);
    return found == nullptr ? "" : std::string_view(found->bytes);
}

// The number in a state file; -1 when it is not whole.
template <typename T>
std::int64_t number_in(std::string_view path) {
    T value = -1;
    const std::string_view bytes = content(path);
    if (bytes.size() == sizeof value) std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

}  // namespace

std::ptrdiff_t journey::decide(void* self, kind what, std::string_view target, std::size_t size) {
    auto& me = *static_cast<journey*>(self);
    if (what == kind::property_get || (me.is_calm_ && !me.sweeps_calm)) return virtual_device::PASS;
    const std::size_t n = me.operation_count_++;
    if (me.keeps_operations) me.operations.push_back({what, std::string(target), size});
    if (n < me.mishap_.nth) return virtual_device::PASS;

    operation& first = me.first_hit_;
    if (n == me.mishap_.nth) first = {what, std::string(target), size};
    const bool is_hit =
        n == me.mishap_.nth || (me.mishap_.lasts != mishap::scope::once && what == first.kind &&
                                (me.mishap_.lasts == mishap::scope::kind || target == first.target));
    if (!is_hit) return virtual_device::PASS;
    me.is_cut_due_ = me.mishap_.cuts_power;
    return me.mishap_.allowed;
}

// The frames left behind are the platform's write() and the daemon's: neither owns anything.
void journey::after_write(void* self) {
    auto& me = *static_cast<journey*>(self);
    if (me.is_cut_due_) std::longjmp(me.power_cut_, 1);
}

void journey::start(const boot& along, std::size_t first_stop) {
    auto& device = the_device();
    device.forget_volatile_properties();
    for (const auto& [path, bytes] : along.files) device.at(path).put(bytes);
    const stop& first = along.stops[first_stop];
    arrive(device, first, first.elapsed_s);
    daemon_start();
    seen.after_cycle();
}

bool journey::run_boot(const boot& along, std::size_t& next_stop) {
    const std::size_t first_stop = next_stop;
    const std::int64_t start_s = along.stops[first_stop].elapsed_s;
    is_calm_ = along.is_calm;
    if (setjmp(power_cut_) != 0) {
        lose_power();
        mishap_ = {};
        is_cut_due_ = false;
        return false;
    }
    start(along, first_stop);
    for (; next_stop < along.stops.size(); ++next_stop) {
        is_calm_ = is_calm_ || next_stop >= along.first_calm_stop;
        arrive(the_device(), along.stops[next_stop], start_s);
        daemon_cycle();
        ++cycles;
        if (is_calm_) {
            seen.after_faultless_cycle();
        } else {
            seen.after_cycle();
        }
    }
    return true;
}

// All that is written once an hour has been written since the last fault.
void journey::check_hour_later(const stop& at) {
    constexpr std::int32_t uv_per_mv = 1000;
    constexpr std::size_t stress_size = 396;
    constexpr std::size_t parameters_size = 20;
    const std::string dir(virtual_device::NVCFG_DIR);
    // Created during a run, the file stays ahead by what had been run until then. The next start mends it.
    const std::int64_t ahead_s = number_in<std::int64_t>(dir + "last_datetime") - at.real_time_s;
    if (ahead_s < 0 || ahead_s > at.elapsed_s) seen.note("an hour later last_datetime is not now");
    if (number_in<std::int32_t>(dir + "last_battvolt") != at.voltage_mv * uv_per_mv) {
        seen.note("an hour later last_battvolt is not the voltage");
    }
    if (content(dir + "batt_stress").size() != stress_size)
        seen.note("an hour later batt_stress is not whole");
    if (content(dir + "dyn_soc_params").size() != parameters_size) {
        seen.note("an hour later dyn_soc_params is not whole");
    }
}

std::string journey::published() {
    std::string text;
    for (const std::string_view name : PROPERTIES) {
        const auto found = the_device().properties.find(name);
        text.append(name).append("=");
        if (found != the_device().properties.end()) text.append(found->second);
        text.append("\n");
    }
    for (const char step : content(TOC_CLIENTS))
        text.append("step ").append(std::to_string(step)).append("\n");
    return text;
}

void journey::run(const mishap& what) {
    mishap_ = what;
    seen.on_write_context = this;
    seen.on_write = after_write;
    auto& device = the_device();
    device.outcome = {this, decide};
    for (const auto& [path, bytes] : files_of_earlier_layout()) device.at(path).put(bytes);
    for (const boot& along : road_) {
        bool was_cut = false;
        for (std::size_t next_stop = 0; !run_boot(along, next_stop);) was_cut = true;
        if (along.first_calm_stop != SIZE_MAX && !was_cut) check_hour_later(along.stops.back());
        seen.after_boot();
    }
}

}  // namespace fault
