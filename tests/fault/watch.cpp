#include "watch.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <utility>

#include "core/sys_properties.h"
#include "monitors/charge_timer.h"
#include "monitors/secondary_thermal.h"
#include "precharge/precharge.h"

namespace fault {

namespace {

using virtual_device::DATA_DIR;
using virtual_device::NVCFG_DIR;
using virtual_device::the_device;

constexpr std::int32_t FULL_MV = 4450;
constexpr std::int32_t LOWEST_MV = 4000;
constexpr std::int32_t STEP_MV = 50;

template <typename T>
T field(std::string_view record, std::size_t index) {
    T value{};
    std::memcpy(&value, record.data() + index * sizeof value, sizeof value);
    return value;
}

bool is_published_voltage(std::string_view text) {
    std::int32_t mv = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), mv);
    return error == std::errc{} && end == text.data() + text.size() && mv >= LOWEST_MV && mv <= FULL_MV &&
           (FULL_MV - mv) % STEP_MV == 0;
}

// No bucket holds more than a long life: a time cut short, taken for what it says, would be credited as decades.
bool is_stress_table(std::string_view record) {
    constexpr float twenty_years_h = 175200.0F;
    for (std::size_t i = 0; i < record.size() / sizeof(float); ++i) {
        const auto hours = field<float>(record, i);
        if (!(hours >= 0.0F) || hours > twenty_years_h) return false;
    }
    return true;
}

bool is_wall_time(std::string_view record) {
    constexpr std::int64_t year_2021 = 1609459200;
    constexpr std::int64_t year_2100 = 4102444800;
    const auto time = field<std::int64_t>(record, 0);
    return time >= year_2021 && time < year_2100;
}

bool is_small_count(std::string_view record) {
    const auto count = field<std::int32_t>(record, 0);
    return count >= 1 && count < 100000;
}

bool is_battery_voltage(std::string_view record) {
    const auto uv = field<std::int32_t>(record, 0);
    return uv >= 0 && uv <= 5000000;
}

// Version 1 and two ratios that a cell can have, 20 to 200 mOhm and 1000 to 9000 mAh.
bool is_estimator_file(std::string_view record) {
    const auto ratio = [&](std::size_t index) {
        return 10000.0 * field<std::int32_t>(record, index) / field<std::int32_t>(record, index + 1);
    };
    return field<std::int32_t>(record, 0) == 1 && ratio(1) >= 2000 && ratio(1) <= 20000 && ratio(3) >= 3600 &&
           ratio(3) <= 32400;
}

bool is_step(std::string_view record) {
    return field<std::uint8_t>(record, 0) <= (FULL_MV - LOWEST_MV) / STEP_MV;
}

// A state file by its name below NVCFG_DIR.
struct record_kind {
    std::string_view name;
    std::size_t size;
    bool (*makes_sense)(std::string_view record);
};
constexpr std::array<record_kind, 8> KINDS = {{
    {"batt_stress", 396, is_stress_table},
    {"last_datetime", 8, is_wall_time},
    {"charge_failures", 4, is_small_count},
    {"dyn_soc_params", 20, is_estimator_file},
    {"toc_clients", 1, is_step},
    {"last_battvolt", 4, is_battery_voltage},
    {"batt_precharge_timer", 4, is_small_count},
    {"batt_precharge_counter", 4, is_small_count},
}};

const record_kind* find_kind(std::string_view name) {
    const auto* found =
        std::find_if(KINDS.begin(), KINDS.end(), [&](const auto& each) { return each.name == name; });
    return found == KINDS.end() ? nullptr : found;
}

bool is_data_file(std::string_view path) {
    constexpr std::array<std::string_view, 4> names = {"mock_batt_stress_offset", "mock_n_day_threshold_sec",
                                                       "batt_precharge_uboottimer",
                                                       "batt_precharge_ubootflag"};
    return path.starts_with(DATA_DIR) &&
           std::find(names.begin(), names.end(), path.substr(DATA_DIR.size())) != names.end();
}

// What the decision must be, by the flags as they are now.
std::string_view decision() {
    if (get_chargetimer_disable_flag()) return "charge_timer";
    if (get_thermal_flag()) return "secondary_thermal";
    if (get_prechargetimer_disable_flag()) return "precharge_timer";
    return "0";
}

std::string hex(std::string_view bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4U];
        text += digits[static_cast<unsigned char>(byte) & 15U];
    }
    return text;
}

}  // namespace

watch::watch() {
    the_device().told = {this, log, metric, property_set, write, nullptr};
}

watch::~watch() {
    the_device().told = {};
}

void watch::after_cycle() {
    node_errors_ = 0;
    if (the_device().open_count() != 0) note("a descriptor is open between two cycles");
}

void watch::after_faultless_cycle() {
    if (node_errors_ != 0) note("a node cannot be read though nothing is wrong with it");
    const auto found = the_device().properties.find(DISABLE_PROPERTY);
    const std::string_view published =
        found == the_device().properties.end() ? "" : std::string_view(found->second);
    if (published != decision()) {
        note("charge-disable property is '" + std::string(published) + "', the flags say '" +
             std::string(decision()) + "'");
    }
    after_cycle();
}

void watch::after_boot() {
    for (const auto* file : the_device().state_files()) {
        const bool is_state = file->path.starts_with(NVCFG_DIR);
        const auto* kind = find_kind(file->path.substr(file->path.rfind('/') + 1));
        const bool is_known = is_state ? kind != nullptr : kind != nullptr || is_data_file(file->path);
        if (!is_known) note("left a file " + file->path);
        if (is_state && kind != nullptr && file->bytes.size() > kind->size)
            note("made " + file->path + " too long");
    }
}

void watch::log(void* self, int /*priority*/, const char* /*tag*/, const char* text) {
    if (std::string_view(text).find("file read error /sys/") == std::string_view::npos) return;
    ++static_cast<watch*>(self)->node_errors_;
}

void watch::metric(void* self, int /*buffer*/, int /*priority*/, const char* /*tag*/, const char* text) {
    const std::string_view record = text;
    const std::size_t id = record.find(':') + 1;
    static_cast<watch*>(self)->records_.emplace(record.substr(id, record.find(':', id) - id));
}

void watch::property_set(void* self, const char* name, const char* value, int /*result*/) {
    const std::string_view property = name;
    const bool is_voltage =
        property == TOC_PROPERTY || property == STRESS_PROPERTY || property == PULLDOWN_PROPERTY;
    if (is_voltage && !is_published_voltage(value)) {
        static_cast<watch*>(self)->note("published " + std::string(property) + "=" + value);
    }
}

void watch::write(void* self, const std::string& path, const void* data, std::size_t size,
                  std::ptrdiff_t result) {
    auto& me = *static_cast<watch*>(self);
    ++me.writes_;
    const std::string_view record(static_cast<const char*>(data), size);
    const record_kind* kind =
        path.starts_with(NVCFG_DIR) ? find_kind(std::string_view(path).substr(NVCFG_DIR.size())) : nullptr;
    if (kind == nullptr) {
        me.note("wrote to " + path);
    } else if (kind->size != size) {
        me.note("wrote " + std::to_string(size) + " bytes to " + path);
    } else if (!me.all_torn_ && me.torn_.count(path) == 0 && !kind->makes_sense(record)) {
        me.note("wrote " + hex(record) + " to " + path);
    }
    if (result != static_cast<std::ptrdiff_t>(size)) me.expect_torn(path);
    if (me.on_write != nullptr) me.on_write(me.on_write_context);
}

}  // namespace fault
