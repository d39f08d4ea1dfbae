// A file that appears whole or not at all.
#pragma once

#include <string>
#include <string_view>

namespace lab {

// What is written goes to a file aside, which takes the target's place at commit(); without a commit the
// target stays as it was. What is no regular file (a pipe, /dev/null, "-" for standard output) is written
// directly, as it comes; a terminal gets nothing that it would obey (text.h). Every function throws input_error that
// names the target. Move only.
class output_file {
  public:
    // Creates the file aside, so that a target that cannot be written is found out before the work is done.
    explicit output_file(std::string target);
    output_file(output_file&& other) noexcept;
    output_file& operator=(output_file&&) = delete;
    ~output_file();

    void write(std::string_view bytes) {
        buffer_.append(bytes);
        if (buffer_.size() >= BUFFER_SIZE) flush();
    }

    // For writers that append by themselves; call written() afterwards.
    std::string& buffer() { return buffer_; }
    void written() {
        if (buffer_.size() >= BUFFER_SIZE) flush();
    }

    // Everything written has reached the file aside. To be called before the first commit() of several
    // files that belong together.
    void finish();
    void commit();

    const std::string& target() const { return target_; }

  private:
    static constexpr std::size_t BUFFER_SIZE = 65536;

    void flush();
    [[noreturn]] void fail() const;

    std::string target_;
    std::string path_;   // what the target's name leads to; empty when written directly
    std::string aside_;  // name of the file aside; empty when there is none by name
    int descriptor_ = -1;
    std::string buffer_;
};

}  // namespace lab
