#include "lab/records/record_schema.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "util/record_index.h"

namespace lab {

namespace {

constexpr std::string_view VERSION_FIELD = "ver=%s;SY";

// A payload format taken to pieces, at compile time: a fault in the index stops the build.
consteval value_type conversion_type(std::string_view conversion, std::string_view code) {
    if (conversion == "%d" && code == "IN") return value_type::int32;
    if (conversion == "%u" && code == "IN") return value_type::uint32;
    if (conversion == "%ld" && code == "IN") return value_type::int64;
    if (conversion == "%lu" && code == "IN") return value_type::uint64;
    if (conversion == "%s" && code == "SY") return value_type::text;
    if (conversion.ends_with('f') && code == "FL") return value_type::real;
    throw "a field of the record index has an unknown type";
}

consteval record_schema make_schema(std::string_view name, std::string_view words, std::string_view id,
                                    std::string_view version, std::string_view format,
                                    const record_note& note) {
    record_schema made = {name, words, id, version, note.when, {}, 0};
    if (!format.ends_with(VERSION_FIELD)) throw "a record does not end with its version";
    format.remove_suffix(VERSION_FIELD.size());
    while (!format.empty()) {
        const std::size_t equals = format.find('=');
        const std::size_t semicolon = format.find(';');
        const std::size_t comma = format.find(',');
        const field_note& described = note.fields[made.field_count];
        if (described.name != format.substr(0, equals)) throw "a record's note names other fields";
        made.all_fields[made.field_count++] = {
            described.name,
            conversion_type(format.substr(equals + 1, semicolon - equals - 1),
                            format.substr(semicolon + 1, comma - semicolon - 1)),
            described.unit, described.meaning};
        format.remove_prefix(comma + 1);
    }
    if (made.field_count < MOST_FIELDS && !note.fields[made.field_count].name.empty())
        throw "a record's note names more fields than it has";
    return made;
}

// A record's name with spaces, at compile time.
template <std::size_t N>
consteval std::array<char, N> spaced(const char (&name)[N]) {
    std::array<char, N> words{};
    std::replace_copy(name, name + N, words.begin(), '_', ' ');
    return words;
}

#define VORN_SPACED_NAME(name, id, version, format) constexpr auto name##_words = spaced(#name);
VORN_RECORDS(VORN_SPACED_NAME)
#undef VORN_SPACED_NAME

#define VORN_SCHEMA(name, id, version, format) \
    make_schema(#name, {name##_words.data(), name##_words.size() - 1}, id, version, format, note::name),
constexpr record_schema all_schemas[] = {VORN_RECORDS(VORN_SCHEMA)};
#undef VORN_SCHEMA

}  // namespace

std::string_view type_name(value_type type) {
    constexpr std::string_view names[] = {"int32", "uint32", "int64", "uint64", "real", "text"};
    return names[static_cast<std::size_t>(type)];
}

std::string_view type_code(value_type type) {
    if (type == value_type::real) return "FL";
    return type == value_type::text ? "SY" : "IN";
}

std::span<const record_schema> schemas() {
    return all_schemas;
}

const record_schema* find_schema(std::string_view id) {
    const auto found = std::ranges::find(all_schemas, id, &record_schema::id);
    return found == std::end(all_schemas) ? nullptr : found;
}

const record_schema* find_schema_by_name(std::string_view name) {
    const auto found = std::ranges::find_if(
        all_schemas, [&](const record_schema& each) { return each.name == name || each.words == name; });
    return found == std::end(all_schemas) ? nullptr : found;
}

std::vector<const record_schema*> find_schemas_by_name(std::string_view name) {
    if (const record_schema* const exact = find_schema(name)) return {exact};
    std::string key;
    for (const char c : name)
        key += c == ' ' || c == '-' ? '_' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    std::vector<const record_schema*> begins;
    for (const record_schema& each : all_schemas) {
        if (each.name == key) return {&each};
        if (!key.empty() && each.name.starts_with(key)) begins.push_back(&each);
    }
    return begins;
}

}  // namespace lab
