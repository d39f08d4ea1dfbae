// pack: numbers and text in the form in which a page carries them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lab {

// Whole numbers one after the other, each as its difference from the one before (the first one from 0): zigzag
// (0, -1, 1, -2 ... as 0, 1, 2, 3 ...), then seven bits a byte, lowest first, the top bit set on all but the last.
// A difference beyond 53 bits would not survive JavaScript; none is made here.
class delta_column {
  public:
    void add(std::int64_t value);
    const std::string& bytes() const { return bytes_; }

  private:
    std::int64_t last_ = 0;
    std::string bytes_;
};

// `bytes` as a zlib stream in base64, which holds nothing that HTML could take for a tag.
std::string pack(std::string_view bytes);

}  // namespace lab
