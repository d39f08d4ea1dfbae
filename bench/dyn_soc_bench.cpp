// How long one cycle of the estimator takes.

#include <array>
#include <benchmark/benchmark.h>

#include "battery/batt_info.h"
#include "charge_mgr/charge_mgr.h"
#include "dyn_soc/dyn_soc.h"

namespace {

struct sample {
    std::int32_t voltage_uv;
    std::int32_t current_ua;
    std::int32_t temperature_decic;
    std::int32_t status;
};

// A stretch of use: voltage, current and temperature wander; every `per_status` cycles the charger comes or
// goes, which empties the averages and restarts the smoother.
std::array<sample, 4096> stretch_of_use(std::uint32_t per_status) {
    std::array<sample, 4096> samples{};
    std::uint32_t seed = 1;
    const auto up_to = [&seed](std::uint32_t limit) {
        seed = static_cast<std::uint32_t>((std::uint64_t{seed} * 48271U) % 2147483647U);
        return static_cast<std::int32_t>(seed % limit);
    };
    std::int32_t voltage_uv = 3900000;
    for (std::uint32_t i = 0; i < samples.size(); ++i) {
        const bool is_charging = i / per_status % 2 == 1;
        voltage_uv += is_charging ? up_to(2000) : -up_to(2000);
        if (voltage_uv < 3450000 || voltage_uv > 4440000) voltage_uv = 3900000;
        const std::int32_t current_ua = 100000 + up_to(2500000);
        samples[i] = {voltage_uv, is_charging ? current_ua : -current_ua, 250 + up_to(40),
                      is_charging ? 1 : 2};
    }
    return samples;
}

void start_estimator() {
    const auto read_nothing = [](void*, std::int32_t) { return 1; };
    const auto write_nothing = [](const void*, std::int32_t) { return 0; };
    batt_info__init("ATL");
    charge_mgr__init(
        read_nothing, write_nothing, [] { return 4450; }, [](std::int32_t) { return 0; });
    (void)dyn_soc__init(read_nothing, write_nothing);
}

void dyn_soc_update(benchmark::State& state) {
    const auto samples = stretch_of_use(static_cast<std::uint32_t>(state.range(0)));
    start_estimator();
    std::uint64_t elapsed_s = 0;
    std::size_t i = 0;
    for (auto _ : state) {
        const sample& now = samples[i++ % samples.size()];
        elapsed_s += 10;
        benchmark::DoNotOptimize(dyn_soc__update(elapsed_s, now.voltage_uv, now.current_ua,
                                                 now.temperature_decic, now.temperature_decic * 100,
                                                 now.status, 50));
    }
}
BENCHMARK(dyn_soc_update)->ArgName("cycles_per_status")->Arg(4096)->Arg(256)->Arg(6);

}  // namespace
