// wrap32: a signed 32-bit number whose formulas read like formulas and are defined for every value.
//
// Its sums, differences and products wrap in two's complement, its quotients truncate toward zero, and a
// quotient by 0 is 0 (util/arith.h). It converts to and from std::int32_t by itself; an operation with one
// wrap32 operand is a wrap32 operation.
#pragma once

#include <concepts>
#include <cstdint>

#include "util/arith.h"

struct wrap32 {
    std::int32_t value = 0;

    constexpr wrap32() = default;
    constexpr wrap32(std::int32_t number) : value(number) {}   // NOLINT: implicit on purpose
    constexpr operator std::int32_t() const { return value; }  // NOLINT: implicit on purpose

    constexpr wrap32 operator-() const { return arith::sub(0, value); }
    constexpr wrap32& operator+=(wrap32 other) { return *this = arith::add(value, other.value); }
    constexpr wrap32& operator-=(wrap32 other) { return *this = arith::sub(value, other.value); }
};

// One wrap32 and one wrap32 or std::int32_t. A wider or unsigned operand does not compile.
template <typename A, typename B>
concept wrap32_operands = (std::same_as<A, wrap32> && (std::same_as<B, wrap32> || std::integral<B>)) ||
                          (std::same_as<B, wrap32> && std::integral<A>);

template <typename A, typename B>
requires wrap32_operands<A, B>
constexpr wrap32 operator+(A a, B b) {
    return arith::add(wrap32{a}.value, wrap32{b}.value);
}

template <typename A, typename B>
requires wrap32_operands<A, B>
constexpr wrap32 operator-(A a, B b) {
    return arith::sub(wrap32{a}.value, wrap32{b}.value);
}

template <typename A, typename B>
requires wrap32_operands<A, B>
constexpr wrap32 operator*(A a, B b) {
    return arith::mul(wrap32{a}.value, wrap32{b}.value);
}

template <typename A, typename B>
requires wrap32_operands<A, B>
constexpr wrap32 operator/(A a, B b) {
    return arith::div(wrap32{a}.value, wrap32{b}.value);
}

// Magnitude; the least value has none and stays as it is.
constexpr wrap32 abs(wrap32 a) {
    return arith::abs(a.value);
}
