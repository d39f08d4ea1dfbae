// The daemon's decisions and why it took them, told from what it showed: its log lines, records, property
// and file writes, and the state after each cycle. Knows nothing of where these come from, so a replay, a
// simulation and files written earlier tell the same story.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "lab/session/session.h"

namespace lab {

enum class importance : std::uint8_t {
    action,   // the daemon changed something outside itself: the charge voltage, charging, a reboot
    finding,  // it started, noticed something, or could not do something
    routine,  // expected bookkeeping: an evaluation every 48 hours, the end of a charge period
};

struct number {
    std::string name;
    std::string value;  // with its unit, for example "12004 h"
};

struct decision {
    std::int64_t boot = 1;
    std::int64_t elapsed_s = 0;    // since this boot's daemon start
    std::int64_t real_time_s = 0;  // the device's wall clock, UTC seconds since 1970
    importance weight = importance::routine;
    std::string feature;   // who decided: "battery stress", "n-day pulldown", "charge timer", ...
    std::string sentence;  // what and why, a whole sentence; times of day are local time of this process (TZ)
    std::vector<number> numbers;  // what decided it
};

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

// Local date and time of this process's zone: "2026-03-02 07:00:10"; "-" when it has no local time.
std::string local_time_text(std::int64_t real_time_s);

// Two units at most: "7 d 0 h", "3 h 20 min", "45 s".
std::string duration_text(std::int64_t seconds);

}  // namespace lab
