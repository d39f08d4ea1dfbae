// What the daemon asks of the phone: its properties, as the charger driver and init would follow them.
#pragma once

#include <cstddef>
#include <string>

#include "lab/phone/phone.h"
#include "platform/virtual/device.h"

namespace lab {

class daemon_orders {
  public:
    // For the start of a boot, when everything may have changed.
    void forget() { *this = daemon_orders(); }

    void read(const virtual_device::device& on);

    const phone::orders& given() const { return given_; }
    bool asks_for_reboot() const { return power_ != nullptr && *power_ == "reboot"; }

  private:
    phone::orders given_;
    std::size_t properties_seen_ = 0;
    const std::string* toc_ = nullptr;
    const std::string* disable_ = nullptr;
    const std::string* power_ = nullptr;
    std::string toc_text_;  // that the voltage was taken from
};

}  // namespace lab
