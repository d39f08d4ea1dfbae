#include "tests/support/effects.h"

#include <cstdio>
#include <utility>

#include "charge_mgr/charge_mgr.h"
#include "core/persistent_files.h"
#include "core/sys_properties.h"
#include "lab/story/effect_text.h"

namespace test {

namespace {

constexpr std::size_t MAX_BYTES_SHOWN = 24;

void add(void* context, std::string line) {
    static_cast<std::vector<std::string>*>(context)->push_back(std::move(line));
}

void on_log(void* context, int priority, const char*, const char* text) {
    std::string line = "log " + std::to_string(priority) + " " + text;
    if (line.ends_with('\n')) line.pop_back();
    add(context, line);
}

void on_metric(void* context, int, int, const char*, const char* text) {
    add(context, "record " + short_record(text));
}

void on_property_set(void* context, const char* name, const char* value, int result) {
    add(context, std::string("set ") + name + "=" + value + (result == 0 ? "" : " failed"));
}

void on_write(void* context, const std::string& path, const void* data, std::size_t size,
              std::ptrdiff_t result) {
    std::string line = "write " + path + " ";
    for (std::size_t i = 0; i < size && size <= MAX_BYTES_SHOWN; ++i) {
        char hex[3];
        snprintf(hex, sizeof hex, "%02x", static_cast<const unsigned char*>(data)[i]);
        line += hex;
    }
    if (size > MAX_BYTES_SHOWN) line += std::to_string(size) + " bytes";
    add(context, line + (result < 0 ? " failed" : ""));
}

}  // namespace

std::string short_record(std::string_view text) {
    lab::event record;
    record.kind = lab::event_kind::metric;
    record.text = text;
    return lab::effect_text(record);
}

void start_charge_mgr() {
    charge_mgr__init(vorn_toc_clients_import, vorn_toc_clients_export, vorn_toc_property_get,
                     vorn_toc_property_set);
}

effects::effects() {
    virtual_device::the_device().told = {&lines_, on_log, on_metric, on_property_set, on_write, nullptr};
}

effects::~effects() {
    virtual_device::the_device().told = {};
}

std::vector<std::string> effects::take() {
    return std::exchange(lines_, {});
}

std::vector<std::string> effects::take(std::string_view prefix) {
    std::vector<std::string> taken = take();
    std::erase_if(taken, [&](const std::string& line) { return !line.starts_with(prefix); });
    return taken;
}

}  // namespace test
