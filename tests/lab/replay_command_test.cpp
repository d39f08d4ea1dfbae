// The command, as a user meets it: exit status, messages, files.

#include <array>
#include <cstdio>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include "tests/support/command.h"
#include "tests/support/directory.h"
#include "tests/support/replay.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class ReplayCommand : public testing::Test {
  protected:
    // Runs vorn-lab with the words of `arguments` in the test's directory.
    test::command_outcome run(const std::string& arguments) {
        std::istringstream words(arguments);
        return test::run_command({std::istream_iterator<std::string>(words), {}}, dir.path());
    }
    test::temporary_directory dir;
};

constexpr char TRACE[] = "elapsed_s,boot,colour\n0,1,red\n10,1,red\n0,2,red\n";

TEST_F(ReplayCommand, WritesEventsSeriesAndRoot) {
    dir.put("t.csv", TRACE);
    dir.put("root/properties", "persist.mine=kept\nvolatile=gone\n");
    const test::command_outcome done =
        run("replay t.csv --root root --events e.jsonl --series s.csv --set capacity=50");
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.out, "");
    EXPECT_EQ(done.err, "vorn-lab: t.csv: warning: unknown column is ignored: colour\n");
    EXPECT_THAT(
        dir.get("e.jsonl"),
        AllOf(StartsWith(R"({"boot":1,"elapsed":0,"event":"log","priority":4,"tag":"vorn","text":"--- vorn )"
                         R"(attempting to migrate persistent files \n"})"
                         "\n"),
              HasSubstr(R"({"boot":2,"elapsed":0,"event":"write",)")));
    EXPECT_THAT(dir.get("s.csv"), AllOf(StartsWith("boot,elapsed_s,toc_mv,"), HasSubstr("\n1,10,4450,"),
                                        HasSubstr("\n2,0,4450,")));
    EXPECT_THAT(dir.get("root/properties"),
                AllOf(HasSubstr("persist.mine=kept\n"), HasSubstr("persist.vendor.vorn.toc=4450\n"),
                      testing::Not(HasSubstr("volatile"))));
    EXPECT_EQ(dir.get("root/mnt/vendor/nvcfg/vorn/last_datetime").size(), 8U);
    EXPECT_EQ(dir.get("root/data/vendor/vorn/mock_n_day_threshold_sec"), "");  // the daemon's open made it
    // Another run takes over from there.
    const test::command_outcome again = run("replay t.csv --root root --events -");
    EXPECT_EQ(again.status, 0);
    EXPECT_THAT(again.out, AllOf(StartsWith("{"), testing::Not(HasSubstr("No saved datetime"))));
}

TEST_F(ReplayCommand, ShowsALogAndTheEndWithoutAnEventFile) {
    test::trace_rows rows = test::trace_rows::healthy();
    rows.row().rows(5, 10, {{"temp", ""}}).row({{"temp", "250"}});
    dir.put("t.csv", rows.csv());
    const test::command_outcome done = run("replay t.csv");
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(done.err, "");
    EXPECT_THAT(done.out,
                StartsWith("boot 1, 2026-01-01 00:00:00\n       0:00:00  info    attempting to migrate"));
    EXPECT_THAT(
        done.out,
        AllOf(HasSubstr("\n       0:00:10  error   file read error /sys/class/power_supply/battery/temp\n"),
              HasSubstr("\n       0:01:00          4 times more, until 0:00:50: error   file read error "
                        "/sys/class/power_supply/battery/temp\n"),
              HasSubstr("\n       0:00:00  set     persist.vendor.vorn.toc = 4450\n"),
              HasSubstr("7 cycles in 1 boot over 1 min 0 s"),
              HasSubstr("\n  persist.vendor.vorn.disable_charging.enabled = 0\n")));
    // The series does not disturb the log, unless it takes its place.
    EXPECT_THAT(run("replay t.csv --series s.csv").out, StartsWith("boot 1, "));
    EXPECT_THAT(run("replay t.csv --series - --samples").out,
                AllOf(StartsWith("boot,elapsed_s,"), HasSubstr(",1767225600,4000000,-300000,250,50,2\n")));
}

TEST_F(ReplayCommand, RunsNothingForATraceWithoutRows) {
    dir.put("t.csv", "elapsed_s\n");
    const test::command_outcome done = run("replay t.csv --root root --events e.jsonl --series s.csv");
    EXPECT_EQ(done.status, 0);
    EXPECT_EQ(dir.get("e.jsonl"), "");
    EXPECT_THAT(dir.get("s.csv"), MatchesRegex("boot,[^\n]*,soc_off\n"));
}

// One line that says what and where, status 2, and no file touched.
TEST_F(ReplayCommand, RefusesBadInputWithoutATraceOfIt) {
    dir.put("good.csv", TRACE);
    dir.put("bad.csv", std::string(TRACE) + "soon,2,red\n");
    dir.put("e.jsonl", "old");
    dir.put("file", "");
    const std::size_t entries = dir.count_entries();
    const std::pair<const char*, const char*> cases[] = {
        {"replay bad.csv --events e.jsonl --series s.csv --root root",
         "vorn-lab: bad.csv:5:1: elapsed_s is not a whole number: soon\n"},
        {"replay none.csv --events e.jsonl", "vorn-lab: none.csv: No such file or directory\n"},
        {"replay good.csv --root file --events e.jsonl", "vorn-lab: file: Not a directory\n"},
        {"replay good.csv --events no/e.jsonl", "vorn-lab: no/e.jsonl: No such file or directory\n"},
        {"replay good.csv --series e.jsonl --events e.jsonl",
         "vorn-lab: --events and --series: the same file: e.jsonl\n"},
        {"replay good.csv --report ./good.csv", "vorn-lab: TRACE and --report: the same file: good.csv\n"},
        {"replay good.csv --set boot=1", "vorn-lab: --set: the trace has its own column boot\n"},
        {"replay good.csv --set boot", "vorn-lab: --set: not COLUMN=TEXT: boot\n"},
        {"replay good.csv --set status=a --set status=b", "vorn-lab: --set: given twice: status\n"},
        {"replay good.csv --colour",
         "vorn-lab: The following argument was not expected: --colour (see vorn-lab replay --help)\n"},
        {"replay", "vorn-lab: TRACE is required (see vorn-lab replay --help)\n"},
        {"", "vorn-lab: a command is missing (see vorn-lab --help)\n"},
        {"repaly t.csv", "vorn-lab: no such command: repaly (see vorn-lab --help)\n"},
        {"state shwo", "vorn-lab: no such command: shwo (see vorn-lab state --help)\n"},
    };
    for (const auto& [arguments, message] : cases) {
        const test::command_outcome refused = run(arguments);
        EXPECT_EQ(refused.status, 2) << arguments;
        EXPECT_EQ(refused.out, "") << arguments;
        std::string last_line = refused.err;
        const std::string warning = "vorn-lab: good.csv: warning: unknown column is ignored: colour\n";
        const std::string bad_warning = "vorn-lab: bad.csv: warning: unknown column is ignored: colour\n";
        for (const std::string& each : {warning, bad_warning})
            if (last_line.starts_with(each)) last_line.erase(0, each.size());
        EXPECT_EQ(last_line, message) << arguments;
        EXPECT_EQ(dir.get("e.jsonl"), "old") << arguments;
        EXPECT_EQ(dir.count_entries(), entries) << arguments;
    }
}

TEST_F(ReplayCommand, Helps) {
    EXPECT_THAT(run("--help").out, HasSubstr("replay"));
    EXPECT_EQ(run("--help").status, 0);
    const test::command_outcome help = run("replay --help");
    EXPECT_EQ(help.status, 0);
    for (const char* flag : {"TRACE", "--root", "--events", "--series", "--set", "--samples"})
        EXPECT_THAT(help.out, HasSubstr(flag));
    EXPECT_THAT(run("--version").out, StartsWith("vorn-lab 1."));
}

}  // namespace
