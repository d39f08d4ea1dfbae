#include "lab/io/output_file.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "lab/io/descriptor.h"
#include "lab/io/error.h"
#include "lab/io/text.h"
#include "lab/io/unfinished_files.h"

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
        std::cout.flush();
        descriptor_ = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
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
    path_ = true_name(target_);
    std::string name = path_ + ".XXXXXX";
    descriptor_ = ::mkostemp(name.data(), O_CLOEXEC);
    if (descriptor_ < 0) fail();
    aside_ = name;
    remember_unfinished(aside_);
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
    if (aside_.empty()) return;
    ::unlink(aside_.c_str());
    forget_unfinished(aside_);
}

void output_file::flush() {
    // The writers append whole lines, so no character is cut here.
    if (aside_.empty() && ::isatty(descriptor_) != 0) buffer_ = harmless(buffer_);
    if (!write_all(descriptor_, buffer_)) fail();
    buffer_.clear();
}

void output_file::finish() {
    flush();
    if (descriptor_ < 0) return;
    // Closed here and not at the end: some file systems report a full disk only then.
    if (::close(std::exchange(descriptor_, -1)) != 0) fail();
}

void output_file::commit() {
    if (descriptor_ >= 0) finish();
    if (aside_.empty()) return;
    if (std::rename(aside_.c_str(), path_.c_str()) != 0) fail();
    forget_unfinished(aside_);
    aside_.clear();
}

}  // namespace lab
