#include "core/number_text.h"

#include <cerrno>

#include "util/arith.h"
#include "util/log.h"

namespace {

struct decimal {
    std::int32_t low_bits;
    bool is_out_of_range;  // of 64 bits
};

bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

// A negative number grows downward: its range is the greater one.
decimal read_decimal(const char* text) {
    while (is_blank(*text)) ++text;
    const bool is_negative = *text == '-';
    if (is_negative || *text == '+') ++text;
    std::int64_t value = 0;
    bool is_out_of_range = false;
    for (; is_digit(*text); ++text) {
        const int digit = *text - '0';
        is_out_of_range |= __builtin_mul_overflow(value, 10, &value);
        is_out_of_range |= __builtin_add_overflow(value, is_negative ? -digit : digit, &value);
    }
    if (is_out_of_range) value = is_negative ? INT64_MIN : INT64_MAX;
    return {arith::low32(value), is_out_of_range};
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
