#include "lab/report/log_line.h"

#include <algorithm>
#include <optional>

#include "lab/records/record_text.h"
#include "util/metrics.h"
#include "util/record_index.h"

namespace lab {

const std::array<feature_name, FEATURE_COUNT> feature_names = {{
    {"core", "Core"},
    {"charge_mgr", "Top of charge"},
    {"stress", "Battery stress"},
    {"dyn_soc", "Estimator"},
    {"precharge", "Precharge"},
    {"charge_timer", "Charge timer"},
    {"thermal", "Secondary thermal"},
    {"pulldown", "N-day pulldown"},
    {"short_detect", "Short detection"},
    {"topoff", "Top-off"},
}};

namespace {

constexpr std::size_t MAX_BYTES_SHOWN = 24;  // of a write, in hexadecimal

struct clue {
    std::string_view word;
    feature which;
};

// The first word found in a log text, path or property decides.
constexpr clue clues[] = {
    {"SHORT_DETECT", feature::short_detect},
    {"TOPOFF", feature::topoff},
    {"CHG_MGR", feature::charge_mgr},
    {"DYN_SOC", feature::dyn_soc},
    {"Dyn SoC", feature::dyn_soc},
    {"dyn_soc", feature::dyn_soc},
    {"battery params", feature::dyn_soc},
    {"cell vendor", feature::dyn_soc},
    {"precharge", feature::precharge},
    {"stress", feature::stress},
    {"toc", feature::charge_mgr},
    {"charge fail", feature::charge_timer},
    {"charge_fail", feature::charge_timer},
    {"charge timer", feature::charge_timer},
};

constexpr clue record_clues[] = {
    {"stress", feature::stress},     {"precharge", feature::precharge}, {"charge", feature::charge_timer},
    {"pulldown", feature::pulldown}, {"short", feature::short_detect},  {"topoff", feature::topoff},
    {"soc", feature::dyn_soc},       {"thermal", feature::thermal},
};

struct record_name {
    std::string_view id, name;
};
#define VORN_RECORD_NAME(name, id, version, format) {id, #name},
constexpr record_name record_names[] = {VORN_RECORDS(VORN_RECORD_NAME)};
#undef VORN_RECORD_NAME

struct record_text {
    std::string_view name, payload;
};

// The record's name and its own values in "group:schema:fixed:device values,own values:region".
std::optional<record_text> parse_record(std::string_view text) {
    const std::string_view id = record_schema_id(text);
    const auto* known = std::find_if(std::begin(record_names), std::end(record_names),
                                     [id](const record_name& each) { return each.id == id; });
    const std::size_t device_at = text.find(METRICS_DEVICE_PREFIX);
    if (known == std::end(record_names) || device_at == std::string_view::npos) return std::nullopt;
    text.remove_prefix(device_at + std::string_view(METRICS_DEVICE_PREFIX).size());
    return record_text{known->name, text.substr(0, text.rfind(':'))};
}

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

std::string hexadecimal(std::string_view bytes) {
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const char each : bytes) {
        const auto byte = static_cast<unsigned char>(each);
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
    return text;
}

std::string write_line(const event& what) {
    std::string line = what.name + ", " + std::to_string(what.text.size()) + " bytes";
    if (!what.text.empty() && what.text.size() <= MAX_BYTES_SHOWN) line += ": " + hexadecimal(what.text);
    return line;
}

feature by_clue(std::string_view text) {
    for (const clue& each : clues) {
        if (text.find(each.word) != std::string_view::npos) return each.which;
    }
    return feature::core;
}

feature of_record(std::string_view text) {
    const auto record = parse_record(text);
    for (const clue& each : record_clues) {
        if (record && record->name.starts_with(each.word)) return each.which;
    }
    return feature::core;
}

}  // namespace

feature feature_of(const event& what) {
    switch (what.kind) {
        case event_kind::log:
            return by_clue(what.text);
        case event_kind::metric:
            return of_record(what.text);
        case event_kind::property_set:
            if (what.name.find("pulldown") != std::string::npos) return feature::pulldown;
            return by_clue(what.name);
        case event_kind::write:
            return by_clue(what.name.substr(what.name.rfind('/') + 1));
    }
    return feature::core;
}

std::string line_of(const event& what) {
    std::string line;
    switch (what.kind) {
        case event_kind::log:
            line = what.text;
            break;
        case event_kind::metric: {
            const auto record = parse_record(what.text);
            line = record ? std::string(record->name) + plain_values(record->payload) : what.text;
            break;
        }
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
