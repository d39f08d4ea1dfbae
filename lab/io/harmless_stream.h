// A stream for people: what a terminal would obey is shown instead.
//
// Titles, names, logs and paths come from anywhere. An escape sequence in one could rename a window, hide what follows
// or type for the user; a bidirectional control could show a name as another.
#pragma once

#include <ostream>
#include <string>

#include "lab/io/filter_stream.h"

namespace lab {

// While it lives, all that `of` is given comes out harmless (text.h), however it is cut into pieces.
class harmless_stream : public filter_stream {
  public:
    explicit harmless_stream(std::ostream& of) : filter_stream(of, true) {}
    ~harmless_stream() override;

  private:
    std::string take(std::string& begun) override;  // all but the first bytes of a character
};

}  // namespace lab
