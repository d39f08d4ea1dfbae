// daemon_seat: where the daemon of a boot runs: in this process, or in one of another build of vorn-lab.
//
// That program, started for each boot, holds a virtual device of its own, which is kept like the lab's:
//
//     the lab                                            vorn-lab daemon-wire CHANNEL
//        <------------------------------ its version --
//        -- start: clocks, what changed ------------->   daemon_start()
//        <----------- effects, state, what changed ----
//        -- cycle: clocks, what changed ------------->   daemon_cycle()
//        <----------- effects, state, what changed ----
//
// A message is its size in bytes (32 bits, not counted) and a body as in wire.h, numbers in the processor's own order.
#pragma once

#include <memory>
#include <string>

#include "lab/session/course.h"
#include "lab/session/cycle.h"
#include "platform/virtual/device.h"

namespace lab {

// Raised whenever a message means something else than before, the columns of the daemon's state included. The version
// itself travels alike in all of them.
inline constexpr std::uint32_t DAEMON_WIRE_VERSION = 1;

class daemon_seat {
  public:
    daemon_seat() = default;
    daemon_seat(const daemon_seat&) = delete;
    daemon_seat& operator=(const daemon_seat&) = delete;
    virtual ~daemon_seat() = default;

    virtual void start() = 0;
    virtual void run_cycle() = 0;
    // The daemon's state and its stress hours.
    virtual charge_limits read(cycle& into) = 0;
};

// Where the next boot's daemon runs, on that device. Throws input_error when the other program speaks no wire of this
// version. When its daemon crashes, this process ends as that one did.
std::unique_ptr<daemon_seat> take_seat(virtual_device::device& on);

// From now on, and in the children of this process, daemons run in that program; empty: in this one.
void run_daemons_of(std::string program);

// The other program's side: runs a daemon as the lab at the other end of the channel says, until that end is gone.
void serve_daemon(int channel);

}  // namespace lab
