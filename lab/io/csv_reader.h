// Reads a CSV file (RFC 4180) row by row.
//
// Rows end in LF or CRLF; quoted fields may hold line ends; a byte order mark and empty lines are passed
// over; fields are any bytes, spaces included. A quote inside an unquoted field, text after a closing quote,
// a quote that never closes and a bare carriage return are errors.
#pragma once

#include <cstdint>
#include <csv.h>
#include <string>
#include <string_view>
#include <vector>

#include "lab/io/input_file.h"

namespace lab {

// Where a row starts.
struct csv_position {
    std::int64_t offset = 0;  // bytes from the start of the file
    std::int64_t line = 1;
};

class csv_reader {
  public:
    explicit csv_reader(input_file file);
    csv_reader(csv_reader&& other) noexcept;
    csv_reader& operator=(csv_reader&&) = delete;
    ~csv_reader();

    // Reads the next row; false at the end of the file. Throws input_error.
    bool next();

    // Of the row last read. A field stays good until the next row is read.
    std::size_t field_count() const { return fields_.size(); }
    std::string_view field(std::size_t index) const {
        return {text_.data() + fields_[index].begin, fields_[index].size};
    }
    const csv_position& position() const { return row_; }

    // Lets next() read the row that starts there.
    void seek(const csv_position& row);

    // Throws input_error "file:line:column: what", pointing at a field of the row last read; at the end of
    // the row when it has no such field.
    [[noreturn]] void fail(std::size_t field, const std::string& what) const;

    const input_file& file() const { return file_; }

  private:
    bool fill();
    void feed_line();
    void parse(std::string_view piece);
    void end_file();
    void take_field(std::string_view text);
    void take_plain_row(std::string_view row);
    [[noreturn]] void fail_at(std::int64_t offset, const std::string& what) const;

    input_file file_;
    csv_parser parser_{};
    std::string buffer_;              // part of the file, read ahead
    std::size_t at_ = 0;              // next byte of buffer_ to be parsed
    std::int64_t buffer_offset_ = 0;  // of buffer_ in the file
    csv_position row_;                // of the row last read, or being read
    csv_position next_;               // of what is parsed next
    struct field_place {
        std::size_t begin;
        std::size_t size;
    };
    std::string text_;                 // the fields, one after the other
    std::vector<field_place> fields_;  // where each stands in text_
    bool row_has_begun_ = false;
    bool row_is_complete_ = false;
    bool has_surplus_ = false;  // more fields came after the end of the row, on its line
};

}  // namespace lab
