// A stream for people: what a terminal would obey is shown instead.
//
// Titles, names, logs and paths come from anywhere. An escape sequence in one could rename a window, hide what follows
// or type for the user; a bidirectional control could show a name as another.
#pragma once

#include <ostream>
#include <streambuf>
#include <string>

namespace lab {

// While it lives, all that `of` is given comes out harmless (text.h), however it is cut into pieces.
class harmless_stream : private std::streambuf {
  public:
    explicit harmless_stream(std::ostream& of) : of_(of), target_(of.rdbuf(this)) {}
    ~harmless_stream() override;

  private:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int_type overflow(int_type byte) override;
    int sync() override { return target_->pubsync(); }

    std::ostream& of_;
    std::streambuf* target_;
    std::string begun_;  // the first bytes of a character
};

}  // namespace lab
