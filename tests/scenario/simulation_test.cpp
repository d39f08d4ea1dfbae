// The daemon on the simulated phone: time, boots, what a trace of it replays to, and expectations.

#include "lab/scenario/simulation.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lab/device_root.h"
#include "lab/events.h"
#include "lab/scenario/truth.h"
#include "lab/trace_course.h"

namespace lab {

namespace {

// Keeps every event as a line, and every cycle.
class witness : public listener {
  public:
    void on_event(const event& what) override {
        std::string line;
        append_json(line, what);
        events.push_back(line + " at " + std::to_string(what.real_time_s));
    }
    void on_cycle(const cycle& after) override { cycles.push_back(after); }

    std::vector<std::string> events;
    std::vector<cycle> cycles;
};

witness run(const std::string& text, simulation_result* result = nullptr) {
    const scenario read = parse_scenario(text, "x.toml");
    witness seen;
    simulation_result got = run_simulation(read, image_at_start(read), {&seen});
    if (result != nullptr) *result = std::move(got);
    return seen;
}

double truth_of(const cycle& at, truth_column which) {
    return at.truth[static_cast<std::size_t>(which)];
}

// Everything that a trace has to carry: boots of every kind, faults, mocks, nodes, clocks, a precharge.
constexpr char TROUBLES[] = R"(
start = 2026-03-28T20:00:00
time_zone = "Europe/Berlin"
event = [
    { do = "mock", file = "mock_n_day_threshold_sec", text = "600", at = "8 h", for = "2 h" },
    { do = "mock", file = "mock_batt_stress_offset", text = "12345", at = "1 h" },
    { do = "restart", at = "9 h" },
    { do = "power_cut", at = "10 h 5 s", for = "3 min" },
    { do = "clock_lost", at = "10 h", for = "1 h 10 min" },
    { do = "reboot", at = "13 h" },
    { do = "node", node = "temp", reads = "error", at = "14 h", for = "5 min" },
    { do = "node", node = "status", text = "Full, or \"so\"", at = "14 h 2 min", for = "5 min" },
    { do = "node", node = "capacity", reads = "empty", at = "14 h 4 min", for = "5 min" },
    { do = "node", node = "voltage_now", reads = "missing", at = "13 h 0 min 40 s", for = "2 min" },
    { do = "fail", call = "write", target = "batt_stress", at = "15 h", for = "2 h" },
    { do = "fail", call = "open", target = "last_datetime", at = "15 h", for = "2 h" },
    { do = "fail", call = "property_set", target = "persist.vendor.vorn.disable_charging.enabled", at = "12 h 59 min", for = "10 min" },
    { do = "heater", watt = 25, at = "6 h", for = "5 min" },
    { do = "unplug", at = "17 h", for = "5 min" },
]
[cell]
soc_pct = 4
[phone]
off_ua = 200000
[files]
batt_stress = { "hours[8][8]" = 900, "hours[8][9]" = 123.456 }
[[phase]]
for = "3 h"
load_mw = 2500
[[phase]]
for = "20 h"
charger = "wall"
screen = "off"
)";

}  // namespace

TEST(Simulation, TraceReplaysToTheSameEvents) {
    const scenario read = parse_scenario(TROUBLES, "x.toml");
    const device_image start = image_at_start(read);
    const auto path = std::filesystem::path(testing::TempDir()) / "simulation_test_trace.csv";
    witness simulated;
    output_file trace(path.string());
    simulation_result result = run_simulation(read, start, {&simulated}, &trace);
    trace.commit();
    EXPECT_GE(result.counted.boots, 5);

    device_image image = start;
    std::vector<std::string> warnings;
    trace_course again(trace_reader(input_file::open(path.string()), {},
                                    [&](const std::string& line) { warnings.push_back(line); }));
    witness replayed;
    run_session(again, image, {&replayed});
    std::filesystem::remove(path);

    EXPECT_THAT(warnings, testing::IsEmpty());
    ASSERT_GT(simulated.events.size(), 500U);
    EXPECT_EQ(simulated.events.size(), replayed.events.size());
    for (std::size_t i = 0; i < std::min(simulated.events.size(), replayed.events.size()); ++i) {
        ASSERT_EQ(simulated.events[i], replayed.events[i]) << "event " << i;
    }
    ASSERT_EQ(simulated.cycles.size(), replayed.cycles.size());
    for (std::size_t i = 0; i < simulated.cycles.size(); ++i) {
        ASSERT_EQ(simulated.cycles[i].daemon, replayed.cycles[i].daemon) << "cycle " << i;
    }
    EXPECT_EQ(result.image.files, image.files);
    EXPECT_EQ(result.image.properties, image.properties);
}

TEST(Simulation, RepeatsItselfForASeedAndDiffersForAnother) {
    const std::string text = "[[phase]]\nfor = \"3 h\"\nburst_mw = 3000\nburst_pct = 20\n";
    EXPECT_EQ(run(text).events, run(text).events);
    EXPECT_NE(run("seed = 1\n" + text).events, run("seed = 2\n" + text).events);
    EXPECT_THROW(run("[cell]\nsoc_pct = -1\n[[phase]]\nfor = \"4 h\"\n"), std::exception) << "it never boots";
}

TEST(Simulation, RunsNoCyclesWhileThePhoneSleeps) {
    const witness seen =
        run("start = 2026-01-01T00:00:00\n[[phase]]\nfor = \"10 min 4 s\"\n[[phase]]\nfor = \"8 h\"\n"
            "screen = \"suspended\"\n[[phase]]\nfor = \"10 min\"\n");
    std::vector<std::int64_t> gap_ends;
    for (std::size_t i = 1; i < seen.cycles.size(); ++i) {
        const auto gap_s = seen.cycles[i].elapsed_s - seen.cycles[i - 1].elapsed_s;
        ASSERT_GE(gap_s, 10);
        if (gap_s > 10) gap_ends.push_back(seen.cycles[i].elapsed_s);
    }
    // Four of the ten seconds were over when it fell asleep.
    EXPECT_THAT(gap_ends, testing::ElementsAre(604 + 8 * 3600 + 6));
    EXPECT_NEAR(static_cast<double>(seen.cycles.size()), 121, 2);
    EXPECT_EQ(seen.cycles.back().real_time_s - seen.cycles.back().elapsed_s, 1767225600);

    const witness waking =
        run("[[phase]]\nfor = \"10 min\"\n[[phase]]\nfor = \"1 h\"\nscreen = \"suspended\"\nwake_every = "
            "\"10 min\"\n"
            "wake_for = \"40 s\"\n[[event]]\ndo = \"plug\"\nat = \"35 min\"\nfor = \"2 min\"\n");
    int asleep = 0;
    for (const cycle& each : waking.cycles) {
        if (truth_of(each, truth_column::sim_s) > 600) ++asleep;
    }
    EXPECT_GE(asleep, 5 * 3);  // five times awake, and when the charger came and went
    EXPECT_LE(asleep, 7 * 4);
}

TEST(Expectations, SayWhatWasExpectedAndFound) {
    simulation_result result;
    run("[[phase]]\nfor = \"3 h\"\n"
        "[[expect]]\nproperty = \"persist.vendor.vorn.toc\"\nis = 4450\n"
        "[[expect]]\nproperty = \"persist.vendor.vorn.toc\"\nis = 4400\nat = \"1 h\"\n"
        "[[expect]]\nfile = \"toc_clients\"\nfield = \"step\"\nis = 0\n"
        "[[expect]]\nfile = \"batt_stress\"\nfield = \"hours[5][4]\"\nmin = 5\n"
        "[[expect]]\nrecord = \"stress_table_written\"\ncount = 2\n"
        "[[expect]]\nrecord = \"spvt/2\"\nsince = \"90 min\"\ncount = 2\n"
        "[[expect]]\nlog = \"no such words\"\n"
        "[[expect]]\nlog = \"error\"\nmax = 0\nat = 1\n"
        "[[expect]]\ncell = \"true_mv\"\nmin = 4000\n"
        "[[expect]]\ncell = \"true_soc_pct\"\nmin = 59.9\nthroughout = true\nsince = \"1 h\"\nat = \"2 h\"\n"
        "[[expect]]\nseries = \"dyn_soc_state\"\nis = 2\nthroughout = false\n",
        &result);
    using testing::ContainsRegex;
    EXPECT_THAT(
        result.failures,
        testing::UnorderedElementsAre(
            "x.toml:6: property persist.vendor.vorn.toc at 1 h 0 min: expected \"4400\", found \"4450\"",
            "x.toml:10: file toc_clients.step at the end: expected \"0\", found \"no file\"",
            ContainsRegex(
                "x.toml:14: file batt_stress.hours.5..4. at the end: expected at least 5, found [0-2]"),
            "x.toml:21: records of spvt/2 at the end: expected 2, found 1",
            "x.toml:25: log lines with \"no such words\" at the end: expected at least 1, found 0",
            ContainsRegex("x.toml:27: log lines with \"error\" at 1 s: expected at most 0, found [0-9]+"),
            ContainsRegex(
                "x.toml:31: the simulated phone's true_mv at the end: expected at least 4000, found 3"),
            ContainsRegex("x.toml:34: the simulated phone's true_soc_pct from 1 h 0 min on, until 2 h 0 min: "
                          "expected at least 59.9, found 58.[0-9]+ at 1 h 0 min")));
}

}  // namespace lab
