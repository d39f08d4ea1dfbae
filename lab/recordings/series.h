// Series as CSV, one row per cycle (docs/formats.md).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/io/csv_reader.h"
#include "lab/io/output_file.h"
#include "lab/session/cycle.h"
#include "lab/session/listener.h"

namespace lab {

// Columns that may follow the daemon's own and STRESS_COLUMN: what the daemon saw in that cycle.
constexpr std::array<std::string_view, 6> SAMPLE_COLUMNS = {"realtime_s", "voltage_now", "current_now",
                                                            "temp",       "capacity",    "status"};

// Room for a 64-bit number, or the shortest text of a double, and a separator.
constexpr std::size_t SERIES_CELL_SIZE = 32;

// Writes the header and then a row per cycle. Whoever owns the file commits it.
class series_writer : public listener {
  public:
    // `truth_names`: the simulated phone's own columns (course::truth_names), last in the row. `every_s`: of each boot
    // its first cycle, and then the first one in each such stretch of time; 0: all.
    series_writer(output_file& file, bool with_samples, const std::vector<std::string>& truth_names = {},
                  std::int64_t every_s = 0);

    void on_cycle(const cycle& after) override;
    bool wants_events() const override { return false; }
    bool wants_samples() const override { return with_samples_; }

  private:
    // Most numbers are the same from row to row, so each cell keeps its text.
    struct cell {
        std::int64_t bits = 0;  // of the number
        bool has_number = false;
        std::uint8_t size = 1;
        std::array<char, SERIES_CELL_SIZE> text{','};  // ends with what separates it from the next
    };

    template <typename T>
    static void put(cell& into, T value);
    static void put_optional(cell& into, std::optional<std::int32_t> value);
    void write_row();
    bool is_due(const cycle& after);

    output_file& file_;
    bool with_samples_;
    std::int64_t every_s_;
    std::int64_t boot_ = 0, next_s_ = INT64_MIN;  // of a thinned series: due from there on
    std::vector<cell> cells_;
    std::vector<char> row_;  // has room for every cell at its longest
};

// Reads such a file. Columns are found by name; unknown ones are the phone's own if they follow the daemon's.
class series_reader {
  public:
    // Reads the header. Throws input_error, also when a column of the daemon is missing.
    explicit series_reader(input_file file);

    bool has_samples() const { return has_samples_; }
    const std::vector<std::string>& truth_names() const { return truth_names_; }

    // Reads the next row into `after`; false at the end. Throws input_error "file:line:column: what".
    bool next(cycle& after);

  private:
    std::size_t index_of(std::string_view name) const;
    std::int64_t number(std::size_t field) const;
    std::int32_t small_number(std::size_t field) const;
    std::optional<std::int32_t> optional_number(std::size_t field) const;
    double real(std::size_t field) const;

    csv_reader csv_;
    std::vector<std::string> header_;
    std::size_t boot_ = 0, elapsed_ = 0;
    std::array<std::size_t, COLUMN_COUNT> daemon_{};
    std::size_t stress_ = 0;
    bool has_samples_ = false;
    std::array<std::size_t, SAMPLE_COLUMNS.size()> samples_{};
    std::vector<std::size_t> truth_;
    std::vector<std::string> truth_names_;
};

}  // namespace lab
