// Integer and conversion arithmetic with one meaning on every processor: what 64-bit Arm computes.
//
// Use these wherever a value can leave its range; nothing here is undefined for any argument.
#pragma once

#include <concepts>
#include <cstdint>
#include <limits>

namespace arith {

// Two's complement sum, difference and product, wrapping at the width of T.
template <std::integral T>
constexpr T add(T a, T b) {
    T result{};
    __builtin_add_overflow(a, b, &result);
    return result;
}

template <std::integral T>
constexpr T sub(T a, T b) {
    T result{};
    __builtin_sub_overflow(a, b, &result);
    return result;
}

template <std::integral T>
constexpr T mul(T a, T b) {
    T result{};
    __builtin_mul_overflow(a, b, &result);
    return result;
}

// Quotient truncated toward zero; 0 when b is 0; the least value when the least value is divided by -1.
template <std::integral T>
constexpr T div(T a, T b) {
    if (b == 0) return 0;
    if constexpr (std::signed_integral<T>) {
        if (b == -1) return sub(T{0}, a);
    }
    return static_cast<T>(a / b);
}

// Magnitude; the least value has none and stays as it is.
template <std::signed_integral T>
constexpr T abs(T a) {
    return a < 0 ? sub(T{0}, a) : a;
}

// The low 32 bits of a 64-bit number, as a signed number.
constexpr std::int32_t low32(std::int64_t a) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(a) & 0xFFFFFFFFU));
}
constexpr std::int32_t low32(std::uint64_t a) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a & 0xFFFFFFFFU));
}

// Floating point to integer as the Arm FCVTZS and FCVTZU instructions do it: truncated toward zero,
// limited to the range of T, NaN gives 0 (Arm Architecture Reference Manual, FPToFixed).
template <std::integral T, std::floating_point F>
constexpr T to_integer(F a) {
    constexpr T least = std::numeric_limits<T>::min();
    constexpr T greatest = std::numeric_limits<T>::max();
    // 2^digits: the smallest power of two above the range, exact in F, where the greatest T may not be.
    constexpr F above = static_cast<F>(std::uint64_t{1} << (std::numeric_limits<T>::digits - 1)) * F{2};
    if (a != a) return 0;
    if (a >= above) return greatest;
    if constexpr (std::signed_integral<T>) {
        return a < -above ? least : static_cast<T>(a);
    } else {
        return a <= F{-1} ? least : static_cast<T>(a);
    }
}

}  // namespace arith
