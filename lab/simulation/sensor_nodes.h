// The simulated phone's readings as the text of the device's sysfs nodes.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "lab/phone/gauge.h"
#include "lab/scenario/scenario.h"
#include "lab/session/device_files.h"
#include "platform/virtual/device.h"

namespace lab {

// The events that make a node read something else, by its place in DEVICE_NODES; null for most.
using node_overrides = std::array<const scenario_event*, DEVICE_NODES.size()>;

// A node's or mock file's text, with the line end that the kernel gives it.
void put_line(virtual_device::file& into, std::string_view text);

class sensor_nodes {
  public:
    // For the start of a boot: the device is a new one.
    void find(virtual_device::device& on);

    void show(const phone::readings& read, const std::string& vendor, const node_overrides& instead);

  private:
    struct node {
        virtual_device::file* file = nullptr;
        std::optional<std::int32_t> shown;  // the reading that its text stands for; none after an override
    };

    void put_number(std::size_t place, std::int32_t value);
    void put_text(std::size_t place, std::int32_t number, std::string_view text);
    void put_override(node& into, const scenario_event& event);

    std::array<node, DEVICE_NODES.size()> nodes_;
};

}  // namespace lab
