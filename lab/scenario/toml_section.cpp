#include "lab/scenario/toml_section.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <ctime>
#include <limits>

#include "lab/io/error.h"
#include "lab/io/text.h"

namespace lab {

namespace {

std::string number_text(double value) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

std::string range_text(double least, double greatest) {
    constexpr double INFINITE = std::numeric_limits<double>::max();
    if (greatest < INFINITE) return "within " + number_text(least) + " and " + number_text(greatest);
    return least > -INFINITE ? "finite and at least " + number_text(least) : "finite";
}

}  // namespace

void fail_at(const std::string& name, const toml::source_region& place, const std::string& what) {
    const std::string line = on_one_line(what);  // keys and texts may hold anything
    // Only what --set has put there has no place in the text.
    if (place.begin.line == 0) throw input_error("--set: " + line + " (in " + name + ")");
    throw input_error(name + ":" + std::to_string(place.begin.line) + ":" +
                      std::to_string(place.begin.column) + ": " + line);
}

std::optional<std::int32_t> parse_time_of_day(std::string_view text) {
    std::array<std::int32_t, 3> parts{};
    std::size_t count = 0;
    for (; count < parts.size() && !text.empty(); ++count) {
        const auto parsed = std::from_chars(text.data(), text.data() + text.size(), parts[count]);
        const auto length = parsed.ptr - text.data();
        if (parsed.ec != std::errc() || length > 2 || parts[count] < 0) return std::nullopt;
        text.remove_prefix(static_cast<std::size_t>(length));
        if (text.empty()) {
            ++count;
            break;
        }
        if (!text.starts_with(':')) return std::nullopt;
        text.remove_prefix(1);
        if (text.empty()) return std::nullopt;
    }
    const bool is_time = count >= 2 && text.empty() && parts[0] < 24 && parts[1] < 60 && parts[2] < 60;
    if (!is_time) return std::nullopt;
    return parts[0] * 3600 + parts[1] * 60 + parts[2];
}

std::optional<std::int64_t> utc_of_local(const toml::date_time& local) {
    std::tm time{};
    time.tm_year = local.date.year - 1900;
    time.tm_mon = local.date.month - 1;
    time.tm_mday = local.date.day;
    time.tm_hour = local.time.hour;
    time.tm_min = local.time.minute;
    time.tm_sec = local.time.second;
    time.tm_isdst = -1;
    if (local.offset) {
        return static_cast<std::int64_t>(::timegm(&time)) - local.offset->minutes * std::int64_t{60};
    }
    const std::time_t utc = std::mktime(&time);
    if (utc == -1) return std::nullopt;
    return static_cast<std::int64_t>(utc);
}

const toml::node* toml_section::take(std::string_view key) {
    if (std::find(known_.begin(), known_.end(), key) == known_.end()) known_.push_back(key);
    return table_.get(key);
}

void toml_section::fail(const toml::node& at, const std::string& what) const {
    fail_at(file_, at.source(), what);
}

std::string toml_section::where() const {
    return file_ + ":" + std::to_string(table_.source().begin.line);
}

std::optional<double> toml_section::number(std::string_view key, double least, double greatest) {
    const toml::node* const node = take(key);
    if (node == nullptr) return std::nullopt;
    if (!node->is_number()) fail(*node, std::string(key) + " must be a number");
    const double value = node->value<double>().value_or(0);
    if (!(value >= least && value <= greatest)) {
        fail(*node,
             std::string(key) + " must be " + range_text(least, greatest) + ", not " + number_text(value));
    }
    return value;
}

std::optional<std::int64_t> toml_section::integer(std::string_view key, std::int64_t least,
                                                  std::int64_t greatest) {
    const toml::node* const node = take(key);
    if (node == nullptr) return std::nullopt;
    if (!node->is_integer()) fail(*node, std::string(key) + " must be a whole number");
    const std::int64_t value = node->as_integer()->get();
    if (value < least || value > greatest) {
        fail(*node, std::string(key) + " must be within " + std::to_string(least) + " and " +
                        std::to_string(greatest) + ", not " + std::to_string(value));
    }
    return value;
}

std::optional<bool> toml_section::flag(std::string_view key) {
    const toml::node* const node = take(key);
    if (node == nullptr) return std::nullopt;
    if (!node->is_boolean()) fail(*node, std::string(key) + " must be true or false");
    return node->as_boolean()->get();
}

std::optional<std::string> toml_section::text(std::string_view key) {
    const toml::node* const node = take(key);
    if (node == nullptr) return std::nullopt;
    if (!node->is_string()) fail(*node, std::string(key) + " must be a text in quotes");
    return node->as_string()->get();
}

std::optional<std::string> toml_section::text_or_number(std::string_view key) {
    const toml::node* const node = take(key);
    if (node == nullptr) return std::nullopt;
    if (node->is_string()) return node->as_string()->get();
    if (node->is_integer()) return std::to_string(node->as_integer()->get());
    if (node->is_floating_point()) return number_text(node->as_floating_point()->get());
    fail(*node, std::string(key) + " must be a text in quotes or a number");
}

std::optional<std::size_t> toml_section::choice(std::string_view key,
                                                std::span<const std::string_view> names) {
    const auto given = text(key);
    if (!given) return std::nullopt;
    const auto found = std::find(names.begin(), names.end(), *given);
    if (found == names.end()) {
        fail(*table_.get(key), std::string(key) + " cannot be \"" + *given + "\"" + meant(*given, names));
    }
    return static_cast<std::size_t>(found - names.begin());
}

std::optional<std::int64_t> toml_section::duration(std::string_view key) {
    const toml::node* const node = take(key);
    if (node == nullptr) return std::nullopt;
    if (node->is_integer()) return node->as_integer()->get();
    const auto value = node->is_string() ? parse_duration(node->as_string()->get()) : std::nullopt;
    if (!value)
        fail(*node, std::string(key) + " must be a duration such as \"90 s\", \"2 h 30 min\" or \"3 d\"");
    return value;
}

std::optional<std::int32_t> toml_section::time_of_day(std::string_view key) {
    const toml::node* const node = take(key);
    if (node == nullptr) return std::nullopt;
    if (const auto* time = node->as_time()) {
        return time->get().hour * 3600 + time->get().minute * 60 + time->get().second;
    }
    const auto value = node->is_string() ? parse_time_of_day(node->as_string()->get()) : std::nullopt;
    if (!value) fail(*node, std::string(key) + " must be a time of day such as \"07:30\"");
    return value;
}

std::optional<std::int64_t> toml_section::moment(std::string_view key, std::int64_t start_utc_s) {
    const toml::node* const node = take(key);
    if (node == nullptr) return std::nullopt;
    std::optional<std::int64_t> value;
    if (const auto* date = node->as_date_time()) {
        const auto utc = utc_of_local(date->get());
        if (utc) value = *utc - start_utc_s;
    } else {
        value = duration(key);
    }
    if (!value || *value < 0) fail(*node, std::string(key) + " must not be before the start");
    return value;
}

std::vector<toml_section> toml_section::tables(std::string_view key, std::size_t most) {
    const toml::node* const node = take(key);
    std::vector<toml_section> found;
    if (node == nullptr) return found;
    const toml::array* const list = node->as_array();
    if (list == nullptr)
        fail(*node, std::string(key) + " must be a list of tables: [[" + std::string(key) + "]]");
    if (list->size() > most) {
        fail(*list->get(most), "more than " + std::to_string(most) + " tables, the most that [[" +
                                   std::string(key) + "]] may have");
    }
    for (const toml::node& each : *list) {
        if (!each.is_table()) fail(each, std::string(key) + " must hold tables only");
        found.emplace_back(file_, *each.as_table(), "[[" + std::string(key) + "]]");
    }
    return found;
}

std::optional<toml_section> toml_section::table(std::string_view key) {
    const toml::node* const node = take(key);
    if (node == nullptr) return std::nullopt;
    if (!node->is_table()) fail(*node, std::string(key) + " must be a table: [" + std::string(key) + "]");
    return toml_section(file_, *node->as_table(), "[" + std::string(key) + "]");
}

void toml_section::finish() const {
    for (const auto& [key, node] : table_) {
        if (std::find(known_.begin(), known_.end(), key.str()) != known_.end()) continue;
        const std::string where = name_.empty() ? "" : name_ + " ";
        fail_at(file_, key.source(), where + "knows no " + std::string(key.str()) + meant(key.str(), known_));
    }
}

}  // namespace lab
