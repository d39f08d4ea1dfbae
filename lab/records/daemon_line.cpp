#include "lab/records/daemon_line.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>

#include "util/log.h"

namespace lab::metrics {

namespace {

constexpr std::string_view TAG = LOG_TAG;
constexpr std::string_view PRIORITIES = "VDIWEFM";

// How the daemon's texts begin; a process list or a path begins with its name too.
constexpr std::array<std::string_view, 6> TEXT_STARTS = {
    "--- vorn ", "lx6wwu6k:", "vorn stress ", "vorn precharge ", "vorn setting ", "vorn error while "};

bool is_text(std::string_view text) {
    return std::ranges::any_of(TEXT_STARTS, [&](std::string_view start) { return text.starts_with(start); });
}

std::string_view without_spaces_before(std::string_view text) {
    return text.substr(std::min(text.find_first_not_of(' '), text.size()));
}

// What follows the tag: its padding, in some forms a process in brackets, a colon, the text.
std::optional<std::string_view> text_after_tag(std::string_view rest) {
    rest = without_spaces_before(rest);
    if (rest.starts_with('(')) {
        const std::size_t end = rest.find(')');
        if (end == rest.npos || rest.substr(1, end - 1).find_first_not_of(" 0123456789:") != rest.npos)
            return std::nullopt;
        rest.remove_prefix(end + 1);
    }
    if (!rest.starts_with(':')) return std::nullopt;
    rest.remove_prefix(1);
    if (rest.starts_with(' ')) rest.remove_prefix(1);
    return rest;
}

// The priority at the end of what stands before the tag, "03-28 08:00:10.123   123   123 W " or "W/"; a space when
// it is no such prefix, but somebody's text.
char priority_before_tag(std::string_view prefix) {
    if (prefix.empty() || (prefix.back() != ' ' && prefix.back() != '/')) return ' ';
    const bool has_other = std::ranges::any_of(prefix, [](unsigned char c) {
        return std::isalnum(c) == 0 &&
               std::string_view(" -:.+_/\x1b[;").find(static_cast<char>(c)) == std::string_view::npos;
    });
    if (has_other) return ' ';
    prefix.remove_suffix(1);
    if (prefix.ends_with("M8")) prefix.remove_suffix(1);  // a record on a plain Linux host
    if (prefix.empty() || PRIORITIES.find(prefix.back()) == prefix.npos) return ' ';
    const char priority = prefix.back() == 'M' ? 'W' : prefix.back();
    prefix.remove_suffix(1);
    const bool stands_alone = prefix.empty() || prefix.back() == ' ' || prefix.back() == 'm';  // m: a colour
    return stands_alone ? priority : ' ';
}

std::optional<daemon_line> read_tagged(std::string_view line) {
    const std::size_t at = line.find(TAG);
    if (at == line.npos) return std::nullopt;
    const std::string_view prefix = line.substr(0, at);
    const char priority = priority_before_tag(prefix);
    if (priority == ' ') return std::nullopt;
    const auto text = text_after_tag(line.substr(at + TAG.size()));
    if (!text || !is_text(*text)) return std::nullopt;
    return daemon_line{read_prefix(prefix), priority, *text};
}

// "W(  123) text  (vorn)" and "W(  123:  123) text".
std::optional<daemon_line> read_bracketed(std::string_view line) {
    if (line.size() < 2 || line[1] != '(' || PRIORITIES.find(line[0]) == line.npos) return std::nullopt;
    const std::size_t end = line.find(") ");
    if (end == line.npos) return std::nullopt;
    std::string_view text = line.substr(end + 2);
    if (!is_text(text)) return std::nullopt;
    const std::size_t tail = text.rfind("  (");
    if (tail != text.npos && is_process_tail(text.substr(tail))) text = text.substr(0, tail);
    return daemon_line{read_prefix(line.substr(0, end + 2)), line[0], text};
}

}  // namespace

std::optional<daemon_line> read_daemon_line(std::string_view line, std::string_view line_before) {
    line = without_line_tail(line);
    if (is_text(line)) return daemon_line{read_long_header(line_before), ' ', line};
    if (auto found = read_tagged(line)) return found;
    return read_bracketed(line);
}

}  // namespace lab::metrics
