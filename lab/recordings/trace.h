// A trace: what a device's sensors read, one row per cycle of the daemon (docs/formats.md).
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lab/io/csv_reader.h"
#include "lab/session/device_files.h"

namespace lab {

// A node's cell is its text, an empty cell or an absent column a missing node. A mock file's cell is its text, a boot
// loader's file's its bytes in hexadecimal; empty or absent, it leaves the file as it is.

// Cells with a meaning of their own. The last one is for mock files only.
constexpr std::string_view CELL_EMPTY_FILE = "<empty>";
constexpr std::string_view CELL_READ_ERROR = "<error>";
constexpr std::string_view CELL_MISSING_FILE = "<missing>";

// An operation that fails while its row is in effect.
struct trace_fault {
    enum class operation : std::uint8_t { open, read, write, property_set };
    operation what = operation::open;
    std::string_view target;  // absolute path, or property name
};

// A reference for the estimator, which the daemon never sees.
inline constexpr std::string_view TRUE_SOC_COLUMN = "soc_true_pct";

// One row. Its texts stay good until the next row is read.
struct trace_row {
    csv_position position;
    std::int64_t elapsed_s = 0;
    std::optional<std::int64_t> real_time_s;
    std::int64_t boot = 1;
    std::array<std::string_view, DEVICE_NODES.size()> nodes;
    std::array<std::string_view, MOCK_FILES.size()> mock_files;
    std::array<std::string, BOOT_LOADER_FILES.size()> boot_files;  // bytes
    std::array<bool, BOOT_LOADER_FILES.size()> has_boot_file{};
    std::vector<trace_fault> faults;
    double true_soc_pct = 0;  // what the recording knows better than any gauge; NaN where it does not say
};

class trace_reader {
  public:
    // Reads the header. `constants` gives columns that the file lacks the same text in every row; `warn` is
    // told, in one line, of each column that has no meaning. Throws input_error.
    using constant_columns = std::map<std::string, std::string, std::less<>>;
    trace_reader(input_file file, constant_columns constants, const std::function<void(std::string)>& warn);

    // Reads the next row into `row`; false at the end. Throws input_error "file:line:column: what".
    bool next(trace_row& row);

    // Lets next() read the row that starts there.
    void seek(const csv_position& row) { csv_.seek(row); }

    bool has_true_soc() const { return true_soc_.is_known(); }

    const input_file& file() const { return csv_.file(); }
    bool has_wall_clock() const { return real_time_.is_known(); }

  private:
    // Where the text of a column comes from.
    struct source {
        static constexpr std::size_t NONE = SIZE_MAX;
        std::size_t field = NONE;
        const std::string* constant = nullptr;

        bool is_known() const { return field != NONE || constant != nullptr; }
    };

    double true_soc_pct() const;
    void read_header(const std::function<void(std::string)>& warn);
    void use_constants();
    source* find(std::string_view column);
    std::string_view text(const source& from) const;
    std::optional<std::int64_t> number(const source& from, std::string_view column) const;
    void read_faults(std::vector<trace_fault>& faults) const;
    void read_boot_files(trace_row& row) const;
    [[noreturn]] void fail(const source& from, const std::string& what) const;

    csv_reader csv_;
    constant_columns constants_;
    std::size_t field_count_ = 0;
    source elapsed_, real_time_, boot_, faults_, true_soc_;
    std::array<source, DEVICE_NODES.size()> nodes_;
    std::array<source, MOCK_FILES.size()> mock_files_;
    std::array<source, BOOT_LOADER_FILES.size()> boot_files_;
};

}  // namespace lab
