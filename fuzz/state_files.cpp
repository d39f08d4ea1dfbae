// Any bytes in the state files and properties at start-up: the daemon starts, runs, and starts again.
//
// Input: entries, each an index into the names below, a length and that many bytes. The last byte left over
// chooses the wall clock.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/daemon.h"
#include "core/sys_properties.h"
#include "once.h"
#include "tests/fault/road.h"

namespace {

const std::vector<std::string>& names() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> made;
        for (const std::string_view dir : {virtual_device::NVCFG_DIR, virtual_device::DATA_DIR}) {
            for (const char* file :
                 {"batt_stress", "last_datetime", "charge_failures", "dyn_soc_params", "toc_clients",
                  "last_battvolt", "batt_precharge_timer", "batt_precharge_counter"})
                made.push_back(std::string(dir) + file);
        }
        for (const char* file : {"batt_precharge_uboottimer", "batt_precharge_ubootflag",
                                 "mock_batt_stress_offset", "mock_n_day_threshold_sec"})
            made.push_back(std::string(virtual_device::DATA_DIR) + file);
        made.insert(made.end(), {TOC_PROPERTY, STRESS_PROPERTY, PRECHARGE_PROPERTY, DISABLE_PROPERTY});
        return made;
    }();
    return all;
}

// Fills the device; what is left over.
std::string_view place(virtual_device::device& device, std::string_view input) {
    while (input.size() > 2) {
        const std::string& name = names()[static_cast<unsigned char>(input[0]) % names().size()];
        const std::size_t wanted =
            static_cast<unsigned char>(input[1]) * 2U;  // a stress table is 396 bytes long
        const std::string_view bytes = input.substr(2, wanted);
        input.remove_prefix(2 + bytes.size());
        if (name.starts_with('/')) {
            device.at(name).put(bytes);
        } else {
            device.properties[name] = bytes.substr(0, bytes.find('\0'));
        }
    }
    return input;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto& device = fuzz::new_device();
    const std::string_view left = place(device, {reinterpret_cast<const char*>(data), size});
    constexpr std::int64_t day_s = 86400;
    const std::int64_t now_s = left.empty() ? 1772366400 : static_cast<unsigned char>(left[0]) * 400 * day_s;

    fault::watch seen;
    seen.expect_all_torn();
    for (int boot = 0; boot < 2; ++boot) {
        const std::int64_t start_s = now_s + boot * 10 * day_s;
        fault::arrive(device, {0, start_s, 4210, 900, 310, 88, "Charging", ""}, 0);
        daemon_start();
        // Now, at the first hourly write, and past the 48-hour evaluation.
        for (const std::int64_t elapsed_s : {0, 3601, 172801}) {
            fault::arrive(device, {elapsed_s, start_s + elapsed_s, 4210, 900, 310, 88, "Charging", ""}, 0);
            daemon_cycle();
            seen.after_faultless_cycle();
        }
    }
    fuzz::expect_kept(seen);
    return 0;
}
