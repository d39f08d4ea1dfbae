// An estimator to test: the top of charge at 4450 mV, a cell whose curves are straight lines, and the daemon's own
// parameter file.
#pragma once

#include <gtest/gtest.h>
#include <optional>

#include "dyn_soc/dyn_soc.h"
#include "dyn_soc/internal.h"
#include "tests/support/effects.h"

namespace test {

struct reading {
    std::uint64_t elapsed_s = 0;
    std::int32_t voltage_uv = 4000000;
    std::int32_t current_ua = 0;
    std::int32_t temperature_decic = 500;
    std::int32_t thermal_mc = 50000;
    std::int32_t status = 2;
    std::int32_t ui_soc = 5000;  // hundredths of a percent
};
std::int32_t update(const reading& seen);

class Estimator : public testing::Test {
  protected:
    using words = std::vector<std::int32_t>;  // of the parameter file
    using lines = std::vector<std::string>;

    Estimator();

    // Starts with a parameter file of these words, or without one. The cell's curve at 50 °C falls from 4.5 V by
    // 10 mV per point, each colder one lies 10 mV lower: 10 mV are 1010 m%.
    void start(const std::optional<words>& file_words = {});

    // Starts, and puts the estimator behind a committed cycle at 1000 s: 4 V open-circuit, 50 %, discharging.
    // Returns the working record of a next cycle like it, 10 s on.
    dyn_soc::dyn_soc_record start_running();

    effects said;
    virtual_device::file& file = virtual_device::the_device().at("/mnt/vendor/nvcfg/vorn/dyn_soc_params");
};

}  // namespace test
