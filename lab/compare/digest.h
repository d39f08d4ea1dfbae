// digest: 64 bits that tell two streams of bytes apart. Not for an adversary.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace lab {

class digest {
  public:
    void add(std::uint64_t word) {
        state_ = (state_ ^ word) * 0x9E3779B97F4A7C15U;
        state_ ^= state_ >> 29;
    }
    // The length counts too, so that two texts one after the other are not one longer text.
    void add(std::string_view bytes) {
        add(static_cast<std::uint64_t>(bytes.size()));
        for (; bytes.size() >= sizeof(std::uint64_t); bytes.remove_prefix(sizeof(std::uint64_t)))
            add(word_of(bytes.data(), sizeof(std::uint64_t)));
        if (!bytes.empty()) add(word_of(bytes.data(), bytes.size()));
    }

    std::string hex() const;  // 16 digits

  private:
    static std::uint64_t word_of(const char* at, std::size_t size) {
        std::uint64_t word = 0;
        std::memcpy(&word, at, size);
        return word;
    }

    std::uint64_t state_ = 0xCBF29CE484222325U;
};

}  // namespace lab
