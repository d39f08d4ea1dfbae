#include "lab/session/device_mirror.h"

#include <algorithm>

namespace lab {

using virtual_device::device;
using virtual_device::file;

bool device_mirror::known_file::is_like(const file& one) const {
    return exists == one.exists && open_fails == one.open_fails && read_fails == one.read_fails &&
           write_fails == one.write_fails && bytes == one.bytes;
}

device_mirror::known_file& device_mirror::known(const file& of) {
    const auto place = static_cast<std::size_t>(of.descriptor);
    if (place >= files_.size()) files_.resize(place + 1);
    return files_[place];
}

void device_mirror::put_changes(const device& here, letter& into) {
    for (const file* each : here.files()) {
        known_file& last = known(*each);
        if (last.is_like(*each)) continue;
        last = {each->bytes, each->exists, each->open_fails, each->read_fails, each->write_fails};
        into.put_number(true);
        into.put_text(each->path);
        into.put_text(last.bytes);
        for (const bool flag : {last.exists, last.open_fails, last.read_fails, last.write_fails})
            into.put_number(flag);
    }
    into.put_number(false);
    const bool has_others = here.properties != properties_ || here.failing_properties() != failing_;
    into.put_number(has_others);
    if (!has_others) return;
    properties_ = here.properties;
    failing_ = here.failing_properties();
    into.put_number(static_cast<std::uint32_t>(properties_.size()));
    for (const auto& [name, value] : properties_) {
        into.put_text(name);
        into.put_text(value);
    }
    into.put_number(static_cast<std::uint32_t>(failing_.size()));
    for (const std::string& each : failing_) into.put_text(each);
}

void device_mirror::take_changes(wire::body& from, device& here) {
    while (from.number<bool>()) {
        file& into = here.at(from.text());
        into.bytes = from.text();
        for (bool file::*flag : {&file::exists, &file::open_fails, &file::read_fails, &file::write_fails})
            into.*flag = from.number<bool>();
        known(into) = {into.bytes, into.exists, into.open_fails, into.read_fails, into.write_fails};
    }
    if (from.number<bool>()) take_properties(from, here);
}

void device_mirror::take_properties(wire::body& from, device& here) {
    properties_.clear();
    for (auto left = from.number<std::uint32_t>(); left > 0; --left) {
        const std::string_view name = from.text();
        properties_.emplace(name, from.text());
    }
    // Whoever watches a property has its address: it stays where it is.
    std::erase_if(here.properties, [this](const auto& each) { return !properties_.contains(each.first); });
    for (const auto& [name, value] : properties_) here.set_property(name, value);
    for (const std::string& each : failing_) here.fail_property_set(each, false);
    failing_.clear();
    for (auto left = from.number<std::uint32_t>(); left > 0; --left) {
        failing_.emplace_back(from.text());
        here.fail_property_set(failing_.back(), true);
    }
}

}  // namespace lab
