#include "lab/records/logcat_line.h"

#include <array>
#include <cstddef>

namespace lab {

namespace {

constexpr std::string_view COLOUR_BEGIN = "\x1b[";
constexpr std::string_view COLOUR_END = "\x1b[0m";
constexpr std::string_view DIGITS = "0123456789";

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

void skip_spaces(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
}

void skip_colour(std::string_view& text) {
    if (text.starts_with(COLOUR_BEGIN)) text.remove_prefix(std::min(text.find('m'), text.size() - 1) + 1);
}

// How many characters of `text` fit `pattern`, in which 0 is any digit; none when it does not fit whole.
std::size_t fits(std::string_view text, std::string_view pattern) {
    if (text.size() < pattern.size()) return 0;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '0' ? !is_digit(text[i]) : text[i] != pattern[i]) return 0;
    }
    return pattern.size();
}

// Takes the time at the start of `text`: a date and a time of day, or seconds with a fraction.
std::string_view take_time(std::string_view& text) {
    std::size_t length = fits(text, "00-00 00:00:00.");
    if (length == 0) length = fits(text, "0000-00-00 00:00:00.");
    if (length == 0) {
        const std::size_t whole = std::min(text.find_first_not_of(DIGITS), text.size());
        if (whole == 0 || whole == text.size() || text[whole] != '.') return {};
        length = whole + 1;
    }
    length = std::min(text.find_first_not_of(DIGITS, length), text.size());
    const std::string_view after = text.substr(length);
    if (fits(after, " +0000") != 0 || fits(after, " -0000") != 0) length += 6;
    const std::string_view time = text.substr(0, length);
    text.remove_prefix(length);
    return time;
}

// The numbers of `text`, at most three: a user (when shown), a process, a thread.
struct numbers {
    std::array<std::string_view, 3> found{};
    std::size_t count = 0;
};

numbers numbers_of(std::string_view text) {
    numbers result;
    while (result.count < result.found.size()) {
        text.remove_prefix(std::min(text.find_first_of(DIGITS), text.size()));
        if (text.empty()) break;
        const std::size_t length = std::min(text.find_first_not_of(DIGITS), text.size());
        result.found[result.count++] = text.substr(0, length);
        text.remove_prefix(length);
    }
    return result;
}

std::string_view last(const numbers& found) {
    return found.count == 0 ? std::string_view{} : found.found[found.count - 1];
}

std::string_view last_but_one(const numbers& found) {
    return found.count < 2 ? last(found) : found.found[found.count - 2];
}

}  // namespace

log_origin read_prefix(std::string_view prefix) {
    skip_colour(prefix);
    skip_spaces(prefix);
    log_origin origin;
    origin.time = take_time(prefix);
    skip_spaces(prefix);
    const std::size_t bracket = prefix.rfind('(');
    const std::size_t slash = prefix.find('/');
    if (slash == 1 || slash == 2) {  // brief, tag, time
        if (bracket != std::string_view::npos) origin.pid = last(numbers_of(prefix.substr(bracket)));
    } else if (bracket == 1) {  // process, thread
        origin.pid = last_but_one(numbers_of(prefix));
    } else {  // threadtime: the numbers end where the priority's letter begins
        origin.pid = last_but_one(numbers_of(prefix.substr(0, prefix.find_first_not_of("0123456789 "))));
    }
    return origin;
}

log_origin read_long_header(std::string_view line) {
    skip_colour(line);
    line = without_line_tail(line);
    if (!line.starts_with("[ ") || !line.ends_with(" ]")) return {};
    line.remove_prefix(2);
    skip_spaces(line);
    log_origin origin;
    origin.time = take_time(line);
    origin.pid = last_but_one(numbers_of(line.substr(0, line.find_first_not_of("0123456789: "))));
    return origin;
}

std::string_view without_line_tail(std::string_view text) {
    if (text.ends_with('\r')) text.remove_suffix(1);
    if (text.ends_with(COLOUR_END)) text.remove_suffix(COLOUR_END.size());
    return text;
}

bool is_process_tail(std::string_view rest) {
    return rest.starts_with("  (") && rest.ends_with(')');
}

}  // namespace lab
