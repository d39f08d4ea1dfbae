#include "core/persistent_files.h"

#include <algorithm>
#include <cstdio>
#include <iterator>

#include "platform/os.h"
#include "util/log.h"

namespace {

constexpr const state_file* MIGRATED[] = {
    &STRESS_FILE,      &LAST_DATETIME_FILE, &CHARGE_FAILURES_FILE, &DYN_SOC_PARAMS_FILE,
    &TOC_CLIENTS_FILE, &LAST_BATTVOLT_FILE, &PRECHARGE_TIMER_FILE, &PRECHARGE_COUNTER_FILE,
};
constexpr std::int32_t LARGEST_RECORD_SIZE = 396;
static_assert(std::all_of(std::begin(MIGRATED), std::end(MIGRATED),
                          [](const state_file* file) { return file->size <= LARGEST_RECORD_SIZE; }));

constexpr std::size_t STATE_DIR_LENGTH = sizeof VORN_STATE_DIR - 1;
constexpr std::int32_t PATH_SIZE = 1024;

// A source that is cut short is not copied: in the new place its tail would be read as if it were meant.
void migrate(const state_file& file) {
    if (os::is_readable_and_writable(file.path)) return;
    char source[PATH_SIZE] = {};
    snprintf(source, sizeof source, "%s%s", VORN_BOOT_DIR, file.path + STATE_DIR_LENGTH);
    char bytes[LARGEST_RECORD_SIZE] = {};
    if (import_persistent_file(source, bytes, file.size) != file.size) {
        LOG_ERROR("failed to read file, while migrating %s ---\n", source);
        return;
    }
    (void)export_persistent_file(file.path, bytes, file.size);  // a failure is tried again at the next start
}

}  // namespace

std::int32_t import_persistent_file(const char* path, void* buffer, std::int32_t size) {
    const int descriptor = os::open_to_read(path);
    if (descriptor < 0) {
        LOG_ERROR("file open error errno file %s ---\n", path);
        return RESULT_UNREADABLE;
    }
    const std::ptrdiff_t count = os::read(descriptor, buffer, static_cast<std::size_t>(size));
    if (count < 0) LOG_ERROR("file read error errno file %s ---\n", path);
    os::close(descriptor);
    return count < 0 ? RESULT_READ_FAILED : static_cast<std::int32_t>(count);
}

std::int32_t export_persistent_file(const char* path, const void* buffer, std::int32_t size) {
    const int descriptor = os::open_to_write(path);
    if (descriptor < 0) {
        LOG_ERROR("file open error errno file %s ---\n", path);
        return RESULT_UNWRITABLE;
    }
    const std::ptrdiff_t count = os::write(descriptor, buffer, static_cast<std::size_t>(size));
    if (count < 0) LOG_ERROR("file write error errno file %s ---\n", path);
    os::close(descriptor);
    return count < 0 ? RESULT_UNWRITABLE : static_cast<std::int32_t>(count);
}

std::int32_t migrate_persistent_files() {
    for (const state_file* file : MIGRATED) migrate(*file);
    return RESULT_DONE;
}

std::int32_t import_value(const state_file& file) {
    std::int32_t value = INVALID_VALUE;
    const std::int32_t result = import_persistent_file(file.path, &value, sizeof value);
    return result == RESULT_UNREADABLE ? INVALID_VALUE : value;
}

std::int32_t export_value(const state_file& file, std::int32_t value) {
    const std::int32_t result = export_persistent_file(file.path, &value, sizeof value);
    return result == RESULT_UNWRITABLE ? RESULT_FAILED : RESULT_DONE;
}

bool vorn_uboot_flag_import() {
    char flag = 0;
    const std::int32_t result = import_persistent_file(UBOOT_FLAG_FILE.path, &flag, sizeof flag);
    return result != RESULT_UNREADABLE && flag != 0;
}
