// persistent_files: the state that outlives the daemon, one small file of raw bytes per record.
//
// A record is the bytes of the value in memory, little-endian, without header or checksum
// (docs/state-files.md). Every call opens, transfers and closes; nothing is retried here. Failures are
// logged with their path.
#pragma once

#include <bit>
#include <cstdint>

static_assert(std::endian::native == std::endian::little, "records are copied byte for byte");

constexpr std::int32_t FILE_NOT_OPENED = -98;    // result of an import
constexpr std::int32_t FILE_READ_FAILED = -1;    // result of an import
constexpr std::int32_t FILE_WRITE_FAILED = -97;  // result of an export: not opened or not written

// Reads up to `size` bytes into `buffer`; what the file does not have keeps what the caller put there.
// Returns the bytes read, FILE_READ_FAILED or FILE_NOT_OPENED.
std::int32_t import_persistent_file(const char* path, void* buffer, std::int32_t size);

// Writes `size` bytes to the start of the file, created when missing; bytes beyond stay. Returns the bytes
// written (a short write is not an error) or FILE_WRITE_FAILED.
std::int32_t export_persistent_file(const char* path, const void* buffer, std::int32_t size);

// Copies each record that exists only in the former directory to the present one. A source that does not
// hold a whole record is left alone. Always returns 0.
std::int32_t migrate_persistent_files();

// The files the core itself keeps.
constexpr char LAST_DATETIME_FILE[] = "/mnt/vendor/nvcfg/vorn/last_datetime";
constexpr char LAST_BATTVOLT_FILE[] = "/mnt/vendor/nvcfg/vorn/last_battvolt";

// The features' files, each as a function value (util/wiring.h).
std::int32_t vorn_stress_import(void* buffer, std::int32_t size);
std::int32_t vorn_stress_export(const void* buffer, std::int32_t size);
std::int32_t vorn_dyn_soc_params_import(void* buffer, std::int32_t size);
std::int32_t vorn_dyn_soc_params_export(const void* buffer, std::int32_t size);
std::int32_t vorn_toc_clients_import(void* buffer, std::int32_t size);
std::int32_t vorn_toc_clients_export(const void* buffer, std::int32_t size);
std::int32_t vorn_precharge_timer_import();
std::int32_t vorn_precharge_timer_export(std::int32_t value);
std::int32_t vorn_precharge_counter_import();
std::int32_t vorn_precharge_counter_export(std::int32_t value);
std::int32_t vorn_charge_fail_counter_import();
std::int32_t vorn_charge_fail_counter_export(std::int32_t value);

// The boot loader's reports of this boot; never written here.
std::int32_t vorn_uboot_timer_import();
bool vorn_uboot_flag_import();

// A 4-byte record; INVALID_VALUE when the file could not be opened or holds nothing.
std::int32_t import_value(const char* path);
// 0 on success, 1 on failure.
std::int32_t export_value(const char* path, std::int32_t value);
