// The files of the device that something outside the daemon writes.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace lab {

// A file that the daemon reads; its name stands for it in traces and scenarios.
struct device_file {
    std::string_view name;
    std::string_view path;
};

// Sysfs nodes.
constexpr std::array<device_file, 11> DEVICE_NODES = {{
    {"voltage_now", "/sys/class/power_supply/battery/voltage_now"},
    {"temp", "/sys/class/power_supply/battery/temp"},
    {"charge_counter", "/sys/class/power_supply/battery/charge_counter"},
    {"cycle_count", "/sys/class/power_supply/battery/cycle_count"},
    {"capacity", "/sys/class/power_supply/battery/capacity"},
    {"current_now", "/sys/class/power_supply/battery/current_now"},
    {"status", "/sys/class/power_supply/battery/status"},
    {"gm30_ui_soc", "/sys/class/power_supply/battery/device/gm30_ui_soc"},
    {"cell_vendor_name", "/sys/class/power_supply/battery/device/cell_vendor_name"},
    {"thermal_zone6_temp", "/sys/class/thermal/thermal_zone6/temp"},
    {"vbus", "/sys/devices/platform/charger/vbus"},
}};

// Places in DEVICE_NODES.
enum node_place : std::size_t {
    NODE_VOLTAGE,
    NODE_TEMPERATURE,
    NODE_CHARGE_COUNTER,
    NODE_CYCLE_COUNT,
    NODE_CAPACITY,
    NODE_CURRENT,
    NODE_STATUS,
    NODE_UI_SOC,
    NODE_VENDOR,
    NODE_ZONE,
    NODE_VBUS,
};
static_assert(DEVICE_NODES[NODE_VBUS].name == "vbus" && DEVICE_NODES[NODE_STATUS].name == "status" &&
              DEVICE_NODES[NODE_VENDOR].name == "cell_vendor_name");

// The place in DEVICE_NODES of the node with this name, which is one of them.
constexpr std::size_t place_of_node(std::string_view name) {
    std::size_t place = 0;
    while (DEVICE_NODES[place].name != name) ++place;
    return place;
}

// Files by which a tester tells the daemon other numbers than the device's own.
constexpr std::array<device_file, 2> MOCK_FILES = {{
    {"mock_n_day_threshold_sec", "/data/vendor/vorn/mock_n_day_threshold_sec"},
    {"mock_batt_stress_offset", "/data/vendor/vorn/mock_batt_stress_offset"},
}};

// Files that the boot loader writes.
constexpr std::array<device_file, 2> BOOT_LOADER_FILES = {{
    {"batt_precharge_uboottimer", "/data/vendor/vorn/batt_precharge_uboottimer"},
    {"batt_precharge_ubootflag", "/data/vendor/vorn/batt_precharge_ubootflag"},
}};

}  // namespace lab
