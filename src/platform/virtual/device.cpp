#include "platform/virtual/device.h"

#include <algorithm>
#include <cerrno>

namespace virtual_device {

namespace {

// The linker's: where the program begins, and where what it can write begins, behind its code and constants.
extern "C" const char __executable_start;
extern "C" const char __data_start;

// Whether a text never changes. One on the stack may be another one at the next call.
bool is_constant(const char* text) {
    const auto at = reinterpret_cast<std::uintptr_t>(text);
    return at >= reinterpret_cast<std::uintptr_t>(&__executable_start) &&
           at < reinterpret_cast<std::uintptr_t>(&__data_start);
}

bool is_state_path(std::string_view path) {
    return path.starts_with(DATA_DIR) || path.starts_with(NVCFG_DIR);
}

}  // namespace

file* device::find(std::string_view path) {
    const auto found = files_.find(path);
    return found == files_.end() ? nullptr : found->second.get();
}

file& device::at(std::string_view path) {
    if (file* known = find(path)) return *known;
    auto made = std::make_unique<file>();
    made->path = path;
    made->descriptor = static_cast<int>(by_descriptor_.size());
    made->can_be_created = is_state_path(path);
    file& result = *made;
    by_descriptor_.push_back(&result);
    files_.emplace(result.path, std::move(made));
    return result;
}

std::vector<const file*> device::state_files() const {
    std::vector<const file*> found;
    for (const auto& [path, entry] : files_) {
        if (entry->exists && is_state_path(path)) found.push_back(entry.get());
    }
    std::sort(found.begin(), found.end(), [](const file* a, const file* b) { return a->path < b->path; });
    return found;
}

void device::set_fault(file& of, bool file::*which) {
    of.*which = true;
    faulty_files_.push_back(&of);
}

void device::fail_property_set(std::string_view name, bool fails) {
    std::erase(failing_properties_, name);
    if (fails) failing_properties_.emplace_back(name);
}

bool device::property_set_fails(std::string_view name) const {
    return std::find(failing_properties_.begin(), failing_properties_.end(), name) !=
           failing_properties_.end();
}

void device::clear_faults() {
    for (file* each : faulty_files_) each->open_fails = each->read_fails = each->write_fails = false;
    faulty_files_.clear();
    failing_properties_.clear();
}

void device::set_property(std::string_view name, std::string_view value) {
    const auto known = properties.find(name);
    if (known != properties.end()) {
        known->second = value;
    } else {
        properties.emplace(name, value);
    }
}

void device::forget_volatile_properties() {
    std::erase_if(properties, [](const auto& entry) { return !entry.first.starts_with(PERSISTENT_PREFIX); });
}

file& device::find_address(const char* path, known_path& known) {
    file& found = at(path);
    if (is_constant(path)) known = {path, &found};
    return found;
}

int device::open_otherwise(file& target, bool may_create) {
    if (target.open_fails || decide(operation::open, target.path, 0) == FAIL) {
        errno = EIO;
        return -1;
    }
    if (!target.exists) {
        if (!may_create || !target.can_be_created) {
            errno = ENOENT;
            return -1;
        }
        target.put("");
    }
    ++open_count_;
    return target.descriptor;
}

}  // namespace virtual_device
