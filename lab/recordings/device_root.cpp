#include "lab/recordings/device_root.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "lab/io/error.h"
#include "lab/io/input_file.h"
#include "lab/io/text.h"
#include "lab/state/state_layout.h"
#include "platform/virtual/device.h"

namespace lab {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view FILE_DIRS[] = {virtual_device::DATA_DIR, virtual_device::NVCFG_DIR};
constexpr std::string_view PROPERTIES_FILE = "properties";
constexpr std::size_t MOST_FILES = 1000;                    // in one of the two
constexpr std::size_t MOST_BYTES = 4 * LARGEST_WHOLE_FILE;  // of all files

[[noreturn]] void fail(const fs::path& path, const std::error_code& why) {
    throw input_error(path.string() + ": " + why.message());
}

// Where a path of the device lies in the directory.
fs::path host_path(const fs::path& root, std::string_view device_path) {
    return root / device_path.substr(1);
}

fs::file_status status_of(const fs::path& path) {
    std::error_code error;
    const fs::file_status status = fs::symlink_status(path, error);
    if (status.type() == fs::file_type::none) fail(path, error);
    return status;
}

// A link could lead to what is no part of the evidence, and reading a pipe would wait for ever.
void require_regular_file(const fs::path& path) {
    const fs::file_status status = status_of(path);
    if (fs::is_regular_file(status)) return;
    if (fs::is_directory(status)) fail(path, std::make_error_code(std::errc::is_a_directory));
    throw input_error(path.string() +
                      (fs::is_symlink(status) ? ": a symbolic link" : ": not a regular file") +
                      ", which a device root must not hold");
}

// Every step of the way down to it, as far as it is there, is a directory and no link.
void require_plain_way(const fs::path& root, std::string_view device_dir) {
    fs::path path = root;
    for (const fs::path& step : fs::path(device_dir.substr(1))) {
        if (step.empty()) continue;
        path /= step;
        const fs::file_status status = status_of(path);
        if (!fs::exists(status)) return;
        if (!fs::is_directory(status)) {
            if (fs::is_symlink(status)) require_regular_file(path);
            fail(path, std::make_error_code(std::errc::not_a_directory));
        }
    }
}

// The files of one of the two directories; none when it is missing.
std::vector<fs::path> files_in(const fs::path& directory) {
    std::vector<fs::path> found;
    std::error_code error;
    fs::directory_iterator each(directory, error);
    if (error == std::errc::no_such_file_or_directory) return found;
    if (error) fail(directory, error);
    for (; each != fs::directory_iterator(); each.increment(error)) {
        const bool is_state_file = std::ranges::any_of(
            state_files, [&](const state_file& kind) { return each->path().filename() == kind.name; });
        if (!is_state_file && fs::is_directory(status_of(each->path()))) continue;
        require_regular_file(each->path());
        if (found.size() == MOST_FILES)
            throw input_error(directory.string() + ": more than " + std::to_string(MOST_FILES) +
                              " files, the most that a device root may hold there");
        found.push_back(each->path());
    }
    if (error) fail(directory, error);
    std::ranges::sort(found);
    return found;
}

// A folder that is something else must not start a device that holds nothing. An empty one is such a device.
void require_device_root(const fs::path& root) {
    std::error_code error;
    const fs::directory_iterator first(root, error);
    if (error) fail(root, error);
    const auto holds = [&](std::string_view device_path) {
        return fs::exists(status_of(host_path(root, device_path).parent_path()));  // without the last slash
    };
    const bool is_one = holds(virtual_device::DATA_DIR) || holds(virtual_device::NVCFG_DIR) ||
                        fs::exists(status_of(root / PROPERTIES_FILE));
    if (is_one || first == fs::directory_iterator()) return;
    throw input_error(
        root.string() +
        ": not a device root: none of mnt/vendor/nvcfg/vorn, data/vendor/vorn and properties is in it");
}

void load_properties(const std::string& path, device_image& image) {
    const std::string text = read_file(path);
    std::string_view rest = text;
    for (int line = 1; !rest.empty(); ++line) {
        const std::string_view entry = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(entry.size() + 1, rest.size()));
        if (entry.empty()) continue;
        const std::size_t equals = entry.find('=');
        if (equals == entry.npos || equals == 0) {
            throw input_error(path + ":" + std::to_string(line) +
                              ":1: not a property (name=value): " + for_message(entry));
        }
        if (entry.find('\0') != entry.npos)
            throw input_error(path + ":" + std::to_string(line) +
                              ":1: a NUL in a property: " + for_message(entry));
        image.properties[std::string(entry.substr(0, equals))] = entry.substr(equals + 1);
    }
}

std::string properties_text(const device_image& image) {
    std::string text;
    for (const auto& [name, value] : image.properties) text += name + "=" + value + "\n";
    return text;
}

// What is missing of the directory will be made in the part of it that is there.
void require_writable(fs::path path) {
    std::error_code error;
    while (!path.empty() && !fs::exists(path, error)) path = path.parent_path();
    if (path.empty()) path = ".";
    if (!fs::is_directory(path, error)) fail(path, std::make_error_code(std::errc::not_a_directory));
    if (::access(path.c_str(), W_OK) != 0) fail(path, {errno, std::generic_category()});
}

void remove_vanished(const fs::path& root, std::string_view device_dir, const std::set<std::string>& kept) {
    for (const fs::path& path : files_in(host_path(root, device_dir))) {
        if (kept.contains(std::string(device_dir) + path.filename().string())) continue;
        std::error_code error;
        fs::remove(path, error);
        if (error) fail(path, error);
    }
}

}  // namespace

device_image load_device_root(const std::string& directory) {
    const fs::path root(directory);
    require_device_root(root);
    device_image image;
    std::size_t size = 0;
    for (const std::string_view device_dir : FILE_DIRS) {
        require_plain_way(root, device_dir);
        for (const fs::path& path : files_in(host_path(root, device_dir))) {
            std::string& bytes = image.files[std::string(device_dir) + path.filename().string()];
            bytes = read_file(path.string());
            size += bytes.size();
            if (size > MOST_BYTES)
                throw input_error(directory + ": its files are larger than " +
                                  std::to_string(MOST_BYTES >> 20U) +
                                  " MiB, the most that a device root may hold");
        }
    }
    const fs::path properties = root / PROPERTIES_FILE;
    if (fs::exists(status_of(properties))) {
        require_regular_file(properties);
        load_properties(properties.string(), image);
    }
    return image;
}

void require_savable_root(const std::string& directory) {
    const fs::path root(directory);
    std::error_code error;
    if (fs::exists(root, error)) require_device_root(root);
    require_writable(root);
    for (const std::string_view device_dir : FILE_DIRS) {
        require_plain_way(root, device_dir);
        require_writable(host_path(root, device_dir));
        for (const fs::path& path : files_in(host_path(root, device_dir))) {
            if (::access(path.c_str(), W_OK) != 0) fail(path, {errno, std::generic_category()});
        }
    }
    if (fs::exists(status_of(root / PROPERTIES_FILE))) require_regular_file(root / PROPERTIES_FILE);
}

staged_device_root::staged_device_root(const std::string& directory, const device_image& image)
    : root_(directory) {
    for (const std::string_view device_dir : FILE_DIRS) {
        std::error_code error;
        fs::create_directories(host_path(root_, device_dir), error);
        if (error) fail(host_path(root_, device_dir), error);
    }
    for (const auto& [device_path, bytes] : image.files) {
        files_.emplace_back(host_path(root_, device_path).string()).write(bytes);
        kept_.insert(device_path);
    }
    files_.emplace_back((root_ / PROPERTIES_FILE).string()).write(properties_text(image));
    for (output_file& each : files_) each.finish();
}

void staged_device_root::commit() {
    // Removed last: until every new file has its name, the old device is still whole.
    for (output_file& each : files_) each.commit();
    for (const std::string_view device_dir : FILE_DIRS) remove_vanished(root_, device_dir, kept_);
}

}  // namespace lab
