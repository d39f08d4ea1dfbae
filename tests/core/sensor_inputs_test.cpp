#include "core/sensor_inputs.h"

#include <gtest/gtest.h>

#include "tests/support/effects.h"
#include "util/sensor_value.h"

namespace {

const std::string BATTERY = "/sys/class/power_supply/battery/";
const std::string MOCK_THRESHOLD = "/data/vendor/vorn/mock_n_day_threshold_sec";

virtual_device::file& node(const std::string& path) {
    return virtual_device::the_device().at(path);
}

std::int32_t voltage_of(const std::string& text) {
    node(BATTERY + "voltage_now").put(text);
    return read_voltage_uv();
}

TEST(SensorInputs, ReadsNumbersAsTheyStand) {
    test::effects effects;
    EXPECT_EQ(voltage_of("4123456\n"), 4123456);
    EXPECT_EQ(voltage_of("-512000\n"), -512000);
    EXPECT_EQ(voltage_of("  42abc"), 42);
    EXPECT_EQ(voltage_of(""), 0);
    EXPECT_EQ(voltage_of("none\n"), 0);
    EXPECT_EQ(voltage_of(std::string("\0"
                                     "12",
                                     3)),
              0);
    EXPECT_EQ(voltage_of("\xff\xfe"), 0);
    EXPECT_EQ(voltage_of("4294967297\n"), 1);                    // the low 32 bits
    EXPECT_EQ(voltage_of("12345678901234567890"), -2045911175);  // its first 15 digits, low 32 bits
    EXPECT_TRUE(effects.take().empty());

    node(BATTERY + "voltage_now").remove();
    EXPECT_EQ(read_voltage_uv(), INVALID_VALUE);
    node(BATTERY + "voltage_now").put("1");
    node(BATTERY + "voltage_now").read_fails = true;
    EXPECT_EQ(read_voltage_uv(), INVALID_VALUE);
    const std::string line = "log 6 --- vorn file read error " + BATTERY + "voltage_now ---";
    EXPECT_EQ(effects.take(), (std::vector<std::string>{line, line}));
    EXPECT_EQ(virtual_device::the_device().open_count(), 0);
}

TEST(SensorInputs, KeepsTheStatusOfAnEmptyNodeOnly) {
    sensor_inputs_init();
    auto& status = node(BATTERY + "status");
    const auto read = [&](const std::string& text) {
        status.put(text);
        return read_sensors().status;
    };
    EXPECT_EQ(read(""), 0);
    EXPECT_EQ(read("Charging\n"), 1);
    EXPECT_EQ(read(""), 1);
    EXPECT_EQ(read("Discharging\r\n"), 2);
    EXPECT_EQ(read("Not charging"), 3);
    EXPECT_EQ(read("Full\nCharging"), 4);
    EXPECT_EQ(read("Not Charging\n"), 0);
    EXPECT_EQ(read("Full \n"), 0);
    EXPECT_EQ(read("Charging\n"), 1);
    status.remove();
    EXPECT_EQ(read_sensors().status, 0);
    EXPECT_EQ(read("Full\n"), 4);
    status.read_fails = true;
    EXPECT_EQ(read_sensors().status, 0);
}

// A missing test file comes into being at its first read, which no sysfs node can.
TEST(SensorInputs, CreatesTheTestFilesAndTakesNothingFromThem) {
    test::effects effects;
    EXPECT_EQ(read_sensors().mock_n_day_threshold_s, 0);
    EXPECT_TRUE(node(MOCK_THRESHOLD).exists);
    for (const std::string& line : effects.take())
        EXPECT_EQ(line.find(MOCK_THRESHOLD), std::string::npos) << line;
    node(MOCK_THRESHOLD).put("2147483647\n");
    EXPECT_EQ(read_sensors().mock_n_day_threshold_s, 0);
    node(MOCK_THRESHOLD).put("-5");
    EXPECT_EQ(read_sensors().mock_n_day_threshold_s, -5);
    node(MOCK_THRESHOLD).open_fails = true;
    EXPECT_EQ(read_sensors().mock_n_day_threshold_s, 0);
    EXPECT_EQ(read_mock_stress_offset(), 0U);
    node("/data/vendor/vorn/mock_batt_stress_offset").put("-1");
    EXPECT_EQ(read_mock_stress_offset(), 4294967295U);
}

TEST(SensorInputs, ReadsEveryNodeOnceInOrder) {
    test::effects effects;
    read_sensors();
    std::vector<std::string> expected;
    for (const char* path :
         {"/sys/class/power_supply/battery/voltage_now", "/sys/class/power_supply/battery/temp",
          "/sys/class/power_supply/battery/charge_counter", "/sys/class/power_supply/battery/cycle_count",
          "/sys/class/power_supply/battery/capacity", "/sys/class/power_supply/battery/device/gm30_ui_soc",
          "/sys/class/thermal/thermal_zone6/temp", "/sys/devices/platform/charger/vbus",
          "/sys/class/power_supply/battery/current_now", "/sys/class/power_supply/battery/status"}) {
        expected.push_back(std::string("log 6 --- vorn file read error ") + path + " ---");
    }
    EXPECT_EQ(effects.take(), expected);
}

TEST(SensorInputs, NamesTheCellVendor) {
    test::effects effects;
    char name[NODE_TEXT_SIZE];
    const auto vendor = [&](const std::string& text) {
        node(BATTERY + "device/cell_vendor_name").put(text);
        read_cell_vendor(name);
        return std::string(name);
    };
    EXPECT_EQ(vendor("ATL\n"), "ATL");
    EXPECT_EQ(vendor("ATL \n"), "ATL ");
    EXPECT_EQ(vendor("A\x01TL\x7f\xc3\n"), "A\x01TL");
    EXPECT_EQ(vendor(""), "");
    EXPECT_EQ(vendor("\n\t"), "");
    EXPECT_EQ(vendor("0123456789ABCDEFGH"), "0123456789ABCDE");
    EXPECT_TRUE(effects.take().empty());
    node(BATTERY + "device/cell_vendor_name").read_fails = true;
    EXPECT_EQ(vendor("ATL"), "UNKNOWN");
    EXPECT_EQ(effects.take().back(), "log 6 --- vorn error: cannot read cell vendor name");
}

TEST(SensorInputs, TrimsWithinBoundsOnly) {
    char text[17] = "0123456789ABCDEF";
    EXPECT_EQ(remove_trailing_chars(text, 17), INVALID_VALUE);
    EXPECT_EQ(remove_trailing_chars(text, 0), INVALID_VALUE);
    EXPECT_EQ(remove_trailing_chars(nullptr, 16), INVALID_VALUE);
    EXPECT_STREQ(text, "0123456789ABCDEF");
    EXPECT_EQ(remove_trailing_chars(text, 16), 15);
    EXPECT_STREQ(text, "0123456789ABCDE");
    char ended[16] = "ATL\n";
    EXPECT_EQ(remove_trailing_chars(ended, 16), 3);
    EXPECT_STREQ(ended, "ATL");
    char none[16] = "\n\r";
    EXPECT_EQ(remove_trailing_chars(none, 16), 0);
    EXPECT_STREQ(none, "");
    char one[1] = {'x'};
    EXPECT_EQ(remove_trailing_chars(one, 1), 0);
    EXPECT_EQ(one[0], '\0');
}

}  // namespace
