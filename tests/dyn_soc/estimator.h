// An estimator to test: the top of charge at 4450 mV, a cell whose curves are straight lines, and a parameter
// file in memory.
#pragma once

#include <cstdint>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "dyn_soc/internal.h"
#include "tests/support/effects.h"

namespace test {

// The curve at 50 °C falls from 4.5 V by 10 mV per point, each colder one lies 10 mV lower: 10 mV are 1010
// m%.
const batt_info& straight_cell();

struct reading {
    std::uint64_t elapsed_s = 0;
    std::int32_t voltage_uv = 4000000;
    std::int32_t current_ua = 0;
    std::int32_t temperature_decic = 500;
    std::int32_t thermal_mc = 50000;
    std::int32_t status = 2;
    std::int32_t ui_soc = 50;
};
std::int32_t update(const reading& seen);

class Estimator : public testing::Test {
  protected:
    Estimator();

    // Starts with a parameter file of these words, or without one.
    void start(const std::optional<std::vector<std::int32_t>>& file_words = {});

    // Starts, and puts the estimator behind a committed cycle at 1000 s: 4 V open-circuit, 50 %, discharging.
    // Returns the working record of a next cycle like it, 10 s on.
    dyn_soc::dyn_soc_record start_running();

    static void set_toc_step(std::uint8_t step);  // 50 mV each below 4450 mV

    effects said;
    static std::string file;  // bytes of the parameter file
    static bool is_writable;
};

}  // namespace test
