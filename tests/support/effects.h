// Collects what the daemon does on the virtual device of this process, one line of text per effect:
//
//     log 6 --- vorn strtol error errno 34---          (without its line feed)
//     record stress_trip_refused ver=12;SY             (name and payload; unknown schemas by their id)
//     set persist.vendor.vorn.toc=4450                 (" failed" appended when it did)
//     write /mnt/vendor/nvcfg/vorn/toc_clients 02      (hex of the bytes; " failed" appended when it did)
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/virtual/device.h"

namespace test {

class effects {
  public:
    effects();   // starts listening to the_device()
    ~effects();  // stops

    effects(const effects&) = delete;
    effects& operator=(const effects&) = delete;

    // All lines since the last call of any of these.
    std::vector<std::string> take();
    // Those that begin with `prefix`; the others are dropped.
    std::vector<std::string> take(std::string_view prefix);

  private:
    std::vector<std::string> lines_;
};

}  // namespace test
