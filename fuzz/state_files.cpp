// Any bytes in the state files and properties at start-up: the daemon starts, runs, and starts again.
//
// Input: entries, each an index into the names below, a length and that many bytes. The last byte left over
// chooses the wall clock.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/daemon.h"
#include "once.h"
#include "tests/fault/road.h"

namespace {

constexpr std::array<std::string_view, 24> NAMES = {"/mnt/vendor/nvcfg/vorn/batt_stress",
                                                    "/mnt/vendor/nvcfg/vorn/last_datetime",
                                                    "/mnt/vendor/nvcfg/vorn/charge_failures",
                                                    "/mnt/vendor/nvcfg/vorn/dyn_soc_params",
                                                    "/mnt/vendor/nvcfg/vorn/toc_clients",
                                                    "/mnt/vendor/nvcfg/vorn/last_battvolt",
                                                    "/mnt/vendor/nvcfg/vorn/batt_precharge_timer",
                                                    "/mnt/vendor/nvcfg/vorn/batt_precharge_counter",
                                                    "/data/vendor/vorn/batt_stress",
                                                    "/data/vendor/vorn/last_datetime",
                                                    "/data/vendor/vorn/charge_failures",
                                                    "/data/vendor/vorn/dyn_soc_params",
                                                    "/data/vendor/vorn/toc_clients",
                                                    "/data/vendor/vorn/last_battvolt",
                                                    "/data/vendor/vorn/batt_precharge_timer",
                                                    "/data/vendor/vorn/batt_precharge_counter",
                                                    "/data/vendor/vorn/batt_precharge_uboottimer",
                                                    "/data/vendor/vorn/batt_precharge_ubootflag",
                                                    "/data/vendor/vorn/mock_batt_stress_offset",
                                                    "/data/vendor/vorn/mock_n_day_threshold_sec",
                                                    "persist.vendor.vorn.toc",
                                                    "persist.vendor.vorn.batt_stress",
                                                    "persist.vendor.vorn.precharge_disable_charging.enabled",
                                                    "persist.vendor.vorn.disable_charging.enabled"};

// Fills the device; what is left over.
std::string_view place(virtual_device::device& device, std::string_view input) {
    while (input.size() > 2) {
        const std::string_view name = NAMES[static_cast<unsigned char>(input[0]) % NAMES.size()];
        const std::size_t wanted =
            static_cast<unsigned char>(input[1]) * 2U;  // a stress table is 396 bytes long
        const std::string_view bytes = input.substr(2, wanted);
        input.remove_prefix(2 + bytes.size());
        if (name.starts_with('/')) {
            device.at(name).put(bytes);
        } else {
            device.properties[std::string(name)] = bytes.substr(0, bytes.find('\0'));
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
        fault::restart_daemon();
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
