#include "tests/support/effects.h"

#include <cstdio>
#include <utility>

#include "util/metrics.h"

namespace test {

namespace {

void add(void* context, std::string line) {
    static_cast<std::vector<std::string>*>(context)->push_back(std::move(line));
}

void on_log(void* context, int priority, const char*, const char* text) {
    std::string line = "log " + std::to_string(priority) + " " + text;
    if (line.ends_with('\n')) line.pop_back();
    add(context, line);
}

std::string record_name(std::string_view schema_id) {
#define VORN_MATCH(name, id, version, format) \
    if (schema_id == (id)) return #name;
    VORN_RECORDS(VORN_MATCH)
#undef VORN_MATCH
    return std::string(schema_id);
}

// group:schema:fixed:prefix payload:region
void on_metric(void* context, int, int, const char*, const char* text) {
    const std::string_view whole = text;
    const std::size_t schema_at = whole.find(':') + 1;
    const std::string_view schema = whole.substr(schema_at, whole.find(':', schema_at) - schema_at);
    const std::size_t payload_at = whole.find(METRICS_DEVICE_PREFIX) + sizeof METRICS_DEVICE_PREFIX - 1;
    const std::string_view payload = whole.substr(payload_at, whole.rfind(':') - payload_at);
    add(context, "record " + record_name(schema) + " " + std::string(payload));
}

void on_property_set(void* context, const char* name, const char* value, int result) {
    add(context, std::string("set ") + name + "=" + value + (result == 0 ? "" : " failed"));
}

void on_write(void* context, const std::string& path, const void* data, std::size_t size,
              std::ptrdiff_t result) {
    std::string line = "write " + path + " ";
    for (std::size_t i = 0; i < size; ++i) {
        char hex[3];
        snprintf(hex, sizeof hex, "%02x", static_cast<const unsigned char*>(data)[i]);
        line += hex;
    }
    add(context, line + (result < 0 ? " failed" : ""));
}

}  // namespace

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
