// The daemon's decisions and why it took them, told from what it showed: its log lines, records, property
// and file writes, and the state after each cycle. Knows nothing of where these come from, so a replay, a
// simulation and files written earlier tell the same story.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "lab/session/course.h"
#include "lab/session/listener.h"
#include "lab/story/decision.h"

namespace lab {

// Tells each decision as soon as its cycle is over (a start-up counts with its first cycle), in order.
// Remembers across boots since when a voltage is lowered or charging is stopped, and who asked. What fails
// in cycle after cycle is told twice: when it begins, and when it is over, with how often it happened.
// Memory does not grow with the run.
class story : public listener {
  public:
    using teller = std::function<void(const decision&)>;

    // `before` is what the device kept from an earlier run; without it, a stress trip before the first
    // write of the histogram names no buckets.
    explicit story(teller tell, const device_image& before = {});
    ~story() override;

    void on_event(const event& what) override;
    void on_cycle(const cycle& after) override;

    // The run is over: tells what is still open.
    void finish();

  private:
    struct told_so_far;
    std::unique_ptr<told_so_far> state_;
};

}  // namespace lab
