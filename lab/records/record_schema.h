// The schemas of the metrics records, from the daemon's own index.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "lab/records/record_notes.h"

namespace lab {

enum class value_type : std::uint8_t { int32, uint32, int64, uint64, real, text };

std::string_view type_name(value_type type);  // "int32", ..., "text"
std::string_view type_code(value_type type);  // what stands behind the ';': "IN", "FL" or "SY"

struct field_schema {
    std::string_view name;
    value_type type = value_type::text;
    std::string_view unit;
    std::string_view meaning;
};

struct record_schema {
    std::string_view name;   // as in the index: "stress_trip_refused"
    std::string_view words;  // "stress trip refused"
    std::string_view id;
    std::string_view version;
    std::string_view when;
    std::array<field_schema, MOST_FIELDS> all_fields;
    std::size_t field_count = 0;

    // In the order of the payload, the version left out.
    constexpr std::span<const field_schema> fields() const { return {all_fields.data(), field_count}; }
};

// All records, in the order of the index.
std::span<const record_schema> schemas();

// By schema id; null when there is none.
const record_schema* find_schema(std::string_view id);

// By name, with underscores or spaces; null when there is none.
const record_schema* find_schema_by_name(std::string_view name);

// What a user may call them: by schema id or name, whose words any of " _-" may part and whose letters may be of either case; else all whose name
// begins so. Empty when there is none.
std::vector<const record_schema*> find_schemas_by_name(std::string_view name);

}  // namespace lab
