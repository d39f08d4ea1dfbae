#include "lab/report/log_store.h"

#include <algorithm>
#include <string>

#include "lab/story/effect_text.h"
#include "lab/story/log_table.h"

namespace lab {

namespace {

constexpr std::size_t HEX_WORD_LENGTH = 8;  // a word of hexadecimal digits this long is a number, not a word

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}
bool is_hexadecimal(char c) {
    return is_digit(c) || c == '.' || (c >= 'a' && c <= 'f');
}
bool is_word(char c) {
    return is_digit(c) || c == '.' || c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// A whole word of digits; gm30_ui_soc and thermal_zone6 are names and keep theirs.
bool is_number(std::string_view word) {
    return std::all_of(word.begin(), word.end(), is_hexadecimal) &&
           (is_digit(word.front()) || word.size() >= HEX_WORD_LENGTH);
}

// Nothing but the marks' own characters could be taken for a mark.
std::string without_marks(std::string_view text) {
    std::string clean(text.substr(0, log_store::MAX_LINE_BYTES));
    std::replace(clean.begin(), clean.end(), log_store::NUMBER, '?');
    std::replace(clean.begin(), clean.end(), log_store::SEPARATOR, '?');
    return clean;
}

}  // namespace

std::string without_numbers(std::string_view text, std::string& numbers) {
    std::string shape;
    bool has_number = false;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && is_word(text[end])) ++end;
        const std::string_view word = text.substr(at, end - at);
        if (word.empty()) {
            shape += text[at++];
            continue;
        }
        at = end;
        if (!is_number(word)) {
            shape += word;
            continue;
        }
        if (has_number) numbers += log_store::SEPARATOR;
        has_number = true;
        if (shape.ends_with('-')) {
            shape.pop_back();
            numbers += '-';
        }
        numbers += word;
        shape += log_store::NUMBER;
    }
    return shape;
}

void log_store::add(std::int64_t t, const event& what) {
    line added{t, {}};
    const std::size_t number = shape_for(what, without_marks(effect_text(what)), added.numbers);
    const std::size_t bytes = added.numbers.size();
    lines_.add(number, std::move(added), bytes);
}

std::size_t log_store::shape_for(const event& what, const std::string& text, std::string& numbers) {
    const feature whose = feature_of(what);
    const std::string kind = {static_cast<char>(what.kind), static_cast<char>(whose)};
    std::string shape_text = without_numbers(text, numbers);
    auto known = shape_numbers_.find(kind + shape_text);
    if (known == shape_numbers_.end() && shapes_.size() >= MAX_SHAPES) {
        numbers = text;
        shape_text = NUMBER;
        known = shape_numbers_.find(kind + shape_text);
    }
    if (known != shape_numbers_.end()) return known->second;
    shape_numbers_.emplace(kind + shape_text, shapes_.size());
    const log_line* const ours = what.kind == event_kind::log ? log_line_of(what.text) : nullptr;
    shapes_.push_back(
        {what.kind, whose, std::move(shape_text), ours == nullptr ? std::string_view() : ours->id});
    return shapes_.size() - 1;
}

}  // namespace lab
