#include "core/persistent_files.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "platform/os.h"
#include "util/log.h"
#include "util/sensor_value.h"

namespace {

#define STATE_FILE(name) "/mnt/vendor/nvcfg/vorn/" name
#define BOOT_FILE(name) "/data/vendor/vorn/" name
constexpr char STRESS_FILE[] = STATE_FILE("batt_stress");
constexpr char CHARGE_FAILURES_FILE[] = STATE_FILE("charge_failures");
constexpr char DYN_SOC_PARAMS_FILE[] = STATE_FILE("dyn_soc_params");
constexpr char TOC_CLIENTS_FILE[] = STATE_FILE("toc_clients");
constexpr char PRECHARGE_TIMER_FILE[] = STATE_FILE("batt_precharge_timer");
constexpr char PRECHARGE_COUNTER_FILE[] = STATE_FILE("batt_precharge_counter");
constexpr char UBOOT_TIMER_FILE[] = BOOT_FILE("batt_precharge_uboottimer");
constexpr char UBOOT_FLAG_FILE[] = BOOT_FILE("batt_precharge_ubootflag");
constexpr char STATE_DIR[] = STATE_FILE("");
constexpr char FORMER_STATE_DIR[] = BOOT_FILE("");
#undef STATE_FILE
#undef BOOT_FILE

struct migration {
    const char* name;
    std::int32_t size;  // bytes of the record
};
constexpr migration MIGRATIONS[] = {
    {"batt_stress", 396}, {"last_datetime", 8}, {"charge_failures", 4},      {"dyn_soc_params", 20},
    {"toc_clients", 1},   {"last_battvolt", 4}, {"batt_precharge_timer", 4}, {"batt_precharge_counter", 4},
};
constexpr std::int32_t LARGEST_RECORD_SIZE = 396;
static_assert(std::all_of(std::begin(MIGRATIONS), std::end(MIGRATIONS),
                          [](const migration& m) { return m.size <= LARGEST_RECORD_SIZE; }));

constexpr std::int32_t PATH_SIZE = 1024;

std::int32_t import_record(const char* path, void* buffer, std::int32_t size) {
    return import_persistent_file(path, buffer, size) == FILE_NOT_OPENED ? 1 : 0;
}

std::int32_t export_record(const char* path, const void* buffer, std::int32_t size) {
    return export_persistent_file(path, buffer, size) == FILE_WRITE_FAILED ? 1 : 0;
}

// A source that is cut short is not copied: in the new place its tail would be read as if it were meant.
void migrate(const migration& entry) {
    char source[PATH_SIZE] = {};
    char destination[PATH_SIZE] = {};
    snprintf(source, sizeof source, "%s%s", FORMER_STATE_DIR, entry.name);
    snprintf(destination, sizeof destination, "%s%s", STATE_DIR, entry.name);
    if (os::is_readable_and_writable(destination)) return;

    char bytes[LARGEST_RECORD_SIZE] = {};
    if (import_persistent_file(source, bytes, entry.size) != entry.size) {
        LOG_ERROR("--- %s failed to read file, while migrating %s ---\n", source);
        return;
    }
    export_persistent_file(destination, bytes, entry.size);
}

}  // namespace

std::int32_t import_persistent_file(const char* path, void* buffer, std::int32_t size) {
    const int descriptor = os::open_to_read(path);
    if (descriptor < 0) {
        LOG_ERROR("--- %s file open error errno file %s ---\n", path);
        return FILE_NOT_OPENED;
    }
    const std::ptrdiff_t count = os::read(descriptor, buffer, static_cast<std::size_t>(size));
    if (count < 0) LOG_ERROR("--- %s file read error errno file %s ---\n", path);
    os::close(descriptor);
    return count < 0 ? FILE_READ_FAILED : static_cast<std::int32_t>(count);
}

std::int32_t export_persistent_file(const char* path, const void* buffer, std::int32_t size) {
    const int descriptor = os::open_to_write(path);
    if (descriptor < 0) {
        LOG_ERROR("--- %s file open error errno file %s ---\n", path);
        return FILE_WRITE_FAILED;
    }
    const std::ptrdiff_t count = os::write(descriptor, buffer, static_cast<std::size_t>(size));
    if (count < 0) LOG_ERROR("--- %s file write error errno file %s ---\n", path);
    os::close(descriptor);
    return count < 0 ? FILE_WRITE_FAILED : static_cast<std::int32_t>(count);
}

std::int32_t migrate_persistent_files() {
    for (const migration& entry : MIGRATIONS) migrate(entry);
    return 0;
}

std::int32_t import_value(const char* path) {
    std::int32_t value = INVALID_VALUE;
    const std::int32_t result = import_persistent_file(path, &value, sizeof value);
    return result == FILE_NOT_OPENED ? INVALID_VALUE : value;
}

std::int32_t export_value(const char* path, std::int32_t value) {
    return export_record(path, &value, sizeof value);
}

std::int32_t vorn_stress_import(void* buffer, std::int32_t size) {
    return import_record(STRESS_FILE, buffer, size);
}

std::int32_t vorn_stress_export(const void* buffer, std::int32_t size) {
    return export_record(STRESS_FILE, buffer, size);
}

std::int32_t vorn_dyn_soc_params_import(void* buffer, std::int32_t size) {
    return import_record(DYN_SOC_PARAMS_FILE, buffer, size);
}

std::int32_t vorn_dyn_soc_params_export(const void* buffer, std::int32_t size) {
    return export_record(DYN_SOC_PARAMS_FILE, buffer, size);
}

std::int32_t vorn_toc_clients_import(void* buffer, std::int32_t size) {
    return import_record(TOC_CLIENTS_FILE, buffer, size);
}

std::int32_t vorn_toc_clients_export(const void* buffer, std::int32_t size) {
    return export_record(TOC_CLIENTS_FILE, buffer, size);
}

std::int32_t vorn_precharge_timer_import() {
    return import_value(PRECHARGE_TIMER_FILE);
}

std::int32_t vorn_precharge_timer_export(std::int32_t value) {
    return export_value(PRECHARGE_TIMER_FILE, value);
}

std::int32_t vorn_precharge_counter_import() {
    return import_value(PRECHARGE_COUNTER_FILE);
}

std::int32_t vorn_precharge_counter_export(std::int32_t value) {
    return export_value(PRECHARGE_COUNTER_FILE, value);
}

std::int32_t vorn_charge_fail_counter_import() {
    return import_value(CHARGE_FAILURES_FILE);
}

std::int32_t vorn_charge_fail_counter_export(std::int32_t value) {
    return export_value(CHARGE_FAILURES_FILE, value);
}

std::int32_t vorn_uboot_timer_import() {
    return import_value(UBOOT_TIMER_FILE);
}

bool vorn_uboot_flag_import() {
    char flag = 0;
    return import_persistent_file(UBOOT_FLAG_FILE, &flag, sizeof flag) != FILE_NOT_OPENED && flag != 0;
}
