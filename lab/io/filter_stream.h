// A stream through which what another one is given comes out changed, as soon as enough of it is there.
#pragma once

#include <ostream>
#include <streambuf>
#include <string>

namespace lab {

class filter_stream : private std::streambuf {
  public:
    filter_stream(const filter_stream&) = delete;
    filter_stream& operator=(const filter_stream&) = delete;

  protected:
    // Not on: the other stream stays as it is.
    filter_stream(std::ostream& of, bool is_on) : of_(of), target_(is_on ? of.rdbuf(this) : of.rdbuf()) {}
    ~filter_stream() override { of_.rdbuf(target_); }

    // What comes out of the bytes so far, as far as they can be changed yet; the others stay in `begun`.
    virtual std::string take(std::string& begun) = 0;

    // For the destructor of a filter: what has begun and will not go on.
    const std::string& begun() const { return begun_; }
    bool put(const std::string& text);

  private:
    std::streamsize xsputn(const char* bytes, std::streamsize count) override;
    int_type overflow(int_type byte) override;
    int sync() override { return target_->pubsync(); }

    std::ostream& of_;
    std::streambuf* target_;
    std::string begun_;
};

}  // namespace lab
