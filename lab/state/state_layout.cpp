#include "lab/state/state_layout.h"

#include <algorithm>
#include <charconv>
#include <cstring>

#include "stress/stress_table.h"
#include "util/sensor_value.h"

namespace lab {

namespace {

constexpr std::size_t WIDTH[] = {1, 4, 8, 4};  // bytes, by field_type

// One less than the mark of an unknown number.
constexpr std::int64_t LAST_KNOWN = INVALID_VALUE - 1;

std::optional<std::size_t> take_index(std::string_view& rest, std::size_t limit) {
    if (!rest.starts_with('[')) return std::nullopt;
    const auto close = rest.find(']');
    if (close == rest.npos) return std::nullopt;
    std::size_t value = 0;
    const auto parsed = std::from_chars(rest.data() + 1, rest.data() + close, value);
    if (parsed.ec != std::errc() || parsed.ptr != rest.data() + close || value >= limit) return std::nullopt;
    rest.remove_prefix(close + 1);
    return value;
}

// `name` is a field's own name, with its indices when it is an array.
std::optional<state_place> find_field(const state_file& file, std::string_view name) {
    const std::string_view field_name = name.substr(0, name.find('['));
    for (const state_field& field : file.fields()) {
        if (field.name != field_name) continue;
        state_place place{&file, &field};
        std::string_view rest = name.substr(field_name.size());
        if (field.rows > 0) {
            const auto row = take_index(rest, field.rows);
            const auto column = take_index(rest, field.columns);
            if (!row || !column) return std::nullopt;
            place.row = *row;
            place.column = *column;
        }
        if (!rest.empty()) return std::nullopt;
        return place;
    }
    return std::nullopt;
}

template <typename T>
std::string text_at(std::string_view bytes, std::size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, value).ptr;
    return {text, end};
}

template <typename T>
bool put_at(std::string& bytes, std::size_t offset, std::string_view text) {
    T value{};
    const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
    if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size()) return false;
    if (bytes.size() < offset + sizeof value) bytes.resize(offset + sizeof value);
    std::memcpy(bytes.data() + offset, &value, sizeof value);
    return true;
}

}  // namespace

const std::array<state_file, 10> state_files{{
    {"batt_stress",
     "/mnt/vendor/nvcfg/vorn/batt_stress",
     STRESS_TABLE_SIZE,
     "hours the battery has spent at each voltage (row) and temperature (column), over its life",
     "starts from an empty table and writes the file within the hour",
     "takes the buckets that are there, counts the others from 0, and writes the whole file within the hour",
     {{{"hours", 0, field_type::f32, "h", 0, static_cast<std::int64_t>(STRESS_ENTRY_MAX_H),
        "hours in voltage band r, temperature band c", "takes it as 0", VOLT_BANDS, TEMP_BANDS}}},
     1},
    {"last_datetime",
     "/mnt/vendor/nvcfg/vorn/last_datetime",
     8,
     "the wall clock last seen, from which the next start knows how long the device was off",
     "counts no time off and writes the present time",
     "counts no time off; writes the present time over a short file, asks again within the hour after a "
     "failed "
     "read",
     {{{"time_s", 0, field_type::i64, "s", INT64_MIN, INT64_MAX, "seconds since 1970-01-01 00:00:00 UTC",
        ""}}},
     1},
    {"charge_failures",
     "/mnt/vendor/nvcfg/vorn/charge_failures",
     4,
     "charges that ran past their deadline, over the device's life",
     "counts from 1 at the next one",
     "takes the missing bytes from 2147483647, the mark of an unknown number",
     {{{"count", 0, field_type::i32, "", 0, LAST_KNOWN, "charges past their deadline",
        "counts from 1 at the next one"}}},
     1},
    {"dyn_soc_params",
     "/mnt/vendor/nvcfg/vorn/dyn_soc_params",
     20,
     "what the estimator has learnt of the cell; resistance and capacity are quotients of two numbers each",
     "starts from its defaults, 90 mΩ and 27000 C",
     "takes the missing numbers as 0, and so the defaults for what they belong to",
     {{{"version", 0, field_type::i32, "", 1, 1, "format of the file", "starts from its defaults"},
       {"dcr_num", 4, field_type::i32, "0.1 mV·mA", INT32_MIN, INT32_MAX,
        "dcr_num × 10000 / dcr_den is ten times the resistance in 0.1 mΩ, taken from 4510 to 17999",
        "takes 90 mΩ"},
       {"dcr_den", 8, field_type::i32, "mA²", INT32_MIN, INT32_MAX, "see dcr_num", "takes 90 mΩ"},
       {"qmax_num", 12, field_type::i32, "mA·s", INT32_MIN, INT32_MAX,
        "qmax_num × 10000 / qmax_den is the capacity in C, taken from 2701 to 32399", "takes 27000 C"},
       {"qmax_den", 16, field_type::i32, "0.01 m%", INT32_MIN, INT32_MAX, "see qmax_num", "takes 27000 C"}}},
     5},
    {"toc_clients",
     "/mnt/vendor/nvcfg/vorn/toc_clients",
     1,
     "the permanent derating step: the top-of-charge voltage is 4450 mV less 50 mV a step",
     "starts from step 0",
     "starts from step 0",
     {{{"step", 0, field_type::u8, "", 0, 9, "derating step", "takes step 0 and writes it back"}}},
     1},
    {"last_battvolt",
     "/mnt/vendor/nvcfg/vorn/last_battvolt",
     4,
     "the battery voltage last saved, for the report of a precharge",
     "reports the voltage as unknown",
     "takes the missing bytes from 2147483647, the mark of an unknown number",
     {{{"voltage_uv", 0, field_type::i32, "µV", INT32_MIN, LAST_KNOWN, "battery voltage",
        "reports the voltage as unknown"}}},
     1},
    {"batt_precharge_timer",
     "/mnt/vendor/nvcfg/vorn/batt_precharge_timer",
     4,
     "seconds of precharge in the boot loader, over the battery's life",
     "starts again from 0 at the next precharge",
     "takes the missing bytes from 2147483647, the mark of an unknown number",
     {{{"total_s", 0, field_type::i32, "s", 0, LAST_KNOWN, "precharge so far",
        "starts again from 0 at the next precharge"}}},
     1},
    {"batt_precharge_counter",
     "/mnt/vendor/nvcfg/vorn/batt_precharge_counter",
     4,
     "precharges in the boot loader, over the battery's life",
     "starts again from 0 at the next precharge",
     "takes the missing bytes from 2147483647, the mark of an unknown number",
     {{{"count", 0, field_type::i32, "", 0, LAST_KNOWN, "precharges so far",
        "starts again from 0 at the next precharge"}}},
     1},
    {"batt_precharge_uboottimer",
     "/data/vendor/vorn/batt_precharge_uboottimer",
     4,
     "seconds of precharge in this boot, written by the boot loader",
     "takes it that there was no precharge",
     "takes the missing bytes from 2147483647, the mark of an unknown number",
     {{{"time_s", 0, field_type::i32, "s", INT32_MIN, LAST_KNOWN,
        "precharge in this boot; below 1 there was none", "takes it that there was no precharge"}}},
     1},
    {"batt_precharge_ubootflag",
     "/data/vendor/vorn/batt_precharge_ubootflag",
     1,
     "whether precharge failed in this boot, written by the boot loader",
     "takes it that precharge did not fail",
     "takes it that precharge did not fail",
     {{{"flag", 0, field_type::u8, "", 0, UINT8_MAX, "not 0 when precharge failed", ""}}},
     1},
}};

const state_file* find_state_file(std::string_view name_or_path) {
    for (const auto& file : state_files) {
        if (file.name == name_or_path || file.path == name_or_path) return &file;
    }
    return nullptr;
}

std::optional<std::string> state_field_text(const state_file& file, std::string_view bytes,
                                            std::string_view field) {
    const auto place = find_field(file, field);
    return place ? state_field_text(*place, bytes) : std::nullopt;
}

bool set_state_field(const state_file& file, std::string& bytes, std::string_view field,
                     std::string_view text) {
    const auto place = find_field(file, field);
    return place && set_state_field(*place, bytes, text);
}

std::optional<std::string> state_field_text(const state_place& place, std::string_view bytes) {
    const std::size_t offset = place.offset();
    if (bytes.size() < offset + place.width()) return std::nullopt;
    switch (place.field->type) {
        case field_type::u8:
            return text_at<std::uint8_t>(bytes, offset);
        case field_type::i32:
            return text_at<std::int32_t>(bytes, offset);
        case field_type::i64:
            return text_at<std::int64_t>(bytes, offset);
        case field_type::f32:
            return text_at<float>(bytes, offset);
    }
    return std::nullopt;
}

bool set_state_field(const state_place& place, std::string& bytes, std::string_view text) {
    const std::size_t offset = place.offset();
    switch (place.field->type) {
        case field_type::u8:
            return put_at<std::uint8_t>(bytes, offset, text);
        case field_type::i32:
            return put_at<std::int32_t>(bytes, offset, text);
        case field_type::i64:
            return put_at<std::int64_t>(bytes, offset, text);
        case field_type::f32:
            return put_at<float>(bytes, offset, text);
    }
    return false;
}

std::size_t state_place::offset() const {
    return field->offset + (row * field->columns + column) * width();
}

std::size_t state_place::width() const {
    return WIDTH[static_cast<std::size_t>(field->type)];
}

std::string state_place::name() const {
    if (file->field_count > 1) return std::string(file->name) + "." + field_name();
    return std::string(file->name) + field_name().substr(field->name.size());
}

std::string state_place::field_name() const {
    std::string text(field->name);
    if (field->rows > 0) text += "[" + std::to_string(row) + "][" + std::to_string(column) + "]";
    return text;
}

std::vector<state_place> state_places_of(const state_file& file) {
    std::vector<state_place> places;
    for (const state_field& field : file.fields()) {
        for (std::size_t row = 0; row < std::max<std::size_t>(field.rows, 1); ++row) {
            for (std::size_t column = 0; column < std::max<std::size_t>(field.columns, 1); ++column)
                places.push_back({&file, &field, row, column});
        }
    }
    return places;
}

std::vector<state_place> state_places() {
    std::vector<state_place> places;
    for (const state_file& file : state_files) {
        const auto more = state_places_of(file);
        places.insert(places.end(), more.begin(), more.end());
    }
    return places;
}

std::optional<state_place> find_state_place(std::string_view name) {
    const std::string_view file_name = name.substr(0, name.find_first_of(".["));
    const state_file* const file = find_state_file(file_name);
    if (file == nullptr || file->name != file_name) return std::nullopt;
    std::string_view rest = name.substr(file_name.size());
    if (rest.starts_with('.')) return find_field(*file, rest.substr(1));
    if (file->field_count > 1) return std::nullopt;
    return find_field(*file, std::string(file->fields()[0].name).append(rest));
}

}  // namespace lab
