#include "lab/io/text.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace lab {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";  // U+FFFD
constexpr std::string_view HEX_DIGITS = "0123456789abcdef";
constexpr std::size_t MESSAGE_TEXT_SIZE = 60;

unsigned char byte_at(std::string_view bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

// What may follow a leading byte: how many continuation bytes, and the range of the first of them (which
// excludes overlong forms, surrogates and numbers beyond U+10FFFF: Unicode Standard, table 3-7).
struct sequence {
    std::size_t continuations = 0;  // 0: not a leading byte of two or more
    unsigned char first_min = 0x80;
    unsigned char first_max = 0xBF;
};

sequence sequence_of(unsigned char lead) {
    if (lead >= 0xC2 && lead <= 0xDF) return {1};
    if (lead == 0xE0) return {2, 0xA0, 0xBF};
    if (lead == 0xED) return {2, 0x80, 0x9F};
    if (lead >= 0xE1 && lead <= 0xEF) return {2};
    if (lead == 0xF0) return {3, 0x90, 0xBF};
    if (lead >= 0xF1 && lead <= 0xF3) return {3};
    if (lead == 0xF4) return {3, 0x80, 0x8F};
    return {};
}

// How many bytes from `start` on make one character or one piece to be replaced, and which of the two.
struct piece {
    std::size_t size;
    bool is_character;
};

piece piece_at(std::string_view bytes, std::size_t start) {
    const unsigned char lead = byte_at(bytes, start);
    if (lead < 0x80) return {1, true};
    const sequence expected = sequence_of(lead);
    if (expected.continuations == 0) return {1, false};
    std::size_t size = 1;
    while (size <= expected.continuations && start + size < bytes.size()) {
        const unsigned char next = byte_at(bytes, start + size);
        const bool fits = size == 1 ? next >= expected.first_min && next <= expected.first_max
                                    : next >= 0x80 && next <= 0xBF;
        if (!fits) return {size, false};
        ++size;
    }
    return {size, size == expected.continuations + 1};
}

// How many bytes the control character at `at` of UTF-8 text has: C0, DEL, C1, or one that turns the direction of
// writing (Unicode Standard Annex 9, table of section 2). 0 when there stands none.
std::size_t control_size(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t by) { return at + by < text.size() ? byte_at(text, at + by) : 0; };
    if (byte(0) < ' ' || byte(0) == 0x7F) return 1;
    if (byte(0) == 0xC2 && byte(1) >= 0x80 && byte(1) <= 0x9F) return 2;
    if (byte(0) == 0xD8 && byte(1) == 0x9C) return 2;  // U+061C
    if (byte(0) != 0xE2) return 0;
    const auto last = byte(2);
    const bool is_mark = byte(1) == 0x80 && (last == 0x8E || last == 0x8F || (last >= 0xAA && last <= 0xAE));
    const bool is_isolate = byte(1) == 0x81 && last >= 0xA6 && last <= 0xA9;
    return is_mark || is_isolate ? 3 : 0;
}

std::string without_controls(std::string_view text, std::string_view kept) {
    std::string whole;
    append_utf8(whole, text);
    std::string shown;
    shown.reserve(whole.size());
    for (std::size_t at = 0; at < whole.size();) {
        const std::size_t size = kept.find(whole[at]) == kept.npos ? control_size(whole, at) : 0;
        shown.push_back(size == 0 ? whole[at] : '?');
        at += size == 0 ? 1 : size;
    }
    return shown;
}

int hex_value(char digit) {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    return -1;
}

}  // namespace

std::optional<std::int64_t> parse_integer(std::string_view text) {
    std::int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value;
}

std::string counted(std::uint64_t number, std::string_view noun) {
    return std::to_string(number) + " " + std::string(noun) + (number == 1 ? "" : "s");
}

void append_integer(std::string& out, std::int64_t value) {
    std::array<char, 20> digits;
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), value);
    out.append(digits.data(), written.ptr);
}

void append_hex(std::string& out, std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out.push_back(HEX_DIGITS[byte_at(bytes, i) >> 4]);
        out.push_back(HEX_DIGITS[byte_at(bytes, i) & 0xF]);
    }
}

std::optional<std::string> bytes_from_hex(std::string_view digits) {
    if (digits.size() % 2 != 0) return std::nullopt;
    std::string bytes;
    bytes.reserve(digits.size() / 2);
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const int high = hex_value(digits[i]);
        const int low = hex_value(digits[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes.push_back(static_cast<char>(high * 16 + low));
    }
    return bytes;
}

void append_csv_cell(std::string& out, std::string_view text) {
    if (text.find_first_of(",\"\r\n") == text.npos) {
        out.append(text);
        return;
    }
    out.push_back('"');
    for (const char each : text) {
        if (each == '"') out.push_back('"');
        out.push_back(each);
    }
    out.push_back('"');
}

// Numbers, too, may begin with a sign.
void append_foreign_csv_cell(std::string& out, std::string_view text) {
    const bool is_formula = !text.empty() && std::string_view("=+-@\t\r").find(text.front()) != text.npos;
    const bool is_number = text.find_first_not_of("+-.0123456789eE") == text.npos;
    append_csv_cell(out, is_formula && !is_number ? "'" + std::string(text) : std::string(text));
}

void append_utf8(std::string& out, std::string_view bytes) {
    const auto is_ascii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    if (std::all_of(bytes.begin(), bytes.end(), is_ascii)) {
        out.append(bytes);
        return;
    }
    for (std::size_t at = 0; at < bytes.size();) {
        const piece next = piece_at(bytes, at);
        out.append(next.is_character ? bytes.substr(at, next.size) : REPLACEMENT);
        at += next.size;
    }
}

std::string harmless(std::string_view text) {
    return without_controls(text, "\n\t");
}

std::string on_one_line(std::string_view text) {
    return without_controls(text, "");
}

std::string for_message(std::string_view text) {
    std::string shown = on_one_line(text.substr(0, MESSAGE_TEXT_SIZE));
    if (text.size() > MESSAGE_TEXT_SIZE) shown += "...";
    return shown;
}

std::string html_text(std::string_view text) {
    std::string safe;
    for (const char c : harmless(text)) {
        switch (c) {
            case '&':
                safe += "&amp;";
                break;
            case '<':
                safe += "&lt;";
                break;
            case '>':
                safe += "&gt;";
                break;
            case '"':
                safe += "&quot;";
                break;
            default:
                safe += c;
        }
    }
    return safe;
}

}  // namespace lab
