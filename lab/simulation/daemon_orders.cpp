#include "lab/simulation/daemon_orders.h"

#include <charconv>

#include "core/sys_properties.h"

namespace lab {

namespace {

const std::string* find_property(const virtual_device::device& on, const char* name) {
    const auto found = on.properties.find(std::string_view(name));
    return found == on.properties.end() ? nullptr : &found->second;
}

}  // namespace

// The properties are looked up only when one has come or gone: they never move in between.
void daemon_orders::read(const virtual_device::device& on) {
    if (on.properties.size() != properties_seen_) {
        properties_seen_ = on.properties.size();
        toc_ = find_property(on, TOC_PROPERTY);
        disable_ = find_property(on, DISABLE_PROPERTY);
        power_ = find_property(on, POWER_PROPERTY);
    }
    given_.is_charging_disabled = disable_ != nullptr && !disable_->empty() && *disable_ != "0";
    if (toc_ == nullptr || *toc_ == toc_text_) return;
    toc_text_ = *toc_;
    int toc_mv = 0;
    std::from_chars(toc_text_.data(), toc_text_.data() + toc_text_.size(), toc_mv);
    given_.toc_mv = toc_mv;
}

}  // namespace lab
