// persistent_files: the state that outlives the daemon, one small file of raw bytes per record.
//
// A record is the bytes of the value in memory, little-endian, without header or checksum
// (docs/state-files.md). Every call opens, transfers and closes; nothing is retried here. Failures are
// logged with their path.
#pragma once

#include <bit>
#include <cstdint>

#include "util/results.h"
#include "util/sensor_value.h"
#include "util/wiring.h"

static_assert(std::endian::native == std::endian::little, "records are copied byte for byte");

#define VORN_STATE_DIR "/mnt/vendor/nvcfg/vorn/"
#define VORN_BOOT_DIR "/data/vendor/vorn/"

struct state_file {
    const char* path;
    std::int32_t size;  // bytes of its record
};

// The daemon's own, in the order in which they are migrated.
inline constexpr state_file STRESS_FILE = {VORN_STATE_DIR "batt_stress", 396};
inline constexpr state_file LAST_DATETIME_FILE = {VORN_STATE_DIR "last_datetime", 8};
inline constexpr state_file CHARGE_FAILURES_FILE = {VORN_STATE_DIR "charge_failures", 4};
inline constexpr state_file DYN_SOC_PARAMS_FILE = {VORN_STATE_DIR "dyn_soc_params", 20};
inline constexpr state_file TOC_CLIENTS_FILE = {VORN_STATE_DIR "toc_clients", 1};
inline constexpr state_file LAST_BATTVOLT_FILE = {VORN_STATE_DIR "last_battvolt", 4};
inline constexpr state_file PRECHARGE_TIMER_FILE = {VORN_STATE_DIR "batt_precharge_timer", 4};
inline constexpr state_file PRECHARGE_COUNTER_FILE = {VORN_STATE_DIR "batt_precharge_counter", 4};

// The boot loader's reports of this boot; never written here.
inline constexpr state_file UBOOT_TIMER_FILE = {VORN_BOOT_DIR "batt_precharge_uboottimer", 4};
inline constexpr state_file UBOOT_FLAG_FILE = {VORN_BOOT_DIR "batt_precharge_ubootflag", 1};

// Reads up to `size` bytes into `buffer`; what the file does not have keeps what the caller put there.
// Returns the bytes read, RESULT_READ_FAILED or RESULT_UNREADABLE (not opened).
[[nodiscard]] std::int32_t import_persistent_file(const char* path, void* buffer, std::int32_t size);

// Writes `size` bytes to the start of the file, created when missing; bytes beyond stay. Returns the bytes
// written (a short write is not an error) or RESULT_UNWRITABLE.
[[nodiscard]] std::int32_t export_persistent_file(const char* path, const void* buffer, std::int32_t size);

// Copies each record that exists only in the former directory to the present one. A source that does not
// hold a whole record is left alone. Always returns 0.
std::int32_t migrate_persistent_files();

// A 4-byte record; INVALID_VALUE when the file could not be opened or holds nothing.
[[nodiscard]] std::int32_t import_value(const state_file& file);
// RESULT_DONE or RESULT_FAILED.
[[nodiscard]] std::int32_t export_value(const state_file& file, std::int32_t value);

// The features' files, each as a function value (util/wiring.h).
template <const state_file& FILE>
std::int32_t import_record_of(void* buffer, std::int32_t size) {
    return import_persistent_file(FILE.path, buffer, size) == RESULT_UNREADABLE ? RESULT_FAILED : RESULT_DONE;
}
template <const state_file& FILE>
std::int32_t export_record_of(const void* buffer, std::int32_t size) {
    return export_persistent_file(FILE.path, buffer, size) == RESULT_UNWRITABLE ? RESULT_FAILED : RESULT_DONE;
}
template <const state_file& FILE>
std::int32_t import_value_of() {
    return import_value(FILE);
}
template <const state_file& FILE>
std::int32_t export_value_of(std::int32_t value) {
    return export_value(FILE, value);
}

inline constexpr record_import_fn vorn_stress_import = import_record_of<STRESS_FILE>;
inline constexpr record_export_fn vorn_stress_export = export_record_of<STRESS_FILE>;
inline constexpr record_import_fn vorn_dyn_soc_params_import = import_record_of<DYN_SOC_PARAMS_FILE>;
inline constexpr record_export_fn vorn_dyn_soc_params_export = export_record_of<DYN_SOC_PARAMS_FILE>;
inline constexpr record_import_fn vorn_toc_clients_import = import_record_of<TOC_CLIENTS_FILE>;
inline constexpr record_export_fn vorn_toc_clients_export = export_record_of<TOC_CLIENTS_FILE>;
inline constexpr value_import_fn vorn_precharge_timer_import = import_value_of<PRECHARGE_TIMER_FILE>;
inline constexpr value_export_fn vorn_precharge_timer_export = export_value_of<PRECHARGE_TIMER_FILE>;
inline constexpr value_import_fn vorn_precharge_counter_import = import_value_of<PRECHARGE_COUNTER_FILE>;
inline constexpr value_export_fn vorn_precharge_counter_export = export_value_of<PRECHARGE_COUNTER_FILE>;
inline constexpr value_import_fn vorn_charge_fail_counter_import = import_value_of<CHARGE_FAILURES_FILE>;
inline constexpr value_export_fn vorn_charge_fail_counter_export = export_value_of<CHARGE_FAILURES_FILE>;
inline constexpr value_import_fn vorn_uboot_timer_import = import_value_of<UBOOT_TIMER_FILE>;

// False when the file could not be opened or holds nothing.
bool vorn_uboot_flag_import();
