#include "lab/simulation/sensor_nodes.h"

#include "lab/io/digits.h"

namespace lab {

namespace {

constexpr std::int32_t ONLY_VENDOR = 0;  // the vendor's text never changes during a scenario

}  // namespace

void put_line(virtual_device::file& into, std::string_view text) {
    into.put(text);
    into.bytes.push_back('\n');
}

void sensor_nodes::find(virtual_device::device& on) {
    for (std::size_t i = 0; i < nodes_.size(); ++i) nodes_[i] = {&on.at(DEVICE_NODES[i].path), std::nullopt};
}

// Most readings are the same from one cycle to the next; only what changes is written.
void sensor_nodes::put_number(std::size_t place, std::int32_t value) {
    node& into = nodes_[place];
    if (into.shown == value) return;
    into.shown = value;
    char text[16];
    char* const end = put_decimal(text, value);
    *end = '\n';
    into.file->put(std::string_view(text, static_cast<std::size_t>(end - text) + 1));
}

void sensor_nodes::put_text(std::size_t place, std::int32_t number, std::string_view text) {
    node& into = nodes_[place];
    if (into.shown == number) return;
    into.shown = number;
    put_line(*into.file, text);
}

void sensor_nodes::put_override(node& into, const scenario_event& event) {
    into.shown.reset();
    switch (event.reads) {
        case text_kind::text:
            put_line(*into.file, event.text);
            break;
        case text_kind::missing:
            into.file->remove();
            break;
        case text_kind::empty:
            into.file->put("");
            break;
        case text_kind::error:  // a fault of the device, whatever the text
            break;
    }
}

void sensor_nodes::show(const phone::readings& read, const std::string& vendor,
                        const node_overrides& instead) {
    put_number(NODE_VOLTAGE, read.voltage_uv);
    put_number(NODE_TEMPERATURE, read.temperature_decic);
    put_number(NODE_CHARGE_COUNTER, read.charge_counter_uah);
    put_number(NODE_CYCLE_COUNT, read.cycle_count);
    put_number(NODE_CAPACITY, read.capacity_pct);
    put_number(NODE_CURRENT, read.current_ua);
    put_number(NODE_UI_SOC, read.ui_soc);
    put_number(NODE_ZONE, read.zone_mc);
    put_number(NODE_VBUS, read.vbus_uv);
    put_text(NODE_STATUS, static_cast<std::int32_t>(read.status),
             phone::charge_status_texts[static_cast<std::size_t>(read.status)]);
    put_text(NODE_VENDOR, ONLY_VENDOR, vendor);
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
        if (instead[i] != nullptr) put_override(nodes_[i], *instead[i]);
    }
}

}  // namespace lab
