#include "lab/io/output_file.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "lab/io/descriptor.h"
#include "lab/io/error.h"

namespace lab {

namespace {

constexpr std::string_view STANDARD_OUTPUT = "-";
constexpr mode_t NEW_FILE_MODE = 0666;

// The mode that a newly created file gets in this process.
mode_t mode_of_new_file() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return NEW_FILE_MODE & ~mask;
}

}  // namespace

void output_file::fail() const {
    const std::string name = target_ == STANDARD_OUTPUT ? "standard output" : target_;
    throw input_error(name + ": " + std::strerror(errno));
}

output_file::output_file(std::string target) : target_(std::move(target)) {
    if (target_ == STANDARD_OUTPUT) {
        descriptor_ = open_unnamed();
        if (descriptor_ < 0) fail();
        return;
    }
    struct stat about {};
    const bool exists = ::stat(target_.c_str(), &about) == 0;
    if (exists && !S_ISREG(about.st_mode)) {
        descriptor_ = ::open(target_.c_str(), O_WRONLY | O_CLOEXEC);
        if (descriptor_ < 0) fail();
        return;
    }
    if (exists && ::access(target_.c_str(), W_OK) != 0) fail();
    // Behind a link: the rename must replace the file that it leads to, not the link, and within one file system.
    std::error_code error;
    path_ = std::filesystem::weakly_canonical(target_, error).string();
    if (error) path_ = target_;
    std::string name = path_ + ".XXXXXX";
    descriptor_ = ::mkostemp(name.data(), O_CLOEXEC);
    if (descriptor_ < 0) fail();
    aside_ = name;
    // A file system without modes refuses, which does no harm.
    (void)::fchmod(descriptor_, exists ? about.st_mode & 07777 : mode_of_new_file());
}

output_file::output_file(output_file&& other) noexcept
    : target_(std::move(other.target_)),
      path_(std::move(other.path_)),
      aside_(std::exchange(other.aside_, {})),
      descriptor_(std::exchange(other.descriptor_, -1)),
      buffer_(std::move(other.buffer_)) {}

output_file::~output_file() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (!aside_.empty()) ::unlink(aside_.c_str());
}

void output_file::flush() {
    if (!write_all(descriptor_, buffer_)) fail();
    buffer_.clear();
}

void output_file::finish() {
    flush();
    if (target_ == STANDARD_OUTPUT || descriptor_ < 0) return;
    // Closed here and not at the end: some file systems report a full disk only then.
    if (::close(std::exchange(descriptor_, -1)) != 0) fail();
}

void output_file::commit() {
    if (descriptor_ >= 0) finish();
    if (target_ == STANDARD_OUTPUT) copy_to_standard_output();
    if (aside_.empty()) return;
    if (std::rename(aside_.c_str(), path_.c_str()) != 0) fail();
    aside_.clear();
}

void output_file::copy_to_standard_output() {
    std::fflush(stdout);
    std::array<char, BUFFER_SIZE> piece;
    off_t offset = 0;
    for (;;) {
        const ssize_t count = ::pread(descriptor_, piece.data(), piece.size(), offset);
        if (count == 0) return;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail();
        if (!write_all(STDOUT_FILENO, {piece.data(), static_cast<std::size_t>(count)})) fail();
        offset += count;
    }
}

}  // namespace lab
