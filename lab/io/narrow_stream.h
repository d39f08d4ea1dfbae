// A stream for a narrow terminal: lines are broken between words, below where their text begins.
//
//     2026-03-28 08:00:10  battery stress    Lowered the          2026-03-28 08:00:10  battery stress
//                                            voltage for good         Lowered the voltage for good
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

#include "lab/io/filter_stream.h"

namespace lab {

// How wide the terminal is that the descriptor leads to; 0 when it leads to none, or that is not known.
std::size_t columns_of_terminal(int descriptor);

// A line, without its end, as lines of at most so many columns where its words allow. What stands behind two spaces in
// its first part is its text; where that begins too far to the right, it begins on a line of its own.
std::string narrowed(std::string_view line, std::size_t columns);

// While it lives, each line that `of` is given comes out narrowed when it is whole; `columns` 0: as it is, at once.
class narrow_stream : public filter_stream {
  public:
    narrow_stream(std::ostream& of, std::size_t columns)
        : filter_stream(of, columns > 0), columns_(columns) {}
    ~narrow_stream() override;

  private:
    std::string take(std::string& begun) override;  // whole lines

    std::size_t columns_;
};

}  // namespace lab
