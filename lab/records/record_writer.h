// Writes found records, and what is wrong with them, as JSON Lines or CSV (docs/metrics.md).
//
//   {"line":7,"log_time":"01-02 03:04:05.678","pid":123,"record":"stress evaluated",
//    "schema":"n591/2/03330401","version":"12","fields":{"stress_hours":12,...},"units":{"stress_hours":"h"}}
//
// Numbers stand as the record has them; inf and nan, which JSON lacks, stand as text. A record with something
// wrong has "problem", "detail" and its "text" too, and in "fields" what is good of it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "lab/records/log_scanner.h"

namespace lab {

enum class output_format : std::uint8_t { json, csv };

class record_writer {
  public:
    using sink = std::function<void(std::string_view)>;

    // `put` gets the output in large pieces. With `only` not empty, records of other known schemas are left
    // out; what is not known is always told.
    record_writer(output_format format, sink put, std::vector<const record_schema*> only = {});

    // Names the log that the next records come from; empty for the only one.
    void begin_log(std::string_view name);
    void write(const found_record& found);
    void finish();

    std::uint64_t records() const { return records_; }    // good ones
    std::uint64_t problems() const { return problems_; }  // the others

  private:
    struct column {
        std::string_view name;
        std::string_view unit;
    };

    bool is_wanted(const record_schema* schema) const;
    void write_json(const found_record& found);
    void write_json_fields(const parsed_record& record);
    void write_csv_header();
    void write_csv(const found_record& found);

    output_format format_;
    sink put_;
    std::vector<const record_schema*> only_;
    std::vector<column> columns_;  // of CSV: every field of the wanted records once
    std::map<const record_schema*, std::vector<std::size_t>> columns_of_;  // where each of its fields goes
    std::vector<std::string_view> cells_;  // of the row being written, by column
    std::string log_name_;
    std::string log_name_json_;
    std::string out_;
    std::uint64_t records_ = 0;
    std::uint64_t problems_ = 0;
};

}  // namespace lab
