// What is in the page: the run as it was, whatever its texts hold, and the same from the files that it left.

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

#include "lab/report/page.h"
#include "lab/report/recorder.h"
#include "tests/report/page_reader.h"
#include "tests/support/command.h"
#include "tests/support/directory.h"
#include "tests/support/replay.h"

namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

std::string page_of(const lab::report& about) {
    return lab::page_html(about, lab::cost(), {});
}

lab::cycle cycle_at(std::int64_t elapsed_s, std::int32_t voltage_uv) {
    lab::cycle after;
    after.elapsed_s = elapsed_s;
    after.real_time_s = 1767225600 + elapsed_s;
    after.seen.voltage_uv = voltage_uv;
    after.seen.status = 1;
    return after;
}

TEST(PageData, CarriesSamplesToTheLetter) {
    lab::report about({"t", "replay", true, {}});
    about.on_cycle(cycle_at(0, 4000999));
    about.on_cycle(cycle_at(10, -2147483647));
    lab::cycle third = cycle_at(30, 0);
    third.seen.voltage_uv.reset();
    third.seen.status = 4;
    about.on_cycle(third);
    const auto page = test::take_apart(page_of(about));
    EXPECT_THAT(page.columns.at("first_t"), ElementsAre(0, 10, 30));
    EXPECT_THAT(page.columns.at("voltage_mv.least"), ElementsAre(4000, -2147483, 0));
    EXPECT_THAT(page.columns.at("voltage_mv.has"), ElementsAre(1, 1, 0));
    EXPECT_THAT(page.columns.at("status_charging"), ElementsAre(255, 255, 0));
    EXPECT_THAT(page.columns.at("status_full"), ElementsAre(0, 0, 255));
    EXPECT_EQ(page.columns.count("current_ma.least"), 0U) << "a channel without a value takes no room";
}

// A log line can hold anything: markup that would end the script, bytes that are no text, the marks of the shapes.
TEST(PageData, LetsNoTextOutOfItsPlace) {
    const std::string evil = "</script><script>alert(1)</script><img src=x onerror=alert(2)>";
    lab::report about({evil, "replay", true, {}});
    lab::event what;
    what.text = "--- vorn \"" + evil + "\" 17 \x01\x02 \xff\xfe \xe2\x82 end\n";
    about.on_event(what);
    about.on_decision({1, 0, 0, lab::importance::finding, "core", evil, {{evil, evil}}});
    const std::string html = page_of(about);
    EXPECT_THAT(html, Not(HasSubstr("alert(")));
    EXPECT_THAT(html, Not(HasSubstr("onerror=")));
    const auto page = test::take_apart(html);
    EXPECT_EQ(page.run["title"], evil);
    EXPECT_EQ(page.run["story"]["decisions"][0]["sentence"], evil);
    ASSERT_EQ(page.lines().size(), 1U);
    EXPECT_THAT(page.lines()[0], HasSubstr("\"" + evil + "\" 17 ?? "));
    EXPECT_THAT(page.lines()[0], HasSubstr(" end"));
}

TEST(PageData, ShowsTheLastHistogramAndWhatItBrought) {
    std::array<float, 99> table{};
    table[8 * 11 + 10] = 100.0F;
    table[0] = 43801.0F;  // more than five years: the daemon drops it
    table[1] = std::numeric_limits<float>::quiet_NaN();
    std::string bytes(sizeof table, '\0');
    std::memcpy(bytes.data(), table.data(), sizeof table);

    lab::device_image before;
    before.files["/mnt/vendor/nvcfg/vorn/batt_stress"] = std::string(396, '\0');
    lab::report about({"t", "replay", true, {}}, before);
    lab::event what;
    what.kind = lab::event_kind::write;
    what.name = "/mnt/vendor/nvcfg/vorn/batt_stress";
    what.text = bytes;
    what.result = 396;
    about.on_event(what);
    what.text = "short";
    about.on_event(what);
    what = {};
    what.text = "vorn stress feature mock offset set to 250 \n";
    about.on_event(what);

    const json stress = test::take_apart(page_of(about)).run["stress"];
    EXPECT_EQ(stress["hours"].size(), 99U);
    EXPECT_EQ(stress["hours"][98], 100.0);
    EXPECT_TRUE(stress["hours"][1].is_null());
    EXPECT_NEAR(stress["total_h"], 3633.5, 0.5);
    EXPECT_EQ(stress["first_h"], 0.0);
    EXPECT_EQ(stress["offset_h"], 250);
    EXPECT_EQ(stress["levels"][0]["toc_mv"], 4350);
    EXPECT_EQ(stress["levels"][1]["above_h"], 16450);
}

std::string content(const std::filesystem::path& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// The road of a user: replay with everything, then the page again from the files alone.
TEST(ReportCommand, MakesTheSamePageFromFiles) {
    const auto folder = std::filesystem::temp_directory_path() / ("vorn-report-" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    auto rows = test::trace_rows::healthy();
    rows.row().rows(400, 10, {{"voltage_now", "4100000"}}).rows(300, 60, {{"status", "Charging"}});
    rows.next_boot({{"voltage_now", "4390000"}}).rows(50, 10, {{"temp", ""}});
    std::ofstream(folder / "trace.csv") << rows.csv();
    const std::string go = "cd '" + folder.string() + "' && TZ=Europe/Berlin '" VORN_LAB_BINARY "' ";
    ASSERT_EQ(std::system((go + "replay trace.csv --events e --series s --samples --report a.html").c_str()),
              0);
    ASSERT_EQ(std::system((go + "report e s -o b.html --title trace").c_str()), 0);
    auto direct = test::take_apart(content(folder / "a.html"));
    auto from_files = test::take_apart(content(folder / "b.html"));
    EXPECT_EQ(direct.columns, from_files.columns);
    EXPECT_EQ(from_files.run["origin"], "files");
    direct.run.erase("origin");
    from_files.run.erase("origin");
    EXPECT_EQ(direct.run, from_files.run) << json::diff(direct.run, from_files.run).dump(1).substr(0, 2000);
    EXPECT_EQ(direct.run["clock"]["zone"][0][2], "CET");

    std::filesystem::remove_all(folder);
}

// One line that says what and where, and nothing written.
TEST(ReportCommand, RefusesBadInput) {
    const test::temporary_directory dir;
    dir.put("trace.csv", test::trace_rows::healthy().row().rows(3, 10).csv());
    ASSERT_EQ(test::run_command({"replay", "trace.csv", "--events", "e", "--series", "s"}, dir.path()).status,
              0);
    dir.put("cut.e", dir.get("e").substr(0, 200));
    dir.put("cut.s", dir.get("s").substr(0, dir.get("s").size() - 20));
    dir.put("empty", "");
    dir.put("old.html", "old");
    const std::size_t entries = dir.count_entries();
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"nothing", "s", "-o", "old.html"}, "nothing: No such file or directory"},
        {{"e", "nothing", "-o", "old.html"}, "nothing: No such file or directory"},
        {{"s", "e", "-o", "old.html"}, "e: holds events, where the series should be (EVENTS comes first)"},
        {{"s", "s", "-o", "old.html"}, "s:1:1: not JSON"},
        {{"e", "trace.csv", "-o", "old.html"}, "trace.csv:1:1: no column toc_mv in the header row"},
        {{"e", "empty", "-o", "old.html"}, "empty:1:1: no header row"},
        {{"cut.e", "s", "-o", "old.html"}, "cut.e:2:78: not JSON"},
        {{"e", "cut.s", "-o", "old.html"}, "cut.s:5:"},
        {{"-", "-", "-o", "old.html"}, "EVENTS and SERIES: both from standard input"},
        {{"e", "s", "-o", "./e"}, "EVENTS and --output: the same file: e"},
        {{"e", "s", "-o", "nowhere/new.html"}, "nowhere/new.html: No such file or directory"},
        {{"e", "s", "-o", "."}, ".: Is a directory"},
        {{"e", "s"}, "--output is required (see vorn-lab report --help)"},
    };
    for (auto [arguments, message] : cases) {
        arguments.insert(arguments.begin(), "report");
        const auto refused = test::run_command(arguments, dir.path());
        EXPECT_EQ(refused.status, 2) << message;
        EXPECT_EQ(refused.out, "");
        EXPECT_THAT(refused.err, testing::StartsWith(std::string("vorn-lab: ") + message));
        EXPECT_EQ(std::count(refused.err.begin(), refused.err.end(), '\n'), 1) << refused.err;
        EXPECT_EQ(dir.count_entries(), entries);
        EXPECT_EQ(dir.get("old.html"), "old");
    }
}

}  // namespace
