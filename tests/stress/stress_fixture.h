// What the stress tests share: the table as an image, in its file and in memory.
#pragma once

#include <array>
#include <cstring>
#include <gmock/gmock.h>

#include "core/persistent_files.h"
#include "stress/stress_table.h"
#include "tests/support/effects.h"

namespace test {

using stress_image = std::array<float, STRESS_TABLE_SIZE / sizeof(float)>;

constexpr std::size_t bucket_of(int row, int column) {
    return static_cast<std::size_t>(TEMP_BANDS * row + column);
}

inline virtual_device::file& stress_file() {
    return virtual_device::the_device().at("/mnt/vendor/nvcfg/vorn/batt_stress");
}

inline void put_table(const stress_image& image) {
    stress_file().put({reinterpret_cast<const char*>(image.data()), sizeof image});
}

// The table as it stands in memory.
inline stress_image table_now() {
    static stress_image copy;
    (void)stress_table__export([](const void* buffer, std::int32_t size) -> std::int32_t {
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
