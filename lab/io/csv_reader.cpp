#include "lab/io/csv_reader.h"

#include <new>
#include <utility>

#include "lab/io/error.h"

namespace lab {

namespace {

constexpr std::size_t READ_SIZE = 65536;
constexpr std::size_t FIELD_GROWTH = 4096;
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

// Spaces belong to a field.
int never_space(unsigned char /*byte*/) {
    return 0;
}

bool begins_character(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) != 0x80;
}

std::string place(const std::string& name, std::int64_t line, std::int64_t column) {
    return name + ":" + std::to_string(line) + ":" + std::to_string(column) + ": ";
}

// A whole line whose commas alone say where its fields are, without its end; empty for any other one.
std::string_view plain_row(std::string_view line) {
    if (!line.ends_with('\n')) return {};
    line.remove_suffix(line.ends_with("\r\n") ? 2 : 1);
    const bool is_plain = line.find('"') == line.npos && line.find('\r') == line.npos;
    return is_plain ? line : std::string_view();
}

// Walks over the bytes of one row, counting lines, columns (in characters) and fields.
struct row_walk {
    std::int64_t line = 1;
    std::int64_t column = 1;
    std::size_t field = 0;
    bool is_quoted = false;
    bool after_quote = false;     // the last byte was a quote that closed, or the first of two
    std::int64_t quote_line = 1;  // where the last quoted field began
    std::int64_t quote_column = 1;

    bool is_at_row_end(char byte) const { return !is_quoted && (byte == '\n' || byte == '\r'); }

    void step(char byte) {
        if (byte == '"') toggle_quote();
        after_quote = byte == '"' && !is_quoted;
        if (byte == ',' && !is_quoted) ++field;
        if (byte == '\n') {
            ++line;
            column = 1;
        } else if (begins_character(byte)) {
            ++column;
        }
    }

    void toggle_quote() {
        is_quoted = !is_quoted;
        if (!is_quoted || after_quote) return;
        quote_line = line;
        quote_column = column;
    }
};

// Calls `step` for each byte from `offset` on, until it returns false or the file ends.
template <typename Step>
void for_each_byte(const input_file& file, std::int64_t offset, Step step) {
    char piece[1024];
    while (const std::size_t count = file.read(offset, piece, sizeof piece)) {
        for (std::size_t i = 0; i < count; ++i) {
            if (!step(piece[i])) return;
        }
        offset += static_cast<std::int64_t>(count);
    }
}

}  // namespace

csv_reader::csv_reader(input_file file) : file_(std::move(file)) {
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
    csv_set_space_func(&parser_, never_space);
    csv_set_blk_size(&parser_, FIELD_GROWTH);
    fill();
    if (std::string_view(buffer_).starts_with(BYTE_ORDER_MARK)) {
        at_ = BYTE_ORDER_MARK.size();
        next_.offset = static_cast<std::int64_t>(at_);
    }
}

csv_reader::csv_reader(csv_reader&& other) noexcept
    : file_(std::move(other.file_)),
      parser_(std::exchange(other.parser_, {})),
      buffer_(std::move(other.buffer_)),
      at_(other.at_),
      buffer_offset_(other.buffer_offset_),
      row_(other.row_),
      next_(other.next_),
      text_(std::move(other.text_)),
      fields_(std::move(other.fields_)),
      row_has_begun_(other.row_has_begun_),
      row_is_complete_(other.row_is_complete_),
      has_surplus_(other.has_surplus_) {}

csv_reader::~csv_reader() {
    csv_free(&parser_);
}

bool csv_reader::fill() {
    buffer_offset_ += static_cast<std::int64_t>(buffer_.size());
    buffer_.resize(READ_SIZE);
    buffer_.resize(file_.read(buffer_offset_, buffer_.data(), READ_SIZE));
    at_ = 0;
    return !buffer_.empty();
}

void csv_reader::seek(const csv_position& row) {
    csv_fini(&parser_, nullptr, nullptr, nullptr);
    buffer_.clear();
    buffer_offset_ = row.offset;
    at_ = 0;
    next_ = row;
}

bool csv_reader::next() {
    text_.clear();
    fields_.clear();
    row_has_begun_ = row_is_complete_ = has_surplus_ = false;
    while (!row_is_complete_) {
        if (at_ < buffer_.size() || fill()) {
            feed_line();
        } else {
            end_file();
            break;
        }
    }
    return row_is_complete_;
}

// Takes the present line, as far as it has been read. Most need no parser.
void csv_reader::feed_line() {
    const std::string_view ahead = std::string_view(buffer_).substr(at_);
    const std::size_t line_end = ahead.find('\n');
    const std::string_view piece = ahead.substr(0, line_end == ahead.npos ? ahead.npos : line_end + 1);
    if (!row_has_begun_) row_ = next_;
    const std::string_view plain = row_has_begun_ ? std::string_view() : plain_row(piece);
    row_has_begun_ = row_has_begun_ || piece.find_first_not_of("\r\n") != piece.npos;

    if (plain.empty()) {
        parse(piece);
    } else {
        take_plain_row(plain);
    }
    at_ += piece.size();
    next_.offset += static_cast<std::int64_t>(piece.size());
    if (row_has_begun_ && next_.offset - row_.offset > std::int64_t{LONGEST_LINE})
        throw input_error(place(file_.name(), row_.line, 1) + "a row longer than " +
                          std::to_string(LONGEST_LINE) + " bytes");
    if (line_end != ahead.npos) ++next_.line;
}

void csv_reader::parse(std::string_view piece) {
    const std::size_t parsed = csv_parse(
        &parser_, piece.data(), piece.size(),
        [](void* text, std::size_t size, void* self) {
            static_cast<csv_reader*>(self)->take_field({static_cast<const char*>(text), size});
        },
        [](int /*separator*/, void* self) { static_cast<csv_reader*>(self)->row_is_complete_ = true; }, this);
    if (parsed != piece.size()) {
        if (csv_error(&parser_) == CSV_ENOMEM) throw std::bad_alloc();
        fail_at(next_.offset + static_cast<std::int64_t>(parsed), "a quote out of place");
    }
    if (has_surplus_) fail(field_count(), "a carriage return outside quotes");
}

// The last row may lack its line end.
void csv_reader::end_file() {
    const int result = csv_fini(
        &parser_,
        [](void* text, std::size_t size, void* self) {
            static_cast<csv_reader*>(self)->take_field({static_cast<const char*>(text), size});
        },
        [](int /*separator*/, void* self) { static_cast<csv_reader*>(self)->row_is_complete_ = true; }, this);
    if (result == 0) return;
    row_walk walk{.line = row_.line};
    for_each_byte(file_, row_.offset, [&walk](char byte) {
        walk.step(byte);
        return true;
    });
    throw input_error(place(file_.name(), walk.quote_line, walk.quote_column) + "a quote that never closes");
}

void csv_reader::take_field(std::string_view text) {
    if (row_is_complete_) {
        has_surplus_ = true;
        return;
    }
    fields_.push_back({text_.size(), text.size()});
    text_.append(text);
}

void csv_reader::take_plain_row(std::string_view row) {
    text_.assign(row);
    std::size_t begin = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (row[i] != ',') continue;
        fields_.push_back({begin, i - begin});
        begin = i + 1;
    }
    fields_.push_back({begin, row.size() - begin});
    row_is_complete_ = true;
}

void csv_reader::fail(std::size_t field, const std::string& what) const {
    row_walk walk{.line = row_.line};
    for_each_byte(file_, row_.offset, [&walk, field](char byte) {
        if (walk.field == field || walk.is_at_row_end(byte)) return false;
        walk.step(byte);
        return true;
    });
    throw input_error(place(file_.name(), walk.line, walk.column) + what);
}

void csv_reader::fail_at(std::int64_t offset, const std::string& what) const {
    row_walk walk{.line = row_.line};
    std::int64_t left = offset - row_.offset;
    for_each_byte(file_, row_.offset, [&walk, &left](char byte) {
        if (left-- == 0) return false;
        walk.step(byte);
        return true;
    });
    throw input_error(place(file_.name(), walk.line, walk.column) + what);
}

}  // namespace lab
