// Numbers written as text, as sysfs nodes, test files and properties hold them.
#pragma once

#include <cstdint>

// The decimal number at the start of `text`, after blanks and a sign if there are any; 0 when there is none.
// Its low 32 bits, taken as signed; of a number beyond 64 bits those of the 64-bit number nearest to it: -1
// or 0. It is what strtol() gives in the C locale, in half the time.
std::int32_t parse_decimal(const char* text);

// The same, but when the 0 stands for a number beyond 64 bits, logs an error and gives `out_of_range`.
std::int32_t parse_number(const char* text, std::int32_t out_of_range);
