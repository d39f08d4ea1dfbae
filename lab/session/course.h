// A course of events: what happens to the device, boot by boot and cycle by cycle.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/virtual/device.h"

namespace lab {

// What outlives a boot.
struct device_image {
    std::map<std::string, std::string> files;  // path -> bytes, state files only
    std::map<std::string, std::string> properties;

    // Properties that are no "persist." ones are gone with their boot.
    void forget_volatile() {
        std::erase_if(properties, [](const auto& entry) {
            return !entry.first.starts_with(virtual_device::PERSISTENT_PREFIX);
        });
    }
};

// The charge that the daemon calls empty and full, as voltages at rest.
struct charge_limits {
    std::int32_t bottom_mv = 0, top_mv = 0;
};

// What happens to the device from cycle to cycle: a recorded trace, or a simulated phone.
// Lives in the child; its state crosses boots through save() and load().
class course {
  public:
    virtual ~course() = default;

    // Sets the device for the start-up of the next boot (elapsed 0) and gives the number of that boot.
    virtual std::int64_t begin_boot(virtual_device::device& device) = 0;

    // Sets the device for the next cycle, clock included. False: this boot is over.
    virtual bool next_cycle(virtual_device::device& device) = 0;

    // After a boot, in the same child: whether another one follows.
    virtual bool has_more_boots() = 0;

    // Names and present values of the phone's own columns, to three decimals; none in a replay.
    virtual std::vector<std::string> truth_names() const { return {}; }
    virtual void truth(const charge_limits& /*of*/, std::vector<double>& /*values*/) const {}

    // Everything begin_boot and next_cycle depend on, as bytes.
    virtual std::string save() const = 0;
    virtual void load(const std::string& state) = 0;

    // How much of the course is over, 0 to 1; -1 when not known.
    virtual double progress() const { return -1; }

    // Where in its input the course is, for messages: a file's name and a line. Empty and 0 when not known.
    virtual std::string source_name() const { return {}; }
    virtual std::int64_t source_line() const { return 0; }
};

}  // namespace lab
