// Scenarios as text: what is read, and what is said of a mistake.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lab/io/error.h"
#include "lab/io/time_text.h"
#include "lab/scenario/scenario.h"
#include "lab/scenario/timeline.h"
#include "lab/scenario/toml_section.h"

namespace lab {

namespace {

using testing::HasSubstr;

const std::string PHASE = "[[phase]]\nfor = \"1 d\"\n";
const std::string HOUR = "[[phase]]\nfor = \"1 h\"\n";
const std::string EVENT = PHASE + "[[event]]\n";
const std::string EXPECTATION = PHASE + "[[expect]]\n";
const std::string FILES = PHASE + "[files]\n";

std::string mistake_in(const std::string& text, const std::vector<std::string>& overrides = {}) {
    try {
        parse_scenario(text, "x.toml", overrides);
    } catch (const input_error& wrong) {
        return wrong.what();
    }
    return "no mistake";
}

}  // namespace

TEST(ScenarioReader, SaysWhereAMistakeIsAndWhatWasMeant) {
    const struct {
        std::string text;
        const char* message;
    } mistakes[] = {
        {"titel = \"x\"\n", "x.toml:1:1: knows no titel; did you mean title?"},
        {"seed = \n", "x.toml:1:"},
        {"", "no [[phase]]"},
        {"[cell]\nsoc = 50\n", "x.toml:2:1: [cell] knows no soc; did you mean soc_pct?"},
        {"[cell]\nsoc_pct = 150\n", "x.toml:2:11: soc_pct must be within -2 and 105, not 150"},
        {"[cell]\nsoc_pct = \"full\"\n", "x.toml:2:11: soc_pct must be a number"},
        {"[cell]\ncurve = \"LVN\"\n", "curve cannot be \"LVN\"; did you mean LWN?"},
        {"[charger]\nobeys = 1\n", "obeys must be true or false"},
        {"time_zone = \"Europe/Atlantis\"\n", "x.toml:1:13: no time zone \"Europe/Atlantis\""},
        {"time_zone = \"../../etc/passwd\"\n", "no time zone"},
        {"start = \"monday\"\n", "x.toml:1:9: start must be a date and time"},
        {"[[phase]]\nfor = \"3 dys\"\n", "x.toml:2:7: for must be a duration such as"},
        {HOUR + "until = 2027-01-01T00:00:00\n", "needs either for or until"},
        {"[[phase]]\nfor = 0\n", "ends before it begins"},
        {"[[phase]]\nfor = \"500 years\"\n", "more than a hundred years"},
        {HOUR + "charger = \"wal\"\n", "did you mean wall?"},
        {HOUR + "daily = [{ at = \"25:00\" }]\n", "at must be a time of day"},
        {HOUR + "daily = [{ at = \"07:00\", days = \"mon,tus\" }]\n", "did you mean tue?"},
        {HOUR + "wake_every = 10\nwake_for = 20\n", "wake_for must be shorter"},
        {"[phase]\nfor = \"1 h\"\n", "phase must be a list of tables: [[phase]]"},
        {EVENT + "do = \"unplugg\"\nat = 0\n", "did you mean unplug?"},
        {EVENT + "do = \"unplug\"\n", "x.toml:3:1: [[event]]: needs at"},
        {EVENT + "do = \"unplug\"\nat = 0\nohm = 3\n", "knows no ohm"},
        {EVENT + "do = \"node\"\nat = 0\nnode = \"voltage\"\ntext = \"1\"\n", "did you mean voltage_now?"},
        {EVENT + "do = \"fail\"\nat = 0\ncall = \"write\"\ntarget = \"batt_stres\"\n",
         "did you mean batt_stress?"},
        {EVENT + "do = \"unplug\"\nat = 0\nfor = 60\nevery = 60\n", "for must be shorter than every"},
        {EVENT + "do = \"unplug\"\nat = \"1 d\"\n",
         "x.toml:5:6: at comes when the scenario is over: it lasts 1 d 0 h"},
        {EXPECTATION + "property = \"a\"\nis = 1\nat = \"25 h\"\n",
         "x.toml:6:6: at comes when the scenario is over"},
        {EXPECTATION + "log = \"a\"\nsince = \"1 d\"\n", "since comes when the scenario is"},
        {EXPECTATION + "log = \"a\"\nsince = 20\nat = 10\n", "since is later than at"},
        {EXPECTATION + "property = \"a\"\nlog = \"b\"\n", "needs exactly one of"},
        {EXPECTATION + "property = \"a\"\n", "needs is, min or max"},
        {EXPECTATION + "file = \"toc_clients\"\nfield = \"stepp\"\nis = 1\n",
         "toc_clients has no field stepp"},
        {EXPECTATION + "cell = \"true_soc\"\nmin = 1\n", "did you mean true_soc_pct?"},
        {EXPECTATION + "record = \"stres_evaluated\"\n", "did you mean stress_evaluated?"},
        {EXPECTATION + "log = \"x\"\nis = 1\n", "is counted"},
        {FILES + "toc_client = \"02\"\n", "did you mean toc_clients?"},
        {FILES + "toc_clients = \"0g\"\n", "not hexadecimal"},
        {FILES + "toc_clients = { step = 300 }\n", "has no field step that can be 300"},
        {FILES + "toc_clients = 2\n", "toc_clients must be"},
    };
    for (const auto& each : mistakes)
        EXPECT_THAT(mistake_in(each.text), HasSubstr(each.message)) << each.text;
    EXPECT_THAT(mistake_in(PHASE, {"cell.soc=3"}),
                HasSubstr("--set: [cell] knows no soc; did you mean soc_pct?"));
    EXPECT_THAT(mistake_in(PHASE, {"cell.soc_pct=\"3\""}), HasSubstr("--set: soc_pct must be a number"));
    EXPECT_THAT(mistake_in(PHASE, {"cell.a\nb=3"}),
                HasSubstr("knows no a?b"));  // one line, whatever is in it
    EXPECT_THAT(mistake_in("\"a\\nb\" = 3\n"), HasSubstr("x.toml:1:1: knows no a?b"));
    EXPECT_THAT(mistake_in(PHASE, {"cell"}), HasSubstr("--set: not KEY=VALUE"));
    EXPECT_THROW(read_scenario("no/such/file.toml"), input_error);
}

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
