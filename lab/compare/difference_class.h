// difference_class: how much two numbers differ, by their unit. One table, in docs/compare.md too.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lab {

enum class unit : std::uint8_t { mv, hours, percent, cycles, count, bytes, seconds, mohm, ma, as };

enum class difference_class : std::uint8_t { none, small, big };

std::string_view name_of(difference_class of);

// A difference up to a small threshold is none; one beyond a large absolute and relative one is big. Two values that are
// no numbers are the same; a value that is none in one of the two only is a big difference.
difference_class class_of(unit of, double before, double after);

// "12.5 h", with a sign where `is_signed`.
std::string amount_text(unit of, double value, bool is_signed = false);

// The table as Markdown.
std::string class_table();

}  // namespace lab
