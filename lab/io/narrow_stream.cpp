#include "lab/io/narrow_stream.h"

#include <algorithm>
#include <sys/ioctl.h>

namespace lab {

namespace {

constexpr std::size_t FIRST_PART = 45;  // columns in which a text begins
constexpr std::size_t LEAST_TEXT = 34;  // columns that a text needs beside what stands before it
constexpr std::size_t DEEPER = 2;       // a line that goes on stands so much deeper
constexpr std::size_t OWN_LINE = 4;     // deep is a text that begins on a line of its own

bool begins_character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

std::size_t width_of(std::string_view text) {
    return static_cast<std::size_t>(std::ranges::count_if(text, begins_character));
}

// Where the text begins, behind the last two spaces of the first part; 0 when there are none.
std::size_t text_begin(std::string_view line) {
    const std::size_t at = line.substr(0, FIRST_PART).rfind("  ");
    return at == line.npos ? 0 : std::min(line.find_first_not_of(' ', at), line.size());
}

// The words from column `at` on, as far as there is room; the lines after that stand `indent` deep.
void append_words(std::string& out, std::string_view words, std::size_t at, std::size_t indent,
                  std::size_t columns) {
    bool is_first = true;
    while (!words.empty()) {
        const std::size_t end = std::min(words.find(' '), words.size());
        const std::size_t width = width_of(words.substr(0, end));
        if (!is_first && at + 1 + width > columns) {
            out.append("\n").append(indent, ' ');
            at = indent;
        } else if (!is_first) {
            out += ' ';
            at += 1;
        }
        out.append(words.substr(0, end));
        at += width;
        is_first = false;
        words.remove_prefix(std::min(end + 1, words.size()));
    }
}

}  // namespace

std::size_t columns_of_terminal(int descriptor) {
    struct winsize size {};
    return ::ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::string narrowed(std::string_view line, std::size_t columns) {
    if (width_of(line) <= columns) return std::string(line);
    const std::size_t begin = text_begin(line);
    const std::string_view head = line.substr(0, begin), text = line.substr(begin);
    const std::size_t head_end = head.find_last_not_of(' ') + 1;  // 0: nothing stands before the text
    const std::size_t at = width_of(head);
    std::string out;
    if (at + LEAST_TEXT <= columns) {
        out = head;
        append_words(out, text, at, head_end == 0 ? at + DEEPER : at, columns);
        return out;
    }
    if (head_end > 0) append_words(out, head.substr(0, head_end), 0, DEEPER, columns);
    if (head_end > 0) out += '\n';
    out.append(OWN_LINE, ' ');
    append_words(out, text, OWN_LINE, OWN_LINE + (head_end > 0 ? 0 : DEEPER), columns);
    return out;
}

narrow_stream::~narrow_stream() {
    put(begun());
}

std::string narrow_stream::take(std::string& begun) {
    std::string whole;
    std::size_t from = 0;
    for (std::size_t end = 0; (end = begun.find('\n', from)) != begun.npos; from = end + 1)
        whole.append(narrowed(std::string_view(begun).substr(from, end - from), columns_)).append("\n");
    begun.erase(0, from);
    return whole;
}

}  // namespace lab
