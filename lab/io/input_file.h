// A file that is read: where its bytes are and what it is called in messages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace lab {

// Bytes that can be read from any place, again and again. What cannot be (a pipe, standard input) is copied
// to a temporary file first. Move only.
class input_file {
  public:
    // "-" is standard input. Throws input_error.
    static input_file open(const std::string& path);
    // The bytes of `content`, called `name` in messages.
    static input_file from_text(std::string_view content, std::string name);

    // The same bytes, for another reader. Throws input_error.
    input_file again() const;

    input_file(input_file&& other) noexcept;
    input_file& operator=(input_file&& other) noexcept;
    ~input_file();

    // Up to `size` bytes from byte `offset` on; 0 at the end. Throws input_error.
    std::size_t read(std::int64_t offset, char* buffer, std::size_t size) const;
    std::int64_t size() const { return size_; }
    const std::string& name() const { return name_; }

  private:
    input_file(int descriptor, std::string name);

    int descriptor_ = -1;
    std::int64_t size_ = 0;
    std::string name_;
};

// The whole file. Throws input_error that names it.
std::string read_file(const std::string& path);

}  // namespace lab
