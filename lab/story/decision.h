// One decision of the daemon as a person reads it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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

}  // namespace lab
