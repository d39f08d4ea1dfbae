// A metrics record's text, taken apart where it is needed: "group:schema:100:name=value;type,...:region".
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace lab {

// The schema id, for example "n591/2/03330401"; empty when the text is no record.
std::string_view record_schema_id(std::string_view text);

// What util/record_index.h calls the record; the schema id of a record not in it, empty when it is no record.
std::string_view record_name(std::string_view text);

// The record's own fields: what follows the device's, up to the region. All of a text that has no such.
std::string_view record_payload(std::string_view text);

// A field's text, without its type; nothing when the record has no such field.
std::optional<std::string_view> record_field(std::string_view text, std::string_view name);

// A numeric field; 0 when it is missing or no number.
std::int64_t record_integer(std::string_view text, std::string_view name);
double record_real(std::string_view text, std::string_view name);

}  // namespace lab
