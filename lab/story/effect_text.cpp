#include "lab/story/effect_text.h"

#include <algorithm>
#include <string_view>

#include "lab/io/text.h"
#include "lab/records/record_text.h"

namespace lab {

namespace {

constexpr std::size_t MAX_BYTES_SHOWN = 24;  // of a write, in hexadecimal

// "a=1;IN,b=2;IN,ver=12;SY" as "a=1 b=2": the types and the version say nothing to a reader.
std::string plain_values(std::string_view payload) {
    std::string plain;
    while (!payload.empty()) {
        const std::size_t end = std::min(payload.find(','), payload.size());
        const std::string_view field = payload.substr(0, end);
        payload.remove_prefix(std::min(end + 1, payload.size()));
        const std::string_view value = field.substr(0, field.rfind(';'));
        if (!value.starts_with("ver=")) plain.append(" ").append(value);
    }
    return plain;
}

std::string record_line(std::string_view text) {
    const std::string_view name = record_name(text);
    const std::string_view payload = record_payload(text);
    const bool is_known = name != record_schema_id(text) && payload.data() != text.data();
    return is_known ? std::string(name) + plain_values(payload) : std::string(text);
}

std::string write_line(const event& what) {
    std::string line = what.name + ", " + std::to_string(what.text.size()) + " bytes";
    if (what.text.empty() || what.text.size() > MAX_BYTES_SHOWN) return line;
    line += ": ";
    append_hex(line, what.text);
    return line;
}

}  // namespace

std::string effect_text(const event& what) {
    std::string line;
    switch (what.kind) {
        case event_kind::log:
            line = what.text;
            break;
        case event_kind::metric:
            line = record_line(what.text);
            break;
        case event_kind::property_set:
            line = what.name + " = " + what.text;
            break;
        case event_kind::write:
            line = write_line(what);
            break;
    }
    while (!line.empty() && (line.back() == '\n' || line.back() == ' ')) line.pop_back();
    const bool failed = what.kind == event_kind::write          ? what.result < 0
                        : what.kind == event_kind::property_set ? what.result != 0
                                                                : false;
    return failed ? line + " (failed)" : line;
}

}  // namespace lab
