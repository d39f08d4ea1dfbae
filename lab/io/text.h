// Text to numbers and bytes, and back.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace lab {

// The whole of `text` as a decimal number: an optional minus sign and digits. Nothing when it is anything
// else or does not fit.
std::optional<std::int64_t> parse_integer(std::string_view text);

// "1 record", "2 records".
std::string counted(std::uint64_t number, std::string_view noun);

void append_integer(std::string& out, std::int64_t value);

// Lower-case hexadecimal digits, two a byte.
void append_hex(std::string& out, std::string_view bytes);
// The bytes back, of either case; nothing when `digits` is not that.
std::optional<std::string> bytes_from_hex(std::string_view digits);

// A cell of a CSV file, quoted where it must be (RFC 4180).
void append_csv_cell(std::string& out, std::string_view text);
// Likewise of a text from somebody else: what a spreadsheet would take for a formula gets an apostrophe in front.
void append_foreign_csv_cell(std::string& out, std::string_view text);

// `bytes` as UTF-8: each longest piece that begins like a character but is none becomes one U+FFFD.
void append_utf8(std::string& out, std::string_view bytes);

// Text for people: each control character (C0 but line end and tab, DEL, C1) and each bidirectional control is "?", and
// what is not UTF-8 is U+FFFD.
std::string harmless(std::string_view text);
// The same as one line of a message: no line end and no tab either.
std::string on_one_line(std::string_view text);
// The same, cut after 60 bytes.
std::string for_message(std::string_view text);
// Harmless text as HTML and SVG take it, in an attribute too.
std::string html_text(std::string_view text);

}  // namespace lab
