// Each recording of a collection, replayed to its end. The collection lies beside the checkout, or where the
// environment variable VORN_RECORDINGS says.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>

#include "lab/io/input_file.h"
#include "tests/support/replay.h"

namespace {

namespace fs = std::filesystem;
using lab::column;

std::vector<fs::path> recordings() {
    const char* const said = std::getenv("VORN_RECORDINGS");
    std::vector<fs::path> found;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(
             said != nullptr ? said : fs::path(VORN_SOURCE_DIR).parent_path() / "shared" / "traces", error)) {
        if (entry.path().extension() == ".csv") found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

test::replay_result replayed(const std::string& csv) {
    return test::replay(csv, {{}, "UTC", {{"cell_vendor_name", "ATL"}}});  // none of them names it
}

TEST(Recordings, ReplayToTheirLastRow) {
    if (recordings().empty()) GTEST_SKIP() << "no recordings here";
    for (const fs::path& path : recordings()) {
        SCOPED_TRACE(path.filename());
        const std::string csv = lab::read_file(path.string());
        const test::replay_result result = replayed(csv);
        EXPECT_EQ(static_cast<std::ptrdiff_t>(result.cycles.size()),
                  std::count(csv.begin(), csv.end(), '\n') - 1);
        // An ordinary battery: the estimator runs on all samples and stays within what a battery can be.
        for (const lab::cycle& each : result.cycles) {
            ASSERT_EQ(each[column::dyn_soc_state], 2) << each.elapsed_s;
            ASSERT_TRUE(each[column::soc_ui] >= 0 && each[column::soc_ui] <= 100) << each.elapsed_s;
            ASSERT_TRUE(each[column::qmax] > 0 && each[column::dcr] > 0) << each.elapsed_s;
            ASSERT_EQ(each[column::perm_step], 0) << each.elapsed_s;  // none of them is long enough
            ASSERT_EQ(each[column::precharge_flag], 0) << each.elapsed_s;
        }
        EXPECT_THAT(result.story({"error getting sensor data"}), testing::IsEmpty());
        EXPECT_EQ(result.image.properties.at("persist.vendor.vorn.toc"), "4450");
        EXPECT_EQ(result.image.files.at("/mnt/vendor/nvcfg/vorn/batt_stress").size(), 396U);
        EXPECT_EQ(result.image.files.at("/mnt/vendor/nvcfg/vorn/dyn_soc_params").size(), 20U);
    }
}

}  // namespace
