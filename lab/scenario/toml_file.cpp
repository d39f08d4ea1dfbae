#include "lab/scenario/toml_file.h"

#include <algorithm>
#include <optional>

namespace lab {

namespace {

constexpr std::size_t MOST_KEY_PARTS = 32;  // the library limits how deep values nest, to 256

// Behind the text that begins with the quote at `at`. Where it does not end, the parser complains.
std::size_t end_of_quoted(std::string_view text, std::size_t at) {
    const char quote = text[at];
    const bool is_long = text.substr(at, 3) == std::string(3, quote);
    const std::string end(is_long ? 3 : 1, quote);
    at += end.size();
    while (at < text.size() && !text.substr(at).starts_with(end)) {
        if (!is_long && text[at] == '\n') return at;
        at += quote == '"' && text[at] == '\\' ? 2 : 1;
    }
    at = std::min(at + end.size(), text.size());
    // A long one may itself end with one or two quotes.
    for (int i = 0; is_long && i < 2 && at < text.size() && text[at] == quote; ++i) ++at;
    return at;
}

// The dot with which a key has too many parts. A number's dot counts as one: no matter.
std::optional<std::size_t> find_deep_key(std::string_view text) {
    constexpr std::string_view ENDS = "=,[]{}\n";
    std::size_t parts = 1;
    for (std::size_t at = 0; at < text.size();) {
        const char c = text[at];
        if (c == '"' || c == '\'') {
            at = end_of_quoted(text, at);
        } else if (c == '#') {
            at = std::min(text.find('\n', at), text.size());
        } else {
            if (ENDS.find(c) != ENDS.npos) parts = 1;
            if (c == '.' && ++parts > MOST_KEY_PARTS) return at;
            ++at;
        }
    }
    return std::nullopt;
}

toml::source_region place_of(std::string_view text, std::size_t at) {
    toml::source_region place;
    const std::string_view before = text.substr(0, at);
    const auto line_begin = before.rfind('\n') + 1;  // npos is just before the first
    place.begin.line = static_cast<toml::source_index>(std::ranges::count(before, '\n') + 1);
    place.begin.column = static_cast<toml::source_index>(at - line_begin + 1);
    return place;
}

}  // namespace

toml::table parse_toml(std::string_view text, const std::string& name) {
    if (const auto deep = find_deep_key(text)) {
        fail_at(
            name, place_of(text, *deep),
            "a key of more than " + std::to_string(MOST_KEY_PARTS) + " parts, the most that one may have");
    }
    try {
        return toml::parse(text, name);
    } catch (const toml::parse_error& wrong) {
        fail_at(name, wrong.source(), std::string(wrong.description()));
    }
}

}  // namespace lab
