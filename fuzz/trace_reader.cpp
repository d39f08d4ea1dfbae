// Any bytes as a trace: read whole or refused in one line that names the place, and a row that is read again
// from its position is the same row.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lab/io/error.h"
#include "lab/recordings/trace.h"
#include "once.h"

namespace {

std::string everything_of(const lab::trace_row& row) {
    std::string all = std::to_string(row.boot) + "|" + std::to_string(row.elapsed_s) + "|" +
                      (row.real_time_s ? std::to_string(*row.real_time_s) : "-");
    for (const auto& cell : row.nodes) all.append("|").append(cell);
    for (const auto& cell : row.mock_files) all.append("|").append(cell);
    for (const auto& fault : row.faults) {
        all.append("|").append(std::to_string(static_cast<int>(fault.what))).append(fault.target);
    }
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        lab::trace_reader reader(
            lab::input_file::from_text(text, "trace.csv"), {}, [](const std::string& warning) {
                fuzz::expect(warning.starts_with("trace.csv:"), "a warning names its place");
            });
        std::vector<lab::csv_position> positions;
        std::vector<std::string> rows;
        lab::trace_row row;
        while (reader.next(row)) {
            positions.push_back(row.position);
            rows.push_back(everything_of(row));
        }
        for (std::size_t i = rows.size(); i-- > 0;) {
            reader.seek(positions[i]);
            fuzz::expect(reader.next(row) && everything_of(row) == rows[i], "a row read again");
        }
    } catch (const lab::input_error& refused) {
        const std::string_view what = refused.what();
        fuzz::expect(what.starts_with("trace.csv") && what.find('\n') == std::string_view::npos,
                     "one line, with place");
    }
    return 0;
}
