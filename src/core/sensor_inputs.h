// sensor_inputs: what the battery, the charger and the thermal zone say, once per cycle.
//
// In    the nodes under /sys and the two test files under /data/vendor/vorn/
// Out   numbers; INVALID_VALUE where a node could not be read. No value is held against a range.
// State the status code and the text buffer of the status node
#pragma once

#include <cstdint>

// A node's text: 15 characters and the terminator.
constexpr std::int32_t NODE_TEXT_SIZE = 16;

struct sensor_sample {
    std::int32_t voltage_uv;
    std::int32_t temperature_decic;  // tenths of a degree Celsius
    std::int32_t capacity_pct;
    std::int32_t ui_soc;        // the gauge's own state of charge for display, hundredths of a percent
    std::int32_t thermal_zone;  // as read, thousandths of a degree Celsius by convention
    std::int32_t current_ua;    // positive while charging; unparsable text reads as 0
    std::int32_t mock_n_day_threshold_s;  // 0: none
    std::int32_t status;                  // status code (util/status.h)
};

// Forgets the status of earlier samples.
void sensor_inputs_init();

// Reads every node once, in a fixed order. An empty status node leaves the status as it was, one that cannot be
// read makes it STATUS_UNKNOWN.
sensor_sample read_sensors();

// The voltage (uV) and temperature (tenths of a degree Celsius) nodes alone.
std::int32_t read_voltage_uv();
std::int32_t read_temperature_decic();

// The test file that shifts the stress hours; 0 when it is absent, empty or no number.
std::uint32_t read_mock_stress_offset();

// Reads the cell vendor's name into `name`; "UNKNOWN" when its node cannot be read, empty when it is empty.
void read_cell_vendor(char (&name)[NODE_TEXT_SIZE]);

// Reads up to `size` bytes of `path`, creating an empty read-only file where one is missing and can be
// created. The last byte of `buffer` always becomes a terminator once the file could be opened. Returns the
// number of bytes read or, logged, RESULT_UNREADABLE.
[[nodiscard]] std::int32_t read_sysfs_str(const char* path, char* buffer, std::int32_t size);

// Ends `text` (of `length` bytes, 1 to NODE_TEXT_SIZE) after its last printable ASCII character; the last
// byte is always given up for the terminator. Returns the terminator's index; INVALID_VALUE, changing nothing,
// for a bad argument.
std::int32_t remove_trailing_chars(char* text, std::int32_t length);
