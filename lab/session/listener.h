// A listener: whoever wants to hear what a session's daemon does.
#pragma once

#include "lab/session/cycle.h"
#include "lab/session/event.h"

namespace lab {

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
    // More of a cycle than its boot and its clocks.
    virtual bool wants_state() const { return wants_cycles(); }
};

}  // namespace lab
