// Bytes that come once, from the first to the last: a file, a member of an archive, a decoded text.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace lab {

// Why the rest of a stream cannot be had. what() says it without naming the stream.
class broken_stream : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class byte_stream {
  public:
    byte_stream() = default;
    byte_stream(const byte_stream&) = delete;
    byte_stream& operator=(const byte_stream&) = delete;
    virtual ~byte_stream() = default;

    // At least one byte into `buffer`, which has room for `size` of them; 0 at the end. Throws broken_stream; what
    // came before it is good.
    virtual std::size_t read(char* buffer, std::size_t size) = 0;
};

// A stream whose first bytes were looked at and are to be read again.
class peeked_stream : public byte_stream {
  public:
    static constexpr std::size_t HEAD_SIZE = 8192;

    explicit peeked_stream(byte_stream& of);

    std::string_view head() const { return head_; }  // all of a stream that is no longer than HEAD_SIZE
    std::size_t read(char* buffer, std::size_t size) override;

  private:
    byte_stream& of_;
    std::string head_;
    std::size_t at_ = 0;
    std::string broken_;  // why the head is not longer
};

// A text in UTF-16, with its byte order mark, as UTF-8.
class utf16_stream : public byte_stream {
  public:
    explicit utf16_stream(byte_stream& of) : of_(of) {}
    std::size_t read(char* buffer, std::size_t size) override;

    static bool is_utf16(std::string_view head);

  private:
    bool fill();
    int next_unit();

    byte_stream& of_;
    std::string raw_;
    std::size_t at_ = 0;
    bool has_order_ = false;
    bool is_big_endian_ = false;
};

// All of it; throws broken_stream when there are more than `most` bytes.
std::string read_all(byte_stream& from, std::size_t most);

}  // namespace lab
