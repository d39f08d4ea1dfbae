// log_line: an event of the daemon as one line of text for a reader, and the feature it belongs to.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "lab/session/event.h"

namespace lab {

enum class feature : std::uint8_t {
    core,
    charge_mgr,
    stress,
    dyn_soc,
    precharge,
    charge_timer,
    thermal,
    pulldown,
    short_detect,
    topoff,
};
constexpr std::size_t FEATURE_COUNT = 10;

// The feature's key in the page's data, and its name for people.
struct feature_name {
    std::string_view key, title;
};
extern const std::array<feature_name, FEATURE_COUNT> feature_names;

feature feature_of(const event& what);

// One line, without a line feed at its end: a log line's text; a record as its name and "key=value" pairs; a
// property as "name = value"; a write as its path, its length and, when short, its bytes. A failure is said.
std::string line_of(const event& what);

}  // namespace lab
