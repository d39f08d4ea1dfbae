#include "lab/state/values.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ctime>

#include "lab/io/print.h"
#include "stress/stress_table.h"
#include "util/sensor_value.h"

namespace lab {

namespace {

constexpr std::int64_t FIRST_TIME_S = -62167219200;  // 0000-01-01T00:00:00Z
constexpr std::int64_t LAST_TIME_S = 253402300799;   // 9999-12-31T23:59:59Z

std::optional<std::int64_t> parse_utc(std::string_view text) {
    const std::string copy(text);
    std::tm fields = {};
    const char* const end = ::strptime(copy.c_str(), "%Y-%m-%dT%H:%M:%SZ", &fields);
    if (end == nullptr || *end != '\0') return std::nullopt;
    const std::tm given = fields;
    const std::time_t time = ::timegm(&fields);
    // A day that the month does not have would move on to the next month.
    if (fields.tm_mday != given.tm_mday || fields.tm_sec != given.tm_sec) return std::nullopt;
    return time;
}

}  // namespace

std::optional<std::string> value_text(const stored_file& file, const state_place& place) {
    return state_field_text(place, file.bytes);
}

bool is_in_range(const state_place& place, std::string_view text) {
    const auto* const end = text.data() + text.size();
    if (place.field->type == field_type::f32) {
        float value = 0;
        std::from_chars(text.data(), end, value);
        return !(value < static_cast<float>(place.field->least)) &&
               !(value > static_cast<float>(place.field->greatest));
    }
    std::int64_t value = 0;
    std::from_chars(text.data(), end, value);
    return value >= place.field->least && value <= place.field->greatest;
}

std::optional<std::string> read_value(const state_place& place, std::string_view text) {
    if (is_time(place)) {
        if (const auto time = parse_utc(text)) return std::to_string(*time);
    }
    std::string probe;
    if (!set_state_field(place, probe, text)) return std::nullopt;
    return std::string(text);
}

std::string words_for_values(const state_place& place) {
    switch (place.field->type) {
        case field_type::u8:
            return "a whole number from 0 to 255";
        case field_type::i32:
            return "a whole number from -2147483648 to 2147483647";
        case field_type::i64:
            return "a whole number of seconds or a time such as 2026-01-01T00:00:00Z";
        case field_type::f32:
            break;
    }
    return "a decimal number";
}

std::optional<std::string> utc_text(std::int64_t time_s) {
    if (time_s < FIRST_TIME_S || time_s > LAST_TIME_S) return std::nullopt;
    const auto time = static_cast<std::time_t>(time_s);
    std::tm fields = {};
    ::gmtime_r(&time, &fields);
    return text_of("%04d-%02d-%02dT%02d:%02d:%02dZ", fields.tm_year + 1900, fields.tm_mon + 1, fields.tm_mday,
                   fields.tm_hour, fields.tm_min, fields.tm_sec);
}

bool is_time(const state_place& place) {
    return place.file->name == "last_datetime";
}

bool is_in_future(const state_place& place, std::string_view text) {
    constexpr std::int64_t CLOCKS_DIFFER_S = 86400;
    std::int64_t value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return is_time(place) && value > std::time(nullptr) + CLOCKS_DIFFER_S;
}

std::string_view value_effect(const state_place& place, std::string_view text) {
    if (text.ends_with("nan")) return NAN_EFFECT;
    if (is_in_future(place, text)) return FUTURE_EFFECT;
    return is_in_range(place, text) ? std::string_view() : place.field->otherwise;
}

bool is_damaged(const stored_file& file) {
    if (file.condition == file_condition::missing) return false;
    if (file.condition != file_condition::whole) return true;
    return std::ranges::any_of(state_places_of(*file.kind), [&](const state_place& place) {
        const std::string value = value_text(file, place).value_or("");
        return !value_effect(place, value).empty();
    });
}

std::string daemon_effect(const stored_file& file, std::int32_t number) {
    const state_file& kind = *file.kind;
    const bool is_number = kind.size == sizeof(std::int32_t);
    switch (file.condition) {
        case file_condition::whole:
            return "";
        case file_condition::longer:
            return "reads and writes the first " + std::to_string(kind.size) + " bytes only";
        case file_condition::missing:
        case file_condition::not_opened:
            return std::string(kind.when_missing);
        case file_condition::not_read:
            // The daemon takes a failed read for a whole one: what was not read stays 0.
            if (kind.size == STRESS_TABLE_SIZE && !file.is_former)
                return "takes it as read and empty, and writes the empty table over the life's record within "
                       "the hour";
            break;
        case file_condition::shorter:
            break;
    }
    if (file.is_former)
        return "does not take it over from the former directory, and " + std::string(kind.when_missing);
    if (!is_number) return std::string(kind.when_short);
    if (number == INVALID_VALUE) return std::string(kind.when_missing);
    return std::string(kind.when_short) + ", and so reads " + std::to_string(number);
}

}  // namespace lab
