// The daemon's features: what each is called, and which of them an effect comes from.
#pragma once

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

std::string_view key_of(feature which);   // "stress", in data
std::string_view name_of(feature which);  // "battery stress", in a line for a person
std::string title_of(feature which);      // "Battery stress", as a heading

feature feature_of(const event& what);

}  // namespace lab
