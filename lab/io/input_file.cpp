#include "lab/io/input_file.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
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

// A descriptor of an unnamed temporary file that holds all that can be read from `source`.
int copied(int source, const std::string& name) {
    const int copy = open_unnamed();
    if (copy < 0) fail("temporary copy of " + name);
    std::array<char, COPY_SIZE> buffer;
    for (;;) {
        const ssize_t count = ::read(source, buffer.data(), buffer.size());
        if (count == 0) return copy;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail(name);
        if (!write_all(copy, {buffer.data(), static_cast<std::size_t>(count)}))
            fail("temporary copy of " + name);
    }
}

}  // namespace

input_file::input_file(int descriptor, std::string name) : descriptor_(descriptor), name_(std::move(name)) {
    struct stat about {};
    if (::fstat(descriptor_, &about) != 0) fail(name_);
    size_ = about.st_size;
}

input_file::input_file(input_file&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), size_(other.size_), name_(std::move(other.name_)) {}

input_file& input_file::operator=(input_file&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    std::swap(size_, other.size_);
    std::swap(name_, other.name_);
    return *this;
}

input_file::~input_file() {
    if (descriptor_ >= 0) ::close(descriptor_);
}

input_file input_file::open(const std::string& path) {
    const bool is_standard_input = path == "-";
    const std::string name = is_standard_input ? "standard input" : path;
    const int opened = is_standard_input ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                         : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (opened < 0) fail(name);
    struct stat about {};
    if (::fstat(opened, &about) == 0 && S_ISREG(about.st_mode)) return {opened, name};
    input_file original(opened, name);  // closes it
    return {copied(opened, name), name};
}

input_file input_file::from_text(std::string_view content, std::string name) {
    const int descriptor = ::memfd_create("text", MFD_CLOEXEC);
    if (descriptor < 0) fail(name);
    if (!write_all(descriptor, content)) fail(name);
    return {descriptor, std::move(name)};
}

input_file input_file::again() const {
    const int descriptor = ::fcntl(descriptor_, F_DUPFD_CLOEXEC, 0);
    if (descriptor < 0) fail(name_);
    return {descriptor, name_};
}

std::size_t input_file::read(std::int64_t offset, char* buffer, std::size_t size) const {
    for (;;) {
        const ssize_t count = ::pread(descriptor_, buffer, size, offset);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno != EINTR) fail(name_);
    }
}

std::string read_file(const std::string& path) {
    const input_file file = input_file::open(path);
    std::string bytes;
    bytes.reserve(static_cast<std::size_t>(file.size()));
    std::array<char, COPY_SIZE> buffer;
    for (;;) {
        const std::size_t count =
            file.read(static_cast<std::int64_t>(bytes.size()), buffer.data(), buffer.size());
        if (count == 0) return bytes;
        bytes.append(buffer.data(), count);
    }
}

}  // namespace lab
