// wrap32: a signed 32-bit number whose formulas read like formulas and are defined for every value.
//
// Its sums, differences and products wrap in two's complement, its quotients truncate toward zero, and a
// quotient by 0 is 0 (util/arith.h). A std::int32_t becomes one by itself, so an operation needs one wrap32
// operand to be a wrap32 operation; the only way out is `value`. Nothing wider, narrower, unsigned or floating
// becomes one: where its low bits are meant, arith::low32 says so.
#pragma once

#include <compare>
#include <concepts>
#include <cstdint>

#include "util/arith.h"

struct wrap32 {
    std::int32_t value = 0;

    constexpr wrap32() = default;
    constexpr wrap32(std::int32_t number) : value(number) {}  // NOLINT: implicit on purpose
    template <typename T>
    requires(!std::same_as<T, std::int32_t>) constexpr wrap32(T) = delete;

    constexpr wrap32& operator+=(wrap32 other) { return *this = *this + other; }
    constexpr wrap32& operator-=(wrap32 other) { return *this = *this - other; }

    friend constexpr wrap32 operator+(wrap32 a, wrap32 b) { return arith::add(a.value, b.value); }
    friend constexpr wrap32 operator-(wrap32 a, wrap32 b) { return arith::sub(a.value, b.value); }
    friend constexpr wrap32 operator*(wrap32 a, wrap32 b) { return arith::mul(a.value, b.value); }
    friend constexpr wrap32 operator/(wrap32 a, wrap32 b) { return arith::div(a.value, b.value); }
    friend constexpr auto operator<=>(wrap32 a, wrap32 b) = default;
};
static_assert(std::convertible_to<std::int32_t, wrap32> && !std::convertible_to<wrap32, std::int32_t>);
static_assert(!std::constructible_from<wrap32, std::int64_t> &&
              !std::constructible_from<wrap32, std::uint32_t> && !std::constructible_from<wrap32, float>);

// Magnitude; the least value has none and stays as it is.
constexpr wrap32 abs(wrap32 a) {
    return arith::abs(a.value);
}

// `x` limited to `min` ... `max`.
constexpr wrap32 clamp(wrap32 x, wrap32 min, wrap32 max) {
    return x < min ? min : max < x ? max : x;
}
