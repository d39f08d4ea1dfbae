// Formatted text appended to a string.
#pragma once

#include <string>

namespace lab {

void print(std::string& out, const char* format, ...) __attribute__((__format__(printf, 2, 3)));

}  // namespace lab
