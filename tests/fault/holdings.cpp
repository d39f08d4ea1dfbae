#include "holdings.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/virtual/device.h"

namespace fault {

namespace {

using virtual_device::the_device;

constexpr std::size_t BUCKETS = 99;
constexpr double UNWRITTEN_H = 1.1;  // the table is written at the first sample after an hour

template <typename T>
T read(std::string_view name) {
    T value = {};
    const auto* file = the_device().find(std::string(virtual_device::NVCFG_DIR).append(name));
    if (file != nullptr && file->bytes.size() == sizeof value) {
        std::memcpy(&value, file->bytes.data(), sizeof value);
    }
    return value;
}

void add(std::vector<loss>& all, const char* what, double due, double held, double free) {
    if (!(held >= due - free)) all.push_back({what, due - held});
}

}  // namespace

holdings held_now() {
    holdings held;
    for (const float hours : read<std::array<float, BUCKETS>>("batt_stress"))
        held.stress_h += static_cast<double>(hours);
    held.step = read<unsigned char>("toc_clients");
    held.charge_failures = read<int>("charge_failures");
    held.precharges = read<int>("batt_precharge_counter");
    held.precharge_s = read<int>("batt_precharge_timer");
    return held;
}

std::vector<loss> losses(const holdings& due, const holdings& held) {
    std::vector<loss> all;
    add(all, "stress hours", due.stress_h, held.stress_h, UNWRITTEN_H);
    add(all, "steps", due.step, held.step, 0);
    add(all, "charge failures", due.charge_failures, held.charge_failures, 0);
    add(all, "precharges", due.precharges, held.precharges, 0);
    add(all, "precharge seconds", due.precharge_s, held.precharge_s, 0);
    return all;
}

std::size_t known_cost_of(std::string_view target, std::string_view what, bool is_cut) {
    const auto found = std::find_if(KNOWN_COSTS.begin(), KNOWN_COSTS.end(), [&](const known_cost& each) {
        return each.what == what && target.ends_with(each.target) && (is_cut || !each.is_by_cut);
    });
    return static_cast<std::size_t>(found - KNOWN_COSTS.begin());
}

}  // namespace fault
