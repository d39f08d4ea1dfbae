#include "lab/metrics/record_writer.h"

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "tests/lab/metrics/sample_records.h"

using lab::metrics::log_scanner;
using lab::metrics::output_format;
using lab::metrics::record_writer;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

struct written {
    std::vector<std::string> lines;
    std::uint64_t records;
    std::uint64_t problems;
};

written write(output_format format, std::string_view log,
              std::vector<const lab::metrics::record_schema*> only = {}) {
    std::string out;
    record_writer writer(
        format, [&](std::string_view piece) { out += piece; }, std::move(only));
    writer.begin_log("a \"b\".log");
    log_scanner scanner([&](const lab::metrics::found_record& found) { writer.write(found); });
    std::copy(log.begin(), log.end(), scanner.space().begin());
    scanner.filled(log.size());
    scanner.finish();
    writer.finish();
    written result = {{}, writer.records(), writer.problems()};
    for (std::size_t at = 0; at < out.size(); at = out.find('\n', at) + 1)
        result.lines.push_back(out.substr(at, out.find('\n', at) - at));
    return result;
}

std::string all_samples() {
    std::string log;
    for (const test::sample_record& sample : test::sample_records())
        log += "01-02 03:04:05.678 W/vorn    (  123): " + sample.text + "\n";
    return log;
}

std::vector<std::string> cells(const std::string& row) {
    std::vector<std::string> found(1);
    for (const char c : row) {
        if (c == ',') {
            found.emplace_back();
        } else {
            found.back() += c;
        }
    }
    return found;
}

}  // namespace

TEST(RecordWriter, WritesEveryRecordAsTypedJson) {
    const auto out = write(output_format::json, all_samples());
    const auto samples = test::sample_records();
    ASSERT_EQ(out.lines.size(), samples.size());
    EXPECT_EQ(out.records, samples.size());
    EXPECT_EQ(out.problems, 0U);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const json record = json::parse(out.lines[i]);
        EXPECT_EQ(record["fields"].size(), samples[i].values.size());
        EXPECT_FALSE(record.contains("problem"));
    }
    EXPECT_EQ(json::parse(out.lines[1]), json::parse(R"({"file":"a \"b\".log","line":2,
        "log_time":"01-02 03:04:05.678","pid":123,"record":"stress entry rejected","schema":"rsw5/2/03330401",
        "version":"12","fields":{"v":8,"t":10,"val":"inf"},"units":{"val":"h"}})"));
    EXPECT_EQ(json::parse(out.lines[9])["fields"]["charge_timer_s"], UINT64_MAX);
    EXPECT_EQ(json::parse(out.lines[10])["fields"]["min_curr_ua"], INT64_MIN);
    EXPECT_EQ(json::parse(out.lines[20])["fields"]["vend"], "A=B:C");
}

TEST(RecordWriter, TellsProblemsAmongTheRecords) {
    const std::string start = test::sample_records()[3].text;
    const auto out =
        write(output_format::json, start.substr(0, start.size() - 40) + "\nlx6wwu6k:a\"\xff:100:\n");
    EXPECT_EQ(out.records, 0U);
    EXPECT_EQ(out.problems, 2U);
    ASSERT_EQ(out.lines.size(), 2U);
    const json cut = json::parse(out.lines[0]);
    EXPECT_EQ(cut["problem"], "cut");
    EXPECT_EQ(cut["record"], "stress start");
    EXPECT_EQ(cut["fields"], json::parse(R"({"table_valid":1,"stress_hours":12001})"));
    EXPECT_EQ(cut["text"], start.substr(0, start.size() - 40));
    const json unknown = json::parse(out.lines[1]);
    EXPECT_EQ(unknown["problem"], "unknown schema");
    EXPECT_EQ(unknown["schema"], "a\"\xef\xbf\xbd");
    EXPECT_EQ(unknown["text"], "lx6wwu6k:a\"\xef\xbf\xbd:100:");
    EXPECT_FALSE(unknown.contains("record"));
}

TEST(RecordWriter, WritesOneCsvRowPerRecordWithItsFieldsInTheirColumns) {
    const auto out = write(output_format::csv, all_samples());
    const auto samples = test::sample_records();
    ASSERT_EQ(out.lines.size(), samples.size() + 1);
    const auto header = cells(out.lines[0]);
    EXPECT_THAT(header,
                testing::IsSupersetOf({"record", "problem", "stress_hours [h]", "dcr [0.1 mΩ]", "vend"}));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto row = cells(out.lines[i + 1].substr(out.lines[i + 1].find("log\",") + 5));
        ASSERT_EQ(row.size() + 1, header.size()) << out.lines[i + 1];
        const auto& fields = lab::metrics::schemas()[i].fields();
        std::size_t filled = 0;
        for (std::size_t at = 11; at < row.size(); ++at) {
            if (row[at].empty()) continue;
            const auto name = header[at + 1].substr(0, header[at + 1].find(' '));
            const auto field = std::ranges::find(fields, name, &lab::metrics::field_schema::name);
            ASSERT_NE(field, fields.end()) << name;
            EXPECT_EQ(row[at], samples[i].values[static_cast<std::size_t>(field - fields.begin())]);
            ++filled;
        }
        EXPECT_EQ(filled, samples[i].values.size());
    }
}

TEST(RecordWriter, KeepsToTheRecordsAskedForButHidesNoProblem) {
    const auto* wanted = lab::metrics::find_schema_by_name("topoff_set");
    const auto out = write(output_format::csv, all_samples() + "lx6wwu6k:none/1/2:100:\n", {wanted});
    ASSERT_EQ(out.lines.size(), 3U);
    EXPECT_THAT(cells(out.lines[0]).back(), "v_mv [mV]");
    EXPECT_EQ(cells(out.lines[0]).size(), 13U);
    EXPECT_THAT(out.lines[1], HasSubstr("topoff set"));
    EXPECT_THAT(out.lines[2], HasSubstr("unknown schema"));
}
