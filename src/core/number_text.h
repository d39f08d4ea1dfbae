// Numbers written as text, as sysfs nodes, test files and properties hold them.
#pragma once

#include <cstdint>

// The decimal number at the start of `text`, its low 32 bits taken as signed; 0 when there is none.
// When those bits are 0 only because the number is beyond 64 bits, logs an error and gives `out_of_range`.
std::int32_t parse_number(const char* text, std::int32_t out_of_range);
