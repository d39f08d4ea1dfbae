// Watches what the daemon does on the virtual device of this process and notes every broken promise.
//
// The promises hold whatever fails: the voltages it publishes are ones that exist, a state file is handed
// whole records that make sense, the boot side's files are left alone, no descriptor stays open, and what
// stops charging is what its own flags say.
#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "platform/virtual/device.h"

namespace fault {

class watch {
  public:
    watch();  // listens to the_device() in place of whoever did
    ~watch();

    watch(const watch&) = delete;
    watch& operator=(const watch&) = delete;

    // Between two cycles: what must hold while the daemon sleeps.
    void after_cycle();
    // Also that the last cycle's view of the world was whole: every node read, the decision published.
    void after_faultless_cycle();

    // While it is off: no file is there that nobody meant to be, none is longer than its record.
    void after_boot();

    // A record that was once cut short, by a fault or a power cut, may show up in later numbers.
    void expect_torn(std::string_view path) { torn_.emplace(path); }
    void expect_all_torn() { all_torn_ = true; }

    const std::vector<std::string>& broken() const { return broken_; }
    void note(std::string what) { broken_.push_back(std::move(what)); }

    // The schema ids of the records seen.
    const std::set<std::string, std::less<>>& records() const { return records_; }
    std::int64_t writes() const { return writes_; }

    // Told of each write after it has been judged; may leave by longjmp.
    void* on_write_context = nullptr;
    void (*on_write)(void* context) = nullptr;

  private:
    static void log(void* self, int priority, const char* tag, const char* text);
    static void metric(void* self, int buffer, int priority, const char* tag, const char* text);
    static void property_set(void* self, const char* name, const char* value, int result);
    static void write(void* self, const std::string& path, const void* data, std::size_t size,
                      std::ptrdiff_t result);

    std::vector<std::string> broken_;
    std::set<std::string, std::less<>> torn_;
    std::set<std::string, std::less<>> records_;
    bool all_torn_ = false;
    int node_errors_ = 0;  // log lines of the present cycle about a node that cannot be read
    std::int64_t writes_ = 0;
};

}  // namespace fault
