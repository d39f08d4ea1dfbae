// The marker of a value that could not be read, and of a time, step, count or file value not known.
#pragma once

#include <cstdint>

constexpr std::int32_t INVALID_VALUE = 2147483647;

// What INVALID_VALUE becomes as a single-precision number: the marker of an unknown power-off time.
constexpr float INVALID_HOURS = 2147483648.0F;
