#include "lab/recordings/trace.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>

#include "lab/io/error.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t VOLTAGE = 0;
constexpr std::size_t STATUS = 6;

struct read_trace {
    std::vector<std::int64_t> elapsed, boots, lines;
    std::vector<std::optional<std::int64_t>> real_times;
    std::vector<std::string> voltages, statuses, mocks;
    std::vector<std::string> warnings;
    std::string error;
};

read_trace read(const std::string& csv, const lab::trace_reader::constant_columns& constants = {}) {
    read_trace all;
    try {
        lab::trace_reader reader(lab::input_file::from_text(csv, "t.csv"), constants,
                                 [&all](const std::string& line) { all.warnings.push_back(line); });
        lab::trace_row row;
        while (reader.next(row)) {
            all.elapsed.push_back(row.elapsed_s);
            all.boots.push_back(row.boot);
            all.lines.push_back(row.position.line);
            all.real_times.push_back(row.real_time_s);
            all.voltages.emplace_back(row.nodes[VOLTAGE]);
            all.statuses.emplace_back(row.nodes[STATUS]);
            all.mocks.emplace_back(row.mock_files[1]);
        }
    } catch (const lab::input_error& error) {
        all.error = error.what();
    }
    return all;
}

TEST(Trace, FindsColumnsByNameInAnyOrder) {
    const read_trace all = read(
        "status,boot,elapsed_s,colour,voltage_now,realtime_s\n"
        "Full,7,-9223372036854775808,red,4000000,1767225600\n"
        ",,9223372036854775807,,,\n");
    EXPECT_EQ(all.error, "");
    EXPECT_THAT(all.elapsed, ElementsAre(INT64_MIN, INT64_MAX));
    EXPECT_THAT(all.boots, ElementsAre(7, 1));
    EXPECT_THAT(all.real_times, ElementsAre(1767225600, std::nullopt));
    EXPECT_THAT(all.voltages, ElementsAre("4000000", ""));
    EXPECT_THAT(all.statuses, ElementsAre("Full", ""));
    EXPECT_THAT(all.warnings, ElementsAre("t.csv: warning: unknown column is ignored: colour"));
}

TEST(Trace, TakesFieldsAsTheyAre) {
    // Byte order mark, both line ends, empty lines, no line end at the end; quoted and unquoted texts of any
    // bytes, spaces kept.
    const read_trace good = read(
        "\xEF\xBB\xBF"
        "elapsed_s,status\r\n"
        "\r\n"
        "0,\"Not\ncharging, \"\"\"\r\n"
        "\n"
        "10, Full \r\n"
        "20,\xFF\x01");
    EXPECT_EQ(good.error, "");
    EXPECT_THAT(good.statuses, ElementsAre("Not\ncharging, \"", " Full ", "\xFF\x01"));
    EXPECT_THAT(good.lines, ElementsAre(3, 6, 7));
    EXPECT_THAT(good.warnings, IsEmpty());
}

// Fields and rows lie across the reader's buffers and the parser's memory in every way.
TEST(Trace, ReadsTextsOfAnyLength) {
    for (const std::size_t size : {100U, 5000U, 65530U, 65536U, 200000U}) {
        std::string text(size, 'x');
        text[size / 2] = '\n';
        const read_trace all = read("elapsed_s,status\n0,\"" + text + "\"\n10,Full\n");
        ASSERT_EQ(all.error, "");
        EXPECT_THAT(all.statuses, ElementsAre(text, "Full"));
        EXPECT_THAT(all.lines, ElementsAre(2, 4));
    }
    std::string csv = "elapsed_s,voltage_now\n";
    for (int i = 0; i < 20000; ++i) csv += std::to_string(i) + "," + std::to_string(4000000 + i) + "\r\n";
    const read_trace all = read(csv);
    ASSERT_EQ(all.voltages.size(), 20000U);
    EXPECT_EQ(all.elapsed.back(), 19999);
    EXPECT_EQ(all.voltages.back(), "4019999");
    EXPECT_EQ(all.lines.back(), 20001);
}

TEST(Trace, TakesFaultsApart) {
    lab::trace_reader reader(
        lab::input_file::from_text(
            "elapsed_s,faults\n0,\n10,open:/a;read:/b:c;write:/d;property_set:persist.e;\n", "t.csv"),
        {}, [](const std::string&) {});
    lab::trace_row row;
    ASSERT_TRUE(reader.next(row));
    EXPECT_TRUE(row.faults.empty());
    ASSERT_TRUE(reader.next(row));
    std::vector<std::string> found;
    for (const lab::trace_fault& each : row.faults)
        found.push_back(std::to_string(static_cast<int>(each.what)) + std::string(each.target));
    EXPECT_THAT(found, ElementsAre("0/a", "1/b:c", "2/d", "3persist.e"));
}

TEST(Trace, GivesConstantColumnsOnlyWhereTheTraceHasNone) {
    const read_trace all =
        read("elapsed_s,status\n0,Full\n10,\n",
             {{"voltage_now", "3900000"}, {"mock_batt_stress_offset", "7"}, {"boot", "3"}});
    EXPECT_EQ(all.error, "");
    EXPECT_THAT(all.voltages, ElementsAre("3900000", "3900000"));
    EXPECT_THAT(all.mocks, ElementsAre("7", "7"));
    EXPECT_THAT(all.boots, ElementsAre(3, 3));
}

}  // namespace
