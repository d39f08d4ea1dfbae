#include "core/number_text.h"

#include <cerrno>
#include <cstddef>

#include "util/arith.h"
#include "util/log.h"

namespace {

constexpr std::ptrdiff_t SAFE_DIGITS = 18;  // so many of any digits fit into 64 bits

struct decimal {
    std::int64_t value;
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

// More digits than are safe; a negative number grows downward: its range is the greater one.
[[gnu::noinline]] decimal read_long_decimal(const char* text, bool is_negative) {
    std::int64_t value = 0;
    bool is_out_of_range = false;
    for (std::int64_t digit = digit_value(*text); is_digit(digit); digit = digit_value(*++text)) {
        is_out_of_range |= __builtin_mul_overflow(value, 10, &value);
        is_out_of_range |= __builtin_add_overflow(value, is_negative ? -digit : digit, &value);
    }
    if (is_out_of_range) value = is_negative ? INT64_MIN : INT64_MAX;
    return {value, is_out_of_range};
}

inline decimal read_decimal(const char* text) {
    while (is_blank(*text)) ++text;
    const bool is_negative = *text == '-';
    if (is_negative || *text == '+') ++text;
    const char* const first = text;
    std::int64_t value = 0;  // wraps where there are too many digits for it
    for (std::int64_t digit = digit_value(*text); is_digit(digit); digit = digit_value(*++text)) {
        value = arith::add(arith::mul(value, std::int64_t{10}), digit);
    }
    if (text - first > SAFE_DIGITS) return read_long_decimal(first, is_negative);
    return {is_negative ? -value : value, false};
}

}  // namespace

std::int32_t parse_decimal(const char* text) {
    return arith::low32(read_decimal(text).value);
}

std::int32_t parse_number(const char* text, std::int32_t out_of_range) {
    const decimal read = read_decimal(text);
    const std::int32_t number = arith::low32(read.value);
    if (number != 0 || !read.is_out_of_range) return number;
    LOG_ERROR("strtol error errno %d---\n", ERANGE);
    return out_of_range;
}
