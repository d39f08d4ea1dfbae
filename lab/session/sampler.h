// Reads the battery's nodes on the virtual device the way the daemon reads them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "lab/session/cycle.h"
#include "platform/virtual/device.h"

namespace lab {

class sampler {
  public:
    explicit sampler(virtual_device::device& on);

    // The nodes as they stand now. An empty status node keeps the status of the call before, as the daemon
    // does.
    sample read();

  private:
    const virtual_device::file& voltage_;
    const virtual_device::file& current_;
    const virtual_device::file& temperature_;
    const virtual_device::file& capacity_;
    const virtual_device::file& status_;
    std::int32_t last_status_ = 0;
    std::string last_text_;  // that it was taken from
};

// The number at the start of a node's text, within the 15 characters that the daemon reads; nothing when
// there is none.
std::optional<std::int32_t> node_number(std::string_view text);

// The status code of a status node's text: 0 for any text that is no status.
std::int32_t node_status(std::string_view text);

}  // namespace lab
