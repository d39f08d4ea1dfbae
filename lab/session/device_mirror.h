// device_mirror: keeps the virtual devices of two processes alike. Each process has a mirror of its device: as it stood
// when the two were last alike.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "lab/session/wire.h"
#include "platform/virtual/device.h"

namespace lab {

// The body of a message, gathered as wire::body reads it.
class letter {
  public:
    template <typename T>
    void put_number(T number) {
        bytes_.append(reinterpret_cast<const char*>(&number), sizeof number);
    }
    void put_text(std::string_view text) {
        put_number(static_cast<std::uint32_t>(text.size()));
        bytes_.append(text);
    }
    void clear() { bytes_.clear(); }
    const std::string& bytes() const { return bytes_; }

  private:
    std::string bytes_;
};

class device_mirror {
  public:
    // Files, properties and faults that have changed here; the other device is to take them.
    void put_changes(const virtual_device::device& here, letter& into);
    // Takes what has changed there.
    void take_changes(wire::body& from, virtual_device::device& here);

  private:
    struct known_file {
        std::string bytes;
        bool exists = false, open_fails = false, read_fails = false, write_fails = false;
        bool is_like(const virtual_device::file& one) const;
    };
    known_file& known(const virtual_device::file& of);
    void take_properties(wire::body& from, virtual_device::device& here);

    std::vector<known_file> files_;  // by descriptor
    std::map<std::string, std::string, std::less<>> properties_;
    std::vector<std::string> failing_;
};

}  // namespace lab
