// Every scenario of the project: its expectations hold, and the trace of it replays to the same events, cycles and
// device.

#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>

#include "lab/io/input_file.h"
#include "lab/simulation/simulation.h"
#include "tests/support/replay.h"
#include "tests/support/transcript.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> scenarios() {
    std::vector<fs::path> found = {VORN_SOURCE_DIR "/tests/cases/troubles.toml"};
    for (const auto& entry : fs::directory_iterator(VORN_SOURCE_DIR "/scenarios")) {
        if (entry.path().extension() == ".toml") found.push_back(entry.path());
    }
    std::ranges::sort(found);
    return found;
}

class Scenario : public testing::TestWithParam<fs::path> {};

TEST_P(Scenario, HoldsAndReplaysFromItsTrace) {
    const lab::scenario read = lab::read_scenario(GetParam());
    const lab::device_image start = lab::image_at_start(read);
    const fs::path trace = fs::path(testing::TempDir()) / GetParam().filename().replace_extension(".csv");
    lab::output_file trace_file(trace);
    test::transcript lived(test::transcript::records::whole);
    const lab::simulation_result result = lab::run_simulation(read, start, {&lived}, &trace_file);
    EXPECT_EQ(result.failures, std::vector<std::string>());
    trace_file.finish();
    trace_file.commit();

    test::transcript replayed(test::transcript::records::whole);
    const lab::device_image image =
        test::replay(lab::read_file(trace), {start, read.time_zone, {}}, {&replayed});
    EXPECT_GT(lived.texts().size(), 100U);
    test::expect_same_lines(replayed.texts(), lived.texts(), "the replay", 1);
    test::expect_same_lines(test::lines_of(image), test::lines_of(result.image), "the device", 1);
    fs::remove(trace);
}

INSTANTIATE_TEST_SUITE_P(All, Scenario, testing::ValuesIn(scenarios()),
                         [](const auto& of) { return of.param.stem().string(); });

}  // namespace
