// printf into strings; the compiler holds each format against its values.
#pragma once

#include <string>

namespace lab {

// Appended to `out`.
[[gnu::format(printf, 2, 3)]] void print(std::string& out, const char* format, ...);

// By itself.
[[gnu::format(printf, 1, 2)]] std::string text_of(const char* format, ...);

}  // namespace lab
