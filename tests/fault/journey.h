// One run of the daemon down the road on the virtual device of this process, with something that goes wrong.
#pragma once

#include <csetjmp>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "platform/virtual/device.h"
#include "road.h"
#include "watch.h"

namespace fault {

struct operation {
    virtual_device::operation kind;
    std::string target;  // path, property or clock
    std::size_t size;    // bytes asked for
};

// What goes wrong. Nothing does while the road is calm.
struct mishap {
    enum class scope { once, target, kind };  // this operation; from it on all on its target; all of its kind

    std::size_t nth = SIZE_MAX;  // operation, counted from 0
    std::ptrdiff_t allowed = virtual_device::PASS;
    scope lasts = scope::once;
    bool cuts_power = false;  // right after that operation, which is then a write
};

class journey {
  public:
    explicit journey(const road& along) : road_(along) {}

    // Runs it all, from a device with files of the earlier layout. Call it once.
    void run(const mishap& what);

    // What the daemon publishes, one "name=value" a line, and the permanent client's file.
    static std::string published();

    bool sweeps_calm = false;  // operations of calm stops count too
    bool keeps_operations = false;
    std::vector<operation> operations;  // when kept: all that could go wrong, in order
    std::size_t cycles = 0;
    watch seen;

  private:
    static std::ptrdiff_t decide(void* self, virtual_device::operation kind, std::string_view target,
                                 std::size_t size);
    static void after_write(void* self);

    // False when the power was cut on the way; `next_stop` is then the first stop not finished.
    bool run_boot(const boot& along, std::size_t& next_stop);
    void start(const boot& along, std::size_t first_stop);
    void check_hour_later(const stop& at);

    const road& road_;
    mishap mishap_;
    operation first_hit_ = {};
    std::size_t operation_count_ = 0;
    bool is_calm_ = false;
    bool is_cut_due_ = false;
    std::jmp_buf power_cut_ = {};
};

}  // namespace fault
