// One cycle of the whole daemon on the virtual device, and the heap allocations in it.

#include <array>
#include <atomic>
#include <benchmark/benchmark.h>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>

#include "core/daemon.h"
#include "platform/virtual/device.h"

namespace {

// Atomic, since the compiler takes it that operator new leaves ordinary variables alone.
std::atomic<std::int64_t> allocations = 0;

}  // namespace

// Every allocation of this program is counted. Kept out of line: inlined, g++ takes the pair for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
    ++allocations;
    if (void* const memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace {

using virtual_device::device;
using virtual_device::file;

constexpr std::pair<const char*, const char*> NODES[] = {
#define VORN_NODE(path, text) {path, text "\n"},
#include "tests/support/ordinary_device.def"
#undef VORN_NODE
};

// The wall clock is set and the stress property as the daemon leaves it, so that no reboot is asked for.
device& ordinary_device() {
    device& on = virtual_device::the_device();
    for (const auto& [path, text] : NODES) on.at(path).put(text);
    on.properties["persist.vendor.vorn.batt_stress"] = "4450";
    on.real_time_s = 1767225600;
    return on;
}

// Until then every file has been written and every property set once: the virtual device keeps them on the heap.
constexpr std::int64_t WARM_UP_S = 3 * 86400;

// Voltage and current wander, so that nothing is looked up twice in the same place.
void daemon_cycle_on_virtual_device(benchmark::State& state) {
    device& on = ordinary_device();
    file& voltage = on.at(NODES[0].first);
    file& current = on.at(NODES[8].first);
    std::array<std::string, 512> voltages;
    std::array<std::string, 512> currents;
    for (std::size_t i = 0; i < voltages.size(); ++i) {
        voltages[i] = std::to_string(3900000 + i * 271 % 997 * 100) + "\n";
        currents[i] = std::to_string(-300000 - static_cast<std::int64_t>(i * 389 % 991) * 100) + "\n";
    }
    std::size_t i = 0;
    const auto next_cycle = [&] {
        on.elapsed_s += 10;
        on.real_time_s += 10;
        voltage.put(voltages[i % voltages.size()]);
        current.put(currents[i++ % currents.size()]);
        daemon_cycle();
    };
    daemon_start();
    while (on.elapsed_s < WARM_UP_S) next_cycle();
    const std::int64_t before = allocations;
    for (auto _ : state) next_cycle();
    const std::int64_t allocated = allocations - before;
    state.SetItemsProcessed(state.iterations());
    state.counters["allocations"] = static_cast<double>(allocated);
    if (allocated != 0) state.SkipWithError("the cycle has allocated memory");
}
BENCHMARK(daemon_cycle_on_virtual_device);

}  // namespace
