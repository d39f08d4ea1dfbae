#include "core/sensor_inputs.h"

#include <cstring>

#include "core/number_text.h"
#include "platform/os.h"
#include "util/log.h"
#include "util/results.h"
#include "util/sensor_value.h"
#include "util/status.h"

namespace {

#define BATTERY_NODE(name) "/sys/class/power_supply/battery/" name
constexpr char VOLTAGE_NODE[] = BATTERY_NODE("voltage_now");
constexpr char TEMPERATURE_NODE[] = BATTERY_NODE("temp");
constexpr char CHARGE_COUNTER_NODE[] = BATTERY_NODE("charge_counter");
constexpr char CYCLE_COUNT_NODE[] = BATTERY_NODE("cycle_count");
constexpr char CAPACITY_NODE[] = BATTERY_NODE("capacity");
constexpr char UI_SOC_NODE[] = BATTERY_NODE("device/gm30_ui_soc");
constexpr char THERMAL_ZONE_NODE[] = "/sys/class/thermal/thermal_zone6/temp";
constexpr char VBUS_NODE[] = "/sys/devices/platform/charger/vbus";
constexpr char CURRENT_NODE[] = BATTERY_NODE("current_now");
constexpr char STATUS_NODE[] = BATTERY_NODE("status");
constexpr char CELL_VENDOR_NODE[] = BATTERY_NODE("device/cell_vendor_name");
#undef BATTERY_NODE
constexpr char MOCK_N_DAY_THRESHOLD_FILE[] = "/data/vendor/vorn/mock_n_day_threshold_sec";
constexpr char MOCK_STRESS_OFFSET_FILE[] = "/data/vendor/vorn/mock_batt_stress_offset";

constexpr char UNKNOWN_VENDOR[] = "UNKNOWN";
static_assert(sizeof UNKNOWN_VENDOR <= NODE_TEXT_SIZE);

struct {
    std::int32_t status;               // of the last status node that was not empty; 0 if unreadable
    char status_text[NODE_TEXT_SIZE];  // all zero between two reads
} s;

bool is_printable(char c) {
    return c >= ' ' && c <= '~';
}

std::int32_t status_from_text(const char* text) {
    if (strcmp(text, "Full") == 0) return STATUS_FULL;
    if (strcmp(text, "Not charging") == 0) return STATUS_NOT_CHARGING;
    if (strcmp(text, "Charging") == 0) return STATUS_CHARGING;
    if (strcmp(text, "Discharging") == 0) return STATUS_DISCHARGING;
    return STATUS_UNKNOWN;
}

std::int32_t read_number(const char* path) {
    char text[NODE_TEXT_SIZE] = {};
    if (read_sysfs_str(path, text, NODE_TEXT_SIZE) == RESULT_UNREADABLE) return INVALID_VALUE;
    return parse_number(text, INVALID_VALUE);
}

// A current is taken as it comes: no check for a number beyond 64 bits.
std::int32_t read_current_ua() {
    char text[NODE_TEXT_SIZE] = {};
    if (read_sysfs_str(CURRENT_NODE, text, NODE_TEXT_SIZE) == RESULT_UNREADABLE) return INVALID_VALUE;
    return parse_decimal(text);
}

std::int32_t valid_or_zero(std::int32_t value) {
    return value == INVALID_VALUE ? 0 : value;
}

std::int32_t read_status() {
    if (read_sysfs_str(STATUS_NODE, s.status_text, NODE_TEXT_SIZE) == 0) return s.status;
    s.status_text[strcspn(s.status_text, "\r\n")] = '\0';
    s.status = status_from_text(s.status_text);
    memset(s.status_text, 0, sizeof s.status_text);
    return s.status;
}

}  // namespace

void sensor_inputs_init() {
    s = {};
}

sensor_sample read_sensors() {
    sensor_sample sample = {};
    sample.voltage_uv = read_voltage_uv();
    sample.temperature_decic = read_temperature_decic();
    // The charge counter, cycle count and vbus steer nothing; reading them shows in the log when they break.
    read_number(CHARGE_COUNTER_NODE);
    read_number(CYCLE_COUNT_NODE);
    sample.capacity_pct = read_number(CAPACITY_NODE);
    sample.ui_soc = read_number(UI_SOC_NODE);
    sample.thermal_zone = read_number(THERMAL_ZONE_NODE);
    read_number(VBUS_NODE);
    sample.current_ua = read_current_ua();
    sample.mock_n_day_threshold_s = valid_or_zero(read_number(MOCK_N_DAY_THRESHOLD_FILE));
    sample.status = read_status();
    return sample;
}

std::int32_t read_voltage_uv() {
    return read_number(VOLTAGE_NODE);
}

std::int32_t read_temperature_decic() {
    return read_number(TEMPERATURE_NODE);
}

std::uint32_t read_mock_stress_offset() {
    return static_cast<std::uint32_t>(valid_or_zero(read_number(MOCK_STRESS_OFFSET_FILE)));
}

void read_cell_vendor(char (&name)[NODE_TEXT_SIZE]) {
    memset(name, 0, sizeof name);
    if (read_sysfs_str(CELL_VENDOR_NODE, name, NODE_TEXT_SIZE) == RESULT_UNREADABLE) {
        memcpy(name, UNKNOWN_VENDOR, sizeof UNKNOWN_VENDOR);
        LOG_ERROR("error: cannot read cell vendor name\n");
        return;
    }
    remove_trailing_chars(name, NODE_TEXT_SIZE);
}

std::int32_t read_sysfs_str(const char* path, char* buffer, std::int32_t size) {
    const int descriptor = os::open_to_read_or_create(path);
    if (descriptor < 0) {
        LOG_ERROR("file read error %s ---\n", path);
        return RESULT_UNREADABLE;
    }
    const std::ptrdiff_t count = os::read(descriptor, buffer, static_cast<std::size_t>(size));
    buffer[size - 1] = '\0';
    if (count < 0) LOG_ERROR("file read error %s ---\n", path);
    os::close(descriptor);
    return count < 0 ? RESULT_UNREADABLE : static_cast<std::int32_t>(count);
}

std::int32_t remove_trailing_chars(char* text, std::int32_t length) {
    if (text == nullptr || length < 1 || length > NODE_TEXT_SIZE) return INVALID_VALUE;
    std::int32_t end = length;
    while (end > 0 && !is_printable(text[end - 1])) --end;
    if (end == length) --end;
    text[end] = '\0';
    return end;
}
