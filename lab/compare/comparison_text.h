// comparison_text: a comparison of two builds, told to a person and to a program.
#pragma once

#include <string>
#include <string_view>

#include "lab/compare/build_comparison.h"

namespace lab {

inline constexpr std::string_view DIFF_SCHEMA = "vorn-lab/diff/1";

// What differs, the largest first; `shows_all`: every kind of it.
std::string comparison_text(const build_comparison& of, bool shows_all);

// The document (docs/formats.md); ends with a line feed.
std::string comparison_document(const build_comparison& of);

}  // namespace lab
