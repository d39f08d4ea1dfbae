#include "core/number_text.h"

#include <cerrno>

#include "util/arith.h"
#include "util/log.h"

namespace {

constexpr std::int64_t SAFE_DIGITS = 18;  // so many of any digits fit into 64 bits

struct decimal {
    std::int32_t low_bits;
    bool is_out_of_range;  // of 64 bits
};

bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// 0 to 9 for a digit.
std::int64_t digit_value(char c) {
    return std::int64_t{c} - '0';
}

bool is_digit(std::int64_t value) {
    return value >= 0 && value <= 9;
}

// The digits from the 19th on; a negative number grows downward: its range is the greater one.
[[gnu::noinline]] decimal read_long_decimal(const char* text, std::int64_t value, bool is_negative) {
    if (is_negative) value = -value;
    bool is_out_of_range = false;
    for (std::int64_t digit = digit_value(*text); is_digit(digit); digit = digit_value(*++text)) {
        is_out_of_range |= __builtin_mul_overflow(value, 10, &value);
        is_out_of_range |= __builtin_add_overflow(value, is_negative ? -digit : digit, &value);
    }
    if (is_out_of_range) value = is_negative ? INT64_MIN : INT64_MAX;
    return {arith::low32(value), is_out_of_range};
}

decimal read_decimal(const char* text) {
    while (is_blank(*text)) ++text;
    const bool is_negative = *text == '-';
    if (is_negative || *text == '+') ++text;
    const char* const end = text + SAFE_DIGITS;
    std::int64_t value = 0;
    for (std::int64_t digit = digit_value(*text); is_digit(digit); digit = digit_value(*++text)) {
        if (text == end) return read_long_decimal(text, value, is_negative);
        value = value * 10 + digit;
    }
    return {arith::low32(is_negative ? -value : value), false};
}

}  // namespace

std::int32_t parse_decimal(const char* text) {
    return read_decimal(text).low_bits;
}

std::int32_t parse_number(const char* text, std::int32_t out_of_range) {
    const decimal read = read_decimal(text);
    if (read.low_bits != 0 || !read.is_out_of_range) return read.low_bits;
    LOG_ERROR("strtol error errno %d---\n", ERANGE);
    return out_of_range;
}
