#include "lab/evidence/byte_stream.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace lab {

namespace {

constexpr std::size_t BLOCK_SIZE = 65536;
constexpr char32_t REPLACEMENT = 0xFFFD;
constexpr std::size_t LONGEST_CHARACTER = 4;  // bytes of UTF-8

bool is_high_surrogate(char32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool is_low_surrogate(char32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

std::size_t put_utf8(char* out, char32_t character) {
    const auto byte = [](char32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
    if (character < 0x80) {
        out[0] = byte(character);
        return 1;
    }
    if (character < 0x800) {
        out[0] = byte(0xC0 | character >> 6);
        out[1] = byte(0x80 | (character & 0x3F));
        return 2;
    }
    if (character < 0x10000) {
        out[0] = byte(0xE0 | character >> 12);
        out[1] = byte(0x80 | (character >> 6 & 0x3F));
        out[2] = byte(0x80 | (character & 0x3F));
        return 3;
    }
    out[0] = byte(0xF0 | character >> 18);
    out[1] = byte(0x80 | (character >> 12 & 0x3F));
    out[2] = byte(0x80 | (character >> 6 & 0x3F));
    out[3] = byte(0x80 | (character & 0x3F));
    return 4;
}

}  // namespace

peeked_stream::peeked_stream(byte_stream& of) : of_(of), head_(HEAD_SIZE, '\0') {
    std::size_t count = 0;
    try {
        while (count < HEAD_SIZE) {
            const std::size_t got = of_.read(head_.data() + count, HEAD_SIZE - count);
            if (got == 0) break;
            count += got;
        }
    } catch (const broken_stream& broken) {
        broken_ = broken.what();
    }
    head_.resize(count);
}

std::size_t peeked_stream::read(char* buffer, std::size_t size) {
    if (at_ < head_.size()) {
        const std::size_t count = std::min(size, head_.size() - at_);
        std::memcpy(buffer, head_.data() + at_, count);
        at_ += count;
        return count;
    }
    if (!broken_.empty()) throw broken_stream(broken_);
    return of_.read(buffer, size);
}

bool utf16_stream::is_utf16(std::string_view head) {
    return head.starts_with("\xFF\xFE") || head.starts_with("\xFE\xFF");
}

// Keeps an odd byte at the end for the next time. False at the end.
bool utf16_stream::fill() {
    raw_.erase(0, at_);
    at_ = 0;
    const std::size_t kept = raw_.size();
    raw_.resize(kept + BLOCK_SIZE);
    const std::size_t got = of_.read(raw_.data() + kept, BLOCK_SIZE);
    raw_.resize(kept + got);
    return got > 0;
}

// -1 at the end; an odd byte there is nothing.
int utf16_stream::next_unit() {
    while (raw_.size() - at_ < 2) {
        if (!fill()) return -1;
    }
    const auto first = static_cast<unsigned char>(raw_[at_]);
    const auto second = static_cast<unsigned char>(raw_[at_ + 1]);
    at_ += 2;
    return is_big_endian_ ? first << 8 | second : second << 8 | first;
}

std::size_t utf16_stream::read(char* buffer, std::size_t size) {
    if (!has_order_) {
        has_order_ = true;
        is_big_endian_ = next_unit() == 0xFFFE;
    }
    std::size_t count = 0;
    while (count + LONGEST_CHARACTER <= size) {
        if (count > 0 && raw_.size() - at_ < 4) break;  // what follows can wait for the next call
        const int unit = next_unit();
        if (unit < 0) break;
        auto character = static_cast<char32_t>(unit);
        if (is_high_surrogate(character)) {
            const int low = next_unit();
            const bool is_pair = low >= 0 && is_low_surrogate(static_cast<char32_t>(low));
            if (!is_pair && low >= 0) at_ -= 2;
            character = is_pair
                            ? 0x10000 + ((character - 0xD800) << 10) + (static_cast<char32_t>(low) - 0xDC00)
                            : REPLACEMENT;
        } else if (is_low_surrogate(character)) {
            character = REPLACEMENT;
        }
        count += put_utf8(buffer + count, character);
    }
    return count;
}

std::string read_all(byte_stream& from, std::size_t most) {
    std::string bytes;
    for (;;) {
        const std::size_t before = bytes.size();
        bytes.resize(std::min(before + BLOCK_SIZE, most + 1));
        const std::size_t got = from.read(bytes.data() + before, bytes.size() - before);
        bytes.resize(before + got);
        if (got == 0) return bytes;
        if (bytes.size() > most) throw broken_stream("more than " + std::to_string(most) + " bytes");
    }
}

}  // namespace lab
