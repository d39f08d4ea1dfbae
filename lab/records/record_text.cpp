#include "lab/records/record_text.h"

#include <charconv>

#include "lab/records/record_schema.h"
#include "util/metrics.h"

namespace lab {

std::string_view record_schema_id(std::string_view text) {
    const auto begin = text.find(':');
    if (begin == std::string_view::npos) return {};
    const auto end = text.find(':', begin + 1);
    if (end == std::string_view::npos) return {};
    return text.substr(begin + 1, end - begin - 1);
}

std::string_view record_name(std::string_view text) {
    const std::string_view id = record_schema_id(text);
    const record_schema* const known = find_schema(id);
    return known == nullptr ? id : known->name;
}

std::string_view record_payload(std::string_view text) {
    const std::string_view device_fields = METRICS_DEVICE_PREFIX;
    const std::size_t at = text.find(device_fields);
    if (at == text.npos) return text;
    const std::string_view payload = text.substr(at + device_fields.size());
    return payload.substr(0, payload.rfind(':'));
}

std::optional<std::string_view> record_field(std::string_view text, std::string_view name) {
    for (std::size_t at = text.find(name); at != std::string_view::npos; at = text.find(name, at + 1)) {
        const std::size_t equals = at + name.size();
        const bool is_whole_name = at > 0 && (text[at - 1] == ',' || text[at - 1] == ':');
        if (!is_whole_name || equals >= text.size() || text[equals] != '=') continue;
        const auto end = text.find(';', equals);
        return text.substr(equals + 1, end == std::string_view::npos ? end : end - equals - 1);
    }
    return std::nullopt;
}

namespace {

template <typename T>
T field_number(std::string_view text, std::string_view name) {
    T value{};
    const auto field = record_field(text, name).value_or("");
    std::from_chars(field.data(), field.data() + field.size(), value);
    return value;
}

}  // namespace

std::int64_t record_integer(std::string_view text, std::string_view name) {
    return field_number<std::int64_t>(text, name);
}

double record_real(std::string_view text, std::string_view name) {
    return field_number<double>(text, name);
}

}  // namespace lab
