// One visible effect of the daemon.
#pragma once

#include <cstdint>
#include <string>

namespace lab {

enum class event_kind : std::uint8_t { log, metric, property_set, write };

struct event {
    event_kind kind = event_kind::log;
    std::int64_t boot = 1;
    std::int64_t elapsed_s = 0;    // since this boot's daemon start; 0 during start-up
    std::int64_t real_time_s = 0;  // wall clock, UTC seconds since 1970
    std::int32_t priority = 0;     // of a log line or record
    std::int32_t buffer = 0;       // of a record
    std::int64_t result = 0;       // of a property_set or write
    std::string name;              // tag, property name or path
    std::string text;              // text, value, or the bytes handed to write
};

}  // namespace lab
