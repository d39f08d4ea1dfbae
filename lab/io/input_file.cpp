#include "lab/io/input_file.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>
#include <utility>

#include "lab/io/descriptor.h"
#include "lab/io/error.h"

namespace lab {

namespace {

constexpr std::size_t COPY_SIZE = 65536;

[[noreturn]] void fail(const std::string& name) {
    throw input_error(name + ": " + std::strerror(errno));
}

// A pipe that somebody opened already, and not a FIFO in a directory.
bool is_unnamed_pipe(int descriptor) {
    struct statfs system {};
    return ::fstatfs(descriptor, &system) == 0 && system.f_type == PIPEFS_MAGIC;
}

// The limit in the unit that it is a whole number of.
std::string mib_text(std::int64_t bytes) {
    const std::int64_t mib = bytes >> 20;
    return mib % 1024 == 0 ? std::to_string(mib / 1024) + " GiB" : std::to_string(mib) + " MiB";
}

}  // namespace

std::string input_name(const std::string& path) {
    return path == "-" ? "standard input" : path;
}

int open_to_read(const std::string& path) {
    const bool is_standard_input = path == "-";
    const int opened = is_standard_input ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                         : ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (opened < 0) fail(input_name(path));
    struct stat about {};
    const bool is_known = ::fstat(opened, &about) == 0;
    if (is_known && S_ISREG(about.st_mode)) return opened;
    if (is_known && S_ISDIR(about.st_mode)) {
        ::close(opened);
        errno = EISDIR;
        fail(input_name(path));
    }
    if (is_standard_input) return opened;
    if (!is_unnamed_pipe(opened)) {
        ::close(opened);
        throw input_error(path + ": not a regular file; - reads standard input");
    }
    ::fcntl(opened, F_SETFL, O_RDONLY);  // its writer may be slower
    return opened;
}

input_file::input_file(input_file&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)),
      source_(std::exchange(other.source_, -1)),
      name_(std::move(other.name_)) {}

input_file& input_file::operator=(input_file&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    std::swap(source_, other.source_);
    std::swap(name_, other.name_);
    return *this;
}

input_file::~input_file() {
    if (descriptor_ >= 0) ::close(descriptor_);
    if (source_ >= 0) ::close(source_);
}

input_file input_file::open(const std::string& path) {
    const int opened = open_to_read(path);
    struct stat about {};
    if (::fstat(opened, &about) == 0 && S_ISREG(about.st_mode)) return {opened, -1, input_name(path)};
    const int copy = open_unnamed();
    input_file file(copy, opened, input_name(path));  // closes both
    if (copy < 0) fail("temporary copy of " + file.name());
    return file;
}

input_file input_file::from_text(std::string_view content, std::string name) {
    const int descriptor = ::memfd_create("text", MFD_CLOEXEC);
    if (descriptor < 0) fail(name);
    if (!write_all(descriptor, content)) fail(name);
    return {descriptor, -1, std::move(name)};
}

input_file input_file::again() const {
    const int descriptor = ::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
    const int source = source_ < 0 ? -1 : ::fcntl(source_, F_DUPFD_CLOEXEC, 0);
    input_file file(descriptor, source, name_);
    if (descriptor < 0 || (source < 0) != (source_ < 0)) fail(name_);
    return file;
}

// How far the copy has come is its length, and it is written where it ends: another process may have read on since (each
// boot of a session is one).
void input_file::copy_until(std::int64_t end) const {
    struct stat copy {};
    if (::fstat(descriptor_, &copy) != 0) fail(name_);
    std::array<char, COPY_SIZE> buffer;
    for (std::int64_t size = copy.st_size; size < end;) {
        if (size >= LARGEST_PIPE)
            throw input_error(name_ + ": more than " + mib_text(LARGEST_PIPE) +
                              ", the most that is read of a pipe; a file may be larger");
        const ssize_t count = ::read(source_, buffer.data(), buffer.size());
        if (count == 0) return;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(name_);
        if (!write_all(descriptor_, {buffer.data(), static_cast<std::size_t>(count)}))
            fail("temporary copy of " + name_);
        size += count;
    }
}

std::size_t input_file::read(std::int64_t offset, char* buffer, std::size_t size) const {
    if (source_ >= 0) copy_until(offset + static_cast<std::int64_t>(size));
    for (;;) {
        const ssize_t count = ::pread(descriptor_, buffer, size, offset);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR) fail(name_);
    }
}

std::optional<std::int64_t> input_file::size() const {
    struct stat about {};
    if (source_ >= 0 || ::fstat(descriptor_, &about) != 0) return std::nullopt;
    return about.st_size;
}

std::string read_file(const std::string& path) {
    const input_file file = input_file::open(path);
    std::string bytes;
    std::array<char, COPY_SIZE> buffer;
    for (;;) {
        const std::size_t count =
            file.read(static_cast<std::int64_t>(bytes.size()), buffer.data(), buffer.size());
        if (count == 0) return bytes;
        bytes.append(buffer.data(), count);
        if (bytes.size() > LARGEST_WHOLE_FILE)
            throw input_error(file.name() + ": larger than " + mib_text(LARGEST_WHOLE_FILE) +
                              ", the most that is read at once");
    }
}

}  // namespace lab
