// A file that is read: where its bytes are and what it is called in messages.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace lab {

// What is read of an input. Each limit is far above what a device leaves and says so in the message of what passes it.
constexpr std::size_t LONGEST_LINE = 1 << 20;                 // bytes, of a text that is read line by line
constexpr std::size_t LARGEST_WHOLE_FILE = 16 << 20;          // bytes, of a file that is read at once
constexpr std::int64_t LARGEST_PIPE = std::int64_t{4} << 30;  // bytes, of what is copied to be read again

// A descriptor to read `path` from; "-" is standard input, whatever it is. Else a regular file or a pipe of the shell's
// (/dev/fd/63): a FIFO would be waited for, a device may never end. Throws input_error.
int open_to_read(const std::string& path);

// What `path` is called in messages.
std::string input_name(const std::string& path);

// Bytes that can be read from any place, again and again. What cannot be (a pipe, standard input) is copied to a
// temporary file, as far as it is read. Move only.
class input_file {
  public:
    // As open_to_read.
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
    // In bytes; none of a pipe, whose end is not known.
    std::optional<std::int64_t> size() const;
    const std::string& name() const { return name_; }

  private:
    input_file(int descriptor, int source, std::string name)
        : descriptor_(descriptor), source_(source), name_(std::move(name)) {}
    void copy_until(std::int64_t end) const;

    int descriptor_ = -1;
    int source_ = -1;  // what is being copied
    std::string name_;
};

// The whole file, LARGEST_WHOLE_FILE at most. Throws input_error that names it.
std::string read_file(const std::string& path);

}  // namespace lab
