#include "lab/io/descriptor.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
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
