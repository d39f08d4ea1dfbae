#include "restart.h"

#include <utility>

#include "platform/virtual/device.h"

namespace fault {

void lose_power() {
    auto& device = virtual_device::the_device();
    virtual_device::device after;
    for (const auto* file : device.state_files()) after.at(file->path).put(file->bytes);
    after.properties = device.properties;
    after.forget_volatile_properties();
    after.told = device.told;
    after.outcome = device.outcome;
    device = std::move(after);
}

}  // namespace fault
