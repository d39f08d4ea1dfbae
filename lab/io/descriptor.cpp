#include "lab/io/descriptor.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace lab {

int open_unnamed() {
    std::FILE* const stream = std::tmpfile();
    if (stream == nullptr) return -1;
    // The file lives on behind a descriptor that no other program inherits; the stream has no further use.
    const int descriptor = ::fcntl(::fileno(stream), F_DUPFD_CLOEXEC, 0);
    std::fclose(stream);
    return descriptor;
}

std::string true_name(const std::string& path) {
    constexpr int MOST_LINKS = 40;  // as Linux follows
    namespace fs = std::filesystem;
    std::error_code error;
    fs::path name(path);
    for (int i = 0; i < MOST_LINKS && fs::is_symlink(fs::symlink_status(name, error)); ++i)
        name = name.parent_path() / fs::read_symlink(name, error);
    const fs::path whole = fs::weakly_canonical(fs::absolute(name, error), error);
    return error ? path : whole.string();
}

bool write_all(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace lab
