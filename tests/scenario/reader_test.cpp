// Scenarios as text; what is said of a mistake: cases/cli/scenario_mistakes.txt.

#include <gmock/gmock.h>

#include "lab/io/time_text.h"
#include "lab/scenario/scenario.h"
#include "lab/scenario/timeline.h"
#include "lab/scenario/toml_section.h"

namespace lab {

namespace {

const std::string PHASE = "[[phase]]\nfor = \"1 d\"\n";

}  // namespace

TEST(ScenarioReader, ReadsDurationsAndTimesOfDay) {
    EXPECT_EQ(parse_duration("90 s"), 90);
    EXPECT_EQ(parse_duration("2h30min"), 9000);
    EXPECT_EQ(parse_duration(" 1 d 2 hours 3 min 4 s "), 93784);
    EXPECT_EQ(parse_duration("1.5 h"), 5400);
    EXPECT_EQ(parse_duration("3 years"), 3 * 365 * 86400);
    EXPECT_EQ(parse_duration("-2 weeks"), -14 * 86400);
    for (const char* wrong : {"", "h", "3", "3 x", "1 h -2 min", "1e99 s", "nan s"}) {
        EXPECT_FALSE(parse_duration(wrong)) << wrong;
    }
    EXPECT_EQ(parse_time_of_day("07:30"), 27000);
    EXPECT_EQ(parse_time_of_day("23:59:59"), 86399);
    for (const char* wrong : {"", "7", "24:00", "07:60", "07:30:", "007:30", "-1:00"}) {
        EXPECT_FALSE(parse_time_of_day(wrong)) << wrong;
    }
}

TEST(ScenarioReader, TakesStartFilesAndOverrides) {
    const scenario read = parse_scenario(
        "start = 2026-07-01T12:00:00\ntime_zone = \"Europe/Berlin\"\n"
        "[files]\nbatt_stress = { \"hours[8][10]\" = 2.5 }\n[properties]\n\"persist.x\" = 3\n"
        "[cell]\nsoc_pct = 10\n[[phase]]\nuntil = 2026-07-02T12:00:00\n",
        "x.toml", {"cell.soc_pct=20.5", "charger.above_toc=rest", "seed=9"});
    EXPECT_EQ(read.start_utc_s, 1782900000);  // 10:00 UTC
    EXPECT_EQ(read.duration_s(), 86400);
    EXPECT_EQ(read.phone.cell.soc_pct, 20.5);
    EXPECT_EQ(read.phone.charger.above_toc, phone::above_top::rest);
    EXPECT_EQ(read.chance.seed, 9U);
    const std::string& table = read.files.at("/mnt/vendor/nvcfg/vorn/batt_stress");
    EXPECT_EQ(table.size(), 396U);
    EXPECT_EQ(table.substr(392), std::string("\x00\x00\x20\x40", 4));
    EXPECT_EQ(read.properties.at("persist.x"), "3");
}

TEST(Timeline, FollowsDailyPatternsOverAClockChange) {
    // The clock goes forward on Sunday, 2026-03-29 at 02:00.
    const scenario read = parse_scenario(
        "start = 2026-03-28T12:00:00\ntime_zone = \"Europe/Berlin\"\n[[phase]]\nfor = \"4 d\"\nload_mw = 1\n"
        "daily = [{ at = \"22:00\", load_mw = 3 }, { at = \"06:00\", load_mw = 2, days = \"sun\" }]\n"
        "[[phase]]\nfor = \"1 h\"\nload_mw = 5\n",
        "x.toml");
    const local_zone zone(read.time_zone);
    const timeline times(read);
    const auto load_at = [&](std::int64_t at_s) { return times.conditions_at(at_s).load_mw; };
    EXPECT_EQ(load_at(0), 3);  // since yesterday, 22:00
    EXPECT_EQ(times.next_change(0), 10 * 3600);
    const std::int64_t sunday_six_s = 17 * 3600;  // an hour of that night is missing
    EXPECT_EQ(times.next_change(10 * 3600), sunday_six_s);
    EXPECT_EQ(load_at(sunday_six_s - 1), 3);
    EXPECT_EQ(load_at(sunday_six_s), 2);
    EXPECT_EQ(times.next_change(sunday_six_s), 33 * 3600);
    EXPECT_EQ(load_at(60 * 3600), 3);
    EXPECT_EQ(load_at(96 * 3600), 5);
    EXPECT_EQ(times.next_change(96 * 3600), 97 * 3600);
    EXPECT_EQ(times.next_change(97 * 3600), 97 * 3600);
}

TEST(Timeline, KnowsWhenEventsBeginAndEnd) {
    const scenario read = parse_scenario(PHASE +
                                             "[[event]]\ndo = \"unplug\"\nat = 100\nfor = 10\nevery = 50\n"
                                             "[[event]]\ndo = \"restart\"\nat = 120\n"
                                             "[[event]]\ndo = \"clock_lost\"\nat = 130\n",
                                         "x.toml");
    const local_zone zone(read.time_zone);
    const timeline times(read);
    std::vector<std::int64_t> changes;
    for (std::int64_t at_s = 0; at_s < 200;) changes.push_back(at_s = times.next_change(at_s));
    EXPECT_THAT(changes, testing::ElementsAre(100, 110, 120, 130, 150, 160, 200));
    EXPECT_TRUE(timeline::is_going_on(read.events[0], 159));
    EXPECT_FALSE(timeline::is_going_on(read.events[0], 160));
    EXPECT_TRUE(timeline::happens_at(read.events[1], 120));
    EXPECT_FALSE(timeline::happens_at(read.events[1], 121));
    EXPECT_TRUE(timeline::is_going_on(read.events[2], 80000));
}

}  // namespace lab
