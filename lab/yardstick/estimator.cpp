#include <algorithm>
#include <cmath>
#include <cstring>

#include "battery/batt_info.h"
#include "charge_mgr/charge_mgr.h"
#include "dyn_soc/dyn_soc.h"
#include "dyn_soc/internal.h"
#include "lab/io/print.h"
#include "lab/yardstick/yardstick.h"
#include "util/sensor_value.h"

namespace lab::yardstick {

namespace {

struct {
    std::int32_t toc_mv;
    std::int32_t params[5];
} given;

// The filtered pairs that stand for `known`, as large as the estimator's own defaults are.
void keep_params(const cell& known) {
    constexpr std::int32_t DCR_DEN = 10000;
    constexpr std::int32_t QMAX_NUM = 2000;
    given.params[0] = 1;
    given.params[1] = static_cast<std::int32_t>(std::lround(known.resistance_mohm * 100));
    given.params[2] = DCR_DEN;
    given.params[3] = QMAX_NUM;
    given.params[4] = static_cast<std::int32_t>(std::lround(QMAX_NUM * 10000 / known.capacity_as));
}

}  // namespace

namespace estimator {

void start(const char* vendor, std::int32_t toc_mv, const cell& known) {
    given.toc_mv = toc_mv;
    keep_params(known);
    const auto write_nothing = [](const void*, std::int32_t) { return 0; };
    batt_info__init(vendor);
    // A setter that fails leaves the manager with the voltage that the getter gave.
    charge_mgr__init([](void*, std::int32_t) { return 1; }, write_nothing, [] { return given.toc_mv; },
                     [](std::int32_t) { return 1; });
    ::dyn_soc::s = {};
    (void)dyn_soc__init(
        [](void* buffer, std::int32_t size) {
            std::memcpy(buffer, given.params, std::min(static_cast<std::size_t>(size), sizeof given.params));
            return 0;
        },
        write_nothing);
}

bool update(const sample& seen) {
    return dyn_soc__update(seen.elapsed_s, seen.voltage_uv, seen.current_ua, seen.temperature_decic,
                           INVALID_VALUE, seen.status, INVALID_VALUE) == RESULT_DONE;
}

double soc_pct() {
    return ::dyn_soc::s.prev.soc_scal.value / 1000.0;
}

double shown_pct() {
    return ::dyn_soc::s.prev.soc_smooth.value / 1000.0;
}

cell learnt() {
    return {::dyn_soc::s.prev.dcr.value / 10.0, static_cast<double>(::dyn_soc::s.prev.qmax.value)};
}

}  // namespace estimator

void score::add(double estimate_pct, double truth_pct) {
    const double error = estimate_pct - truth_pct;
    sum_ += error;
    sum_magnitude_ += std::abs(error);
    largest_ = std::max(largest_, std::abs(error));
    count_ += 1;
}

void score::append(std::string& out) const {
    if (is_empty()) {
        print(out, " %5s %5s %5s ", "-", "-", "-");
        return;
    }
    print(out, " %+5.1f %5.1f %5.1f ", sum_ / count_, sum_magnitude_ / count_, largest_);
}

}  // namespace lab::yardstick
