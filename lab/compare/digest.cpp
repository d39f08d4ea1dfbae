#include "lab/compare/digest.h"

namespace lab {

std::string digest::hex() const {
    constexpr std::string_view DIGITS = "0123456789abcdef";
    std::string text;
    for (int shift = 60; shift >= 0; shift -= 4) text += DIGITS[(state_ >> shift) & 15U];
    return text;
}

}  // namespace lab
