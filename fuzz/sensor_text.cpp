// Any bytes in the nodes: what is read is what the rules say, worked out here a second time.
//
// Input: the texts of the nodes below, one after another, separated by 0x1E; "?" is a missing node, "!" one
// that cannot be read. A second read of the same nodes follows.

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "core/sensor_inputs.h"
#include "once.h"
#include "util/sensor_value.h"
#include "util/status.h"

namespace {

constexpr std::size_t SEEN_CHARACTERS = 15;

// The nodes that hold a number, and where it goes.
constexpr std::pair<const char*, std::int32_t sensor_sample::*> NUMBERS[] = {
    {"/sys/class/power_supply/battery/voltage_now", &sensor_sample::voltage_uv},
    {"/sys/class/power_supply/battery/temp", &sensor_sample::temperature_decic},
    {"/sys/class/power_supply/battery/capacity", &sensor_sample::capacity_pct},
    {"/sys/class/power_supply/battery/device/gm30_ui_soc", &sensor_sample::ui_soc},
    {"/sys/class/thermal/thermal_zone6/temp", &sensor_sample::thermal_zone},
    {"/sys/class/power_supply/battery/current_now", &sensor_sample::current_ua}};
constexpr char STATUS[] = "/sys/class/power_supply/battery/status";
constexpr char MOCK_THRESHOLD[] = "/data/vendor/vorn/mock_n_day_threshold_sec";
constexpr char VENDOR[] = "/sys/class/power_supply/battery/device/cell_vendor_name";

using text = std::optional<std::string_view>;  // empty: cannot be read

// Blanks, a sign, digits; the first 15 characters, up to a zero byte.
std::int32_t number_of(std::string_view node) {
    node = node.substr(0, std::min(SEEN_CHARACTERS, node.size()));
    const auto is_blank = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    std::size_t i = 0;
    while (i < node.size() && is_blank(node[i])) ++i;
    const bool is_negative = i < node.size() && node[i] == '-';
    if (i < node.size() && (node[i] == '-' || node[i] == '+')) ++i;
    std::int64_t value = 0;
    for (; i < node.size() && node[i] >= '0' && node[i] <= '9'; ++i) value = value * 10 + (node[i] - '0');
    return static_cast<std::int32_t>(static_cast<std::uint64_t>(is_negative ? -value : value) & 0xFFFFFFFFU);
}

std::int32_t number_or_invalid(const text& node) {
    return node ? number_of(*node) : INVALID_VALUE;
}

std::int32_t status_of(const text& node, std::int32_t before) {
    if (!node) return STATUS_UNKNOWN;
    if (node->empty()) return before;
    std::string_view word = node->substr(0, std::min(SEEN_CHARACTERS, node->size()));
    word = word.substr(0, std::min(word.find_first_of(std::string_view("\r\n\0", 3)), word.size()));
    if (word == "Charging") return STATUS_CHARGING;
    if (word == "Discharging") return STATUS_DISCHARGING;
    if (word == "Not charging") return STATUS_NOT_CHARGING;
    return word == "Full" ? STATUS_FULL : STATUS_UNKNOWN;
}

// Up to the last printable character of the 16 read, the last of them given up for the terminator.
std::string_view vendor_of(const text& node) {
    if (!node) return "UNKNOWN";
    std::string_view name = node->substr(0, std::min(SEEN_CHARACTERS, node->size()));
    while (!name.empty() && (name.back() < ' ' || name.back() > '~')) name.remove_suffix(1);
    return name.substr(0, std::min(name.find('\0'), name.size()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto& device = fuzz::new_device();
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    const auto next_node = [&](const char* path) -> text {
        const std::string_view piece = fuzz::next_piece(rest, '\x1e');
        if (piece == "?" && path != MOCK_THRESHOLD)
            return {};  // a missing mock file is made, and reads as empty
        auto& file = device.at(path);
        file.put(piece);
        if (piece != "!") return piece;
        device.set_fault(file, &virtual_device::file::read_fails);
        return {};
    };
    std::array<text, std::size(NUMBERS)> numbers;
    for (std::size_t i = 0; i < numbers.size(); ++i) numbers[i] = next_node(NUMBERS[i].first);
    const text status_text = next_node(STATUS);
    const std::int32_t mock = number_or_invalid(next_node(MOCK_THRESHOLD));
    const text vendor = next_node(VENDOR);

    sensor_inputs_init();
    std::int32_t status = STATUS_UNKNOWN;
    for (int cycle = 0; cycle < 2; ++cycle) {
        const sensor_sample sample = read_sensors();
        status = status_of(status_text, status);
        for (std::size_t i = 0; i < numbers.size(); ++i)
            fuzz::expect(sample.*NUMBERS[i].second == number_or_invalid(numbers[i]), NUMBERS[i].first);
        fuzz::expect(sample.mock_n_day_threshold_s == (mock == INVALID_VALUE ? 0 : mock), MOCK_THRESHOLD);
        fuzz::expect(sample.status == status, STATUS);
    }
    char name[NODE_TEXT_SIZE];
    read_cell_vendor(name);
    fuzz::expect(vendor_of(vendor) == name, VENDOR);
    fuzz::expect(device.open_count() == 0, "descriptors");
    return 0;
}
