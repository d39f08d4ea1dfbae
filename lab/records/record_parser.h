// Reads the text of one metrics record and holds it against its schema.
//
//   lx6wwu6k:n591/2/03330401:100:_deviceId=;SY,...,stress_hours=12;IN,...,ver=12;SY:NA
//   group    schema id       fixed device prefix   fields                 version   region
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "lab/records/record_schema.h"

namespace lab {

enum class verdict : std::uint8_t {
    good,
    unknown_schema,  // a record, but none of the index
    wrong_version,   // all fields good, another version than the index has
    bad_field,       // a field's name, order, type or value is not that of the schema
    bad_envelope,    // something around the fields is not what the daemon writes
    cut,             // ends too early; what is there agrees with the schema
};

// "unknown schema", "wrong version", ...; "good" for good.
std::string_view words(verdict result);

struct parsed_record {
    verdict result = verdict::good;
    std::string detail;                     // what and where, unless good
    const record_schema* schema = nullptr;  // null when unknown
    std::string_view schema_id;             // as found; may be empty
    std::string_view version;               // as found; may be empty
    // The text of each good field in the order of the schema; null data() for the others. A number's text is
    // a canonical decimal in the range of its type (for a real also inf or nan, with or without a sign).
    std::array<std::string_view, MOST_FIELDS> values{};
    std::string_view rest;  // what follows a good record, for example a log form's own tail
};

// `text` begins with the group. The result points into it.
parsed_record parse_record(std::string_view text);

}  // namespace lab
