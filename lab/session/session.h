// A session: the unmodified daemon run over a course of events on the virtual device.
//
// Each boot of the daemon is a child process, so that every file-scope variable starts from zero. The child
// owns the virtual device and the course; it sends each effect and each cycle to the parent, which hands
// them to the listeners in order. When a boot ends, the device (files, properties) and the course's own state
// go back to the parent and from there to the next boot's child.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "lab/session/cycle.h"
#include "lab/session/event.h"
#include "platform/virtual/device.h"

namespace lab {

// What outlives a boot.
struct device_image {
    std::map<std::string, std::string> files;  // path -> bytes, state files only
    std::map<std::string, std::string> properties;
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
    virtual void truth(std::vector<double>& /*values*/) const {}

    // Everything begin_boot and next_cycle depend on, as bytes.
    virtual std::string save() const = 0;
    virtual void load(const std::string& state) = 0;

    // How much of the course is over, 0 to 1; -1 when not known.
    virtual double progress() const { return -1; }

    // Where in its input the course is, for messages: a file's name and a line. Empty and 0 when not known.
    virtual std::string source_name() const { return {}; }
    virtual std::int64_t source_line() const { return 0; }
};

// Hears what happens, in order, in the parent process. A listener that throws ends the session.
class listener {
  public:
    virtual ~listener() = default;
    virtual void on_event(const event& /*what*/) {}
    virtual void on_cycle(const cycle& /*after*/) {}
    // Now and then: how much of the course is over (course::progress).
    virtual void on_progress(double /*share*/) {}

    // What nobody wants to hear of is not sent at all, which saves much of the time.
    virtual bool wants_events() const { return true; }
    virtual bool wants_cycles() const { return true; }
    virtual bool wants_samples() const { return wants_cycles(); }  // cycle::seen
};

// The daemon crashed. what() says in which boot, when, and how.
class daemon_crashed : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Runs the course, one boot at least, to its end from `image`, which afterwards holds what the device kept.
// Throws daemon_crashed, when the listeners have heard all that came before the crash; rethrows, as
// input_error (lab/io/error.h), what the course threw. `image` is then as the last complete boot left it.
void run_session(course& what_happens, device_image& image, const std::vector<listener*>& listeners);

}  // namespace lab
