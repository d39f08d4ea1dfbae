// Any bytes as a log: however the log is cut into blocks, the same records are found; what is written about them
// is JSON, and a good record is good when read by itself.
//
// Input: a log. Its first byte says how long the blocks of the second reading are.

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "lab/records/log_scanner.h"
#include "lab/records/record_writer.h"
#include "once.h"

namespace {

using namespace lab;

void expect_consistent(const found_record& found) {
    const parsed_record again = parse_record(found.text);
    fuzz::expect(again.schema == found.record.schema, "the same record by itself");
    if (found.record.result != verdict::good) {
        fuzz::expect(!found.record.detail.empty(), "a problem says what and where");
        return;
    }
    fuzz::expect(again.result == verdict::good && again.values == found.record.values, "good by itself");
    for (std::size_t i = 0; i < found.record.schema->field_count; ++i) {
        fuzz::expect(found.record.values[i].data() != nullptr, "every field of a good record");
    }
}

// The records as they are written when the log comes in blocks of `block_size` bytes.
std::string read(std::string_view log, output_format format, std::size_t block_size) {
    std::string out;
    record_writer writer(format, [&](std::string_view text) { out += text; });
    log_scanner scanner(
        [&](const found_record& found) {
            expect_consistent(found);
            writer.write(found);
        },
        log_scanner::LEAST_BUFFER_SIZE);
    while (!log.empty()) {
        const auto space = scanner.space();
        fuzz::expect(!space.empty(), "space for more");
        const std::size_t count = std::min({space.size(), block_size, log.size()});
        std::copy_n(log.data(), count, space.data());
        scanner.filled(count);
        log.remove_prefix(count);
    }
    scanner.finish();
    writer.finish();
    return out;
}

void expect_json_lines(std::string_view text) {
    while (!text.empty()) {
        const auto object = nlohmann::json::parse(fuzz::next_piece(text, '\n'), nullptr, false);
        fuzz::expect(object.is_object() && object.contains("line"), "one JSON object a line");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string_view log(reinterpret_cast<const char*>(data) + 1, size - 1);
    const std::string whole = read(log, output_format::json, log_scanner::LEAST_BUFFER_SIZE);
    expect_json_lines(whole);
    // A line that no buffer holds is read in pieces, which need not fall alike.
    if (log.size() < log_scanner::LEAST_BUFFER_SIZE / 2) {
        fuzz::expect(read(log, output_format::json, data[0] % 64U + 1U) == whole, "the same in other blocks");
    }
    read(log, output_format::csv, log_scanner::LEAST_BUFFER_SIZE);
    return 0;
}
