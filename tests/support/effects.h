// Collects what the daemon does on the virtual device of this process, one line of text per effect:
//
//     log 6 --- vorn strtol error errno 34---          (without its line feed)
//     record topoff_cleared v_mv=4180 v_reset_mv=4180 dur_s=20
//     set persist.vendor.vorn.toc=4450                 (" failed" appended when it did)
//     write /mnt/vendor/nvcfg/vorn/toc_clients 02      (hex of 24 bytes at most; " failed" likewise)
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/virtual/device.h"

namespace test {

// A metrics record by its name in util/record_index.h, with its fields; their types and the version, which that
// index fixes and docs/metrics.md repeats, are left out.
std::string short_record(std::string_view text);

// The top-of-charge manager with the daemon's own files and properties behind it.
void start_charge_mgr();

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
