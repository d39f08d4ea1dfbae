// What the stress tests share: a table file in memory, a top-of-charge manager with working files and
// properties, and the lines of what the feature does.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "charge_mgr/charge_mgr.h"
#include "stress/stress_table.h"
#include "tests/support/effects.h"

namespace test {

using stress_image = std::array<float, STRESS_TABLE_SIZE / sizeof(float)>;

constexpr std::size_t bucket_of(int row, int column) {
    return static_cast<std::size_t>(TEMP_BANDS * row + column);
}

// What stands behind the function values handed to the features.
struct stress_surroundings {
    stress_image file{};
    std::size_t file_bytes = STRESS_TABLE_SIZE;  // of the file that a read gives
    int failing_imports = 0;                     // so many of the next ones
    int imports = 0;
    int exports = 0;
    std::int32_t export_result = 0;
    std::vector<float> power_off_hours;  // given in turn; then 0
    std::size_t power_off_calls = 0;
    std::uint8_t stored_step = 0;
    std::vector<std::int32_t> published_mv;  // to the stress client's property
    std::int32_t publish_result = 0;
};
inline stress_surroundings around;

inline std::int32_t import_table(void* buffer, std::int32_t size) {
    EXPECT_EQ(size, 396);
    ++around.imports;
    if (around.failing_imports > 0) return --around.failing_imports, 1;
    std::memcpy(buffer, around.file.data(), around.file_bytes);
    return 0;
}

inline std::int32_t export_table(const void* buffer, std::int32_t size) {
    EXPECT_EQ(size, 396);
    ++around.exports;
    if (around.export_result == 0) std::memcpy(around.file.data(), buffer, STRESS_TABLE_SIZE);
    return around.export_result;
}

inline float power_off_time() {
    const std::size_t call = around.power_off_calls++;
    return call < around.power_off_hours.size() ? around.power_off_hours[call] : 0.0F;
}

inline std::int32_t publish_stress_mv(std::int32_t voltage_mv) {
    around.published_mv.push_back(voltage_mv);
    return around.publish_result;
}

inline void start_charge_mgr() {
    charge_mgr__init(
        [](void* buffer, std::int32_t) -> std::int32_t {
            std::memcpy(buffer, &around.stored_step, 1);
            return 0;
        },
        [](const void* buffer, std::int32_t) -> std::int32_t {
            std::memcpy(&around.stored_step, buffer, 1);
            return 0;
        },
        [] { return 4450; }, [](std::int32_t) { return 0; });
}

// The table as it stands in memory.
inline stress_image table_now() {
    static stress_image copy;
    stress_table__export([](const void* buffer, std::int32_t size) -> std::int32_t {
        std::memcpy(copy.data(), buffer, static_cast<std::size_t>(size));
        return 0;
    });
    return copy;
}

// The table with one bucket filled and the others as they are in `base`.
inline stress_image with(stress_image base, int row, int column, float hours) {
    base[bucket_of(row, column)] = hours;
    return base;
}

}  // namespace test
