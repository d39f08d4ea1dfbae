#include "lab/session/sampler.h"

#include <algorithm>
#include <string>

#include "lab/session/device_files.h"
#include "util/arith.h"
#include "util/status.h"

namespace lab {

namespace {

using virtual_device::file;

constexpr std::size_t SEEN_SIZE = 15;

bool is_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Above 9 for what is no digit.
unsigned digit_of(char c) {
    return static_cast<unsigned char>(c) - unsigned{'0'};
}

const file& battery_node(virtual_device::device& on, std::string_view name) {
    return on.at(DEVICE_NODES[place_of_node(name)].path);
}

bool is_readable(const file& node) {
    return node.exists && !node.open_fails && !node.read_fails;
}

std::optional<std::int32_t> number_in(const file& node) {
    return is_readable(node) ? node_number(node.bytes) : std::nullopt;
}

}  // namespace

std::optional<std::int32_t> node_number(std::string_view text) {
    const char* at = text.data();
    const char* const end = at + std::min(text.size(), SEEN_SIZE);
    while (at != end && is_space(*at)) ++at;
    const bool is_negative = at != end && *at == '-';
    if (is_negative || (at != end && *at == '+')) ++at;
    const char* const digits = at;
    std::int64_t number = 0;  // of 15 digits at most
    for (; at != end && digit_of(*at) <= 9; ++at) number = number * 10 + digit_of(*at);
    if (at == digits) return std::nullopt;
    return arith::low32(is_negative ? -number : number);
}

std::int32_t node_status(std::string_view text) {
    text = text.substr(0, SEEN_SIZE);
    text = text.substr(0, text.find_first_of(std::string_view("\r\n\0", 3)));
    if (text == "Charging") return STATUS_CHARGING;
    if (text == "Discharging") return STATUS_DISCHARGING;
    if (text == "Not charging") return STATUS_NOT_CHARGING;
    if (text == "Full") return STATUS_FULL;
    return STATUS_UNKNOWN;
}

sampler::sampler(virtual_device::device& on)
    : voltage_(battery_node(on, "voltage_now")),
      current_(battery_node(on, "current_now")),
      temperature_(battery_node(on, "temp")),
      capacity_(battery_node(on, "capacity")),
      status_(battery_node(on, "status")) {}

sample sampler::read() {
    if (!is_readable(status_)) {
        last_status_ = STATUS_UNKNOWN;
        last_text_.clear();
    } else if (!status_.bytes.empty() && status_.bytes != last_text_) {
        last_status_ = node_status(status_.bytes);
        last_text_ = status_.bytes;
    }
    return {number_in(voltage_), number_in(current_), number_in(temperature_), number_in(capacity_),
            last_status_};
}

}  // namespace lab
