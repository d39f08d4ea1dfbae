#include "lab/state/stored_state.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/io/text.h"
#include "platform/virtual/device.h"

namespace lab {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view MOCK_OFFSET_FILE = "mock_batt_stress_offset";
constexpr std::size_t MOCK_TEXT_SIZE = 64;  // bytes; the daemon looks at the first 15

struct host_file {
    file_condition condition = file_condition::missing;
    std::string error;
    std::uint64_t size = 0;
    std::string bytes;
};

// Reads the first `most` bytes. Only a missing file or one that cannot be opened or read is not `whole` here.
// A pipe is neither waited for nor read, a link not followed, by the daemon neither.
host_file read_host_file(const fs::path& path, std::size_t most) {
    host_file file;
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        if (errno != ENOENT) file.condition = file_condition::not_opened;
        file.error = errno == ELOOP ? "a symbolic link" : std::strerror(errno);
        return file;
    }
    struct stat status = {};
    const bool has_status = ::fstat(descriptor, &status) == 0;
    if (has_status && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        ::close(descriptor);
        file.condition = file_condition::not_opened;  // as the daemon has it
        file.error = "not a regular file";
        return file;
    }
    file.condition = file_condition::whole;
    file.bytes.resize(most);
    std::size_t count = 0;
    while (count < most) {
        const ssize_t got = ::read(descriptor, file.bytes.data() + count, most - count);
        if (got == 0) break;
        if (got < 0) {
            file.condition = file_condition::not_read;
            file.error = std::strerror(errno);
            count = 0;
            break;
        }
        count += static_cast<std::size_t>(got);
    }
    file.bytes.resize(count);
    file.size = has_status && S_ISREG(status.st_mode) ? static_cast<std::uint64_t>(status.st_size) : count;
    ::close(descriptor);
    return file;
}

// A directory that cannot be looked into would pass for an empty one. None is fine: so far nothing was written.
void require_readable(const fs::path& directory) {
    std::error_code error;
    const fs::directory_iterator first(directory, error);
    if (error && error != std::errc::no_such_file_or_directory)
        throw input_error(directory.string() + ": " + error.message());
}

// One state file that comes through a pipe, which has no name that says which one. Its length does, for most.
stored_state read_piped(const std::string& path) {
    const std::string bytes = read_file(path);
    std::string names;
    const state_file* only = nullptr;
    std::size_t count = 0;
    for (const state_file& kind : state_files) {
        if (kind.size != bytes.size()) continue;
        only = &kind;
        names += (count++ == 0 ? "" : ", ") + std::string(kind.name);
    }
    const std::string source = path == "-" ? "standard input" : path;
    if (count != 1)
        throw input_error(source + ": " + counted(bytes.size(), "byte") +
                          (count == 0 ? ", which is no state file" : ", which may be any of " + names) +
                          "; save it under its name");
    stored_file file{only, source, false, file_condition::whole, "", bytes.size(), bytes};
    return {source, {file}, {}};
}

stored_file read_kind(const state_file& kind, const fs::path& path) {
    host_file found = read_host_file(path, kind.size);
    stored_file file = {&kind, path.string(), false, found.condition, found.error, found.size, {}};
    if (file.condition == file_condition::whole) {
        if (found.bytes.size() < kind.size) file.condition = file_condition::shorter;
        if (found.size > kind.size) file.condition = file_condition::longer;
    }
    file.bytes = std::move(found.bytes);
    return file;
}

bool is_there(const fs::path& path) {
    std::error_code error;
    return fs::exists(fs::symlink_status(path, error));
}

// A directory that is no device root but holds state files itself.
bool holds_files_itself(const fs::path& directory) {
    return std::ranges::any_of(state_files,
                               [&](const state_file& kind) { return is_there(directory / kind.name); });
}

fs::path host_path(const fs::path& root, std::string_view device_path) {
    return root / device_path.substr(1);
}

stored_file read_from_root(const fs::path& root, const state_file& kind) {
    stored_file file = read_kind(kind, host_path(root, kind.path));
    if (file.condition != file_condition::missing) return file;
    const std::string former_path = std::string(virtual_device::DATA_DIR).append(kind.name);
    if (former_path == kind.path || !is_there(host_path(root, former_path))) return file;
    stored_file former = read_kind(kind, host_path(root, former_path));
    former.is_former = true;
    return former;
}

stored_state read_directory(const fs::path& directory) {
    stored_state state = {directory.string(), {}, {}};
    require_readable(directory);
    const bool is_flat = holds_files_itself(directory);
    for (const std::string_view part : {virtual_device::NVCFG_DIR, virtual_device::DATA_DIR})
        require_readable(host_path(directory, part));
    for (const state_file& kind : state_files)
        state.files.push_back(is_flat ? read_kind(kind, directory / kind.name)
                                      : read_from_root(directory, kind));
    const fs::path mock = is_flat ? directory / MOCK_OFFSET_FILE
                                  : host_path(directory, virtual_device::DATA_DIR) / MOCK_OFFSET_FILE;
    const host_file offset = read_host_file(mock, MOCK_TEXT_SIZE);
    if (offset.condition == file_condition::whole) state.mock_offset = offset.bytes;
    return state;
}

}  // namespace

std::string_view words(file_condition condition) {
    constexpr std::string_view all[] = {"whole",          "too long",         "too short",
                                        "cannot be read", "cannot be opened", "missing"};
    return all[static_cast<std::size_t>(condition)];
}

stored_state read_stored_state(const std::string& path) {
    if (path == "-") return read_piped(path);
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (!fs::exists(status)) {
        throw input_error(path + ": " + (error ? error.message() : std::strerror(ENOENT)));
    }
    const std::string name = fs::path(path).filename().string();
    const state_file* const kind = find_state_file(name);
    if (fs::is_directory(status) && (kind == nullptr || kind->name != name)) return read_directory(path);
    if (kind == nullptr && fs::is_fifo(status)) return read_piped(path);
    if (kind == nullptr) throw input_error(path + ": neither a directory nor named like a state file");
    return {path, {read_kind(*kind, path)}, {}};
}

std::string state_file_path(const std::string& directory, const state_file& kind) {
    const fs::path root(directory);
    return (holds_files_itself(root) ? root / kind.name : host_path(root, kind.path)).string();
}

}  // namespace lab
