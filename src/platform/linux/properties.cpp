// Android system properties on a plain Linux host: one file per property that holds its value.
//
// Properties that begin with "persist." live where they survive a reboot, the others where they do not.

#include "platform/properties.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char PERSISTENT_DIR[] = "/var/lib/vorn";
constexpr char VOLATILE_DIR[] = "/run/vorn";
constexpr char PERSISTENT_PREFIX[] = "persist.";
constexpr int PATH_SIZE = 256;

struct path {
    char text[PATH_SIZE];
};

const char* directory_of(const char* name) {
    const bool is_persistent = strncmp(name, PERSISTENT_PREFIX, sizeof PERSISTENT_PREFIX - 1) == 0;
    return is_persistent ? PERSISTENT_DIR : VOLATILE_DIR;
}

path property_file(const char* name, const char* suffix) {
    path result = {};
    snprintf(result.text, sizeof result.text, "%s/%s%s", directory_of(name), name, suffix);
    return result;
}

// Bytes read, or 0 when there is nothing to be read.
std::size_t read_value(const char* name, char* value) {
    const int descriptor = open(property_file(name, "").text, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW);
    if (descriptor < 0) return 0;
    const ssize_t count = read(descriptor, value, PROPERTY_VALUE_MAX - 1);
    close(descriptor);
    return count < 0 ? 0 : static_cast<std::size_t>(count);
}

bool write_whole(const char* file, const char* value) {
    const int descriptor =
        open(file, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW, 0644);
    if (descriptor < 0) return false;
    const std::size_t length = strlen(value);
    const ssize_t count = write(descriptor, value, length);
    return close(descriptor) == 0 && count == static_cast<ssize_t>(length);
}

}  // namespace

int property_get(const char* name, char* value, const char* default_value) {
    std::size_t length = read_value(name, value);
    if (length == 0) {
        length = strnlen(default_value, PROPERTY_VALUE_MAX - 1);
        memcpy(value, default_value, length);
    }
    value[length] = '\0';
    return static_cast<int>(length);
}

// The new value appears whole or not at all, also to other readers: it is written aside and renamed.
int property_set(const char* name, const char* value) {
    if (strlen(value) >= PROPERTY_VALUE_MAX) return -1;
    mkdir(directory_of(name), 0755);  // fails when it is there, which is well
    const path aside = property_file(name, ".new");
    if (write_whole(aside.text, value) && rename(aside.text, property_file(name, "").text) == 0) return 0;
    unlink(aside.text);
    return -1;
}
