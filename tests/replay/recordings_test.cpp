// Each recording of a collection, replayed to its end. The collection lies beside the checkout, or where the
// environment variable VORN_RECORDINGS says.

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lab/input_file.h"
#include "tests/support/replay.h"

namespace {

namespace fs = std::filesystem;

fs::path collection() {
    if (const char* const said = std::getenv("VORN_RECORDINGS")) return said;
    return fs::path(VORN_SOURCE_DIR).parent_path() / "shared" / "traces";
}

std::vector<fs::path> recordings() {
    std::vector<fs::path> found;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(collection(), error)) {
        if (entry.path().extension() == ".csv") found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

class recording {
  public:
    explicit recording(const fs::path& path)
        : csv_(lab::read_file(path.string())),
          rows_(static_cast<std::size_t>(std::count(csv_.begin(), csv_.end(), '\n')) - 1),
          result_(replayed(csv_)) {}

    std::size_t rows() const { return rows_; }
    const test::replay_result& result() const { return result_; }

  private:
    // None of them names the cell's vendor.
    static test::replay_result replayed(const std::string& csv) {
        test::replay_options options;
        options.constants["cell_vendor_name"] = "ATL";
        return test::replay(csv, options);
    }

    std::string csv_;
    std::size_t rows_;
    test::replay_result result_;
};

TEST(Recordings, ReplayToTheirLastRow) {
    if (recordings().empty()) GTEST_SKIP() << "no recordings in " << collection();
    for (const fs::path& path : recordings()) {
        SCOPED_TRACE(path.filename());
        const recording played(path);
        const test::replay_result& result = played.result();
        EXPECT_EQ(result.cycles.size(), played.rows());
        // An ordinary battery: the estimator runs on all samples and stays within what a battery can be.
        for (const lab::cycle& each : result.cycles) {
            ASSERT_EQ(each[lab::column::dyn_soc_state], 2) << each.elapsed_s;
            ASSERT_GE(each[lab::column::soc_ui], 0) << each.elapsed_s;
            ASSERT_LE(each[lab::column::soc_ui], 100) << each.elapsed_s;
            ASSERT_GT(each[lab::column::qmax], 0) << each.elapsed_s;
            ASSERT_GT(each[lab::column::dcr], 0) << each.elapsed_s;
            ASSERT_EQ(each[lab::column::perm_step], 0) << each.elapsed_s;  // none of them is long enough
            ASSERT_EQ(each[lab::column::precharge_flag], 0) << each.elapsed_s;
        }
        EXPECT_THAT(result.logs("error getting sensor data"), testing::IsEmpty());
        EXPECT_EQ(result.image.properties.at("persist.vendor.vorn.toc"), "4450");
        EXPECT_EQ(result.image.files.at("/mnt/vendor/nvcfg/vorn/batt_stress").size(), 396U);
        EXPECT_EQ(result.image.files.at("/mnt/vendor/nvcfg/vorn/dyn_soc_params").size(), 20U);
    }
}

// The same input gives the same output, field by field.
TEST(Recordings, ReplayAlikeEveryTime) {
    if (recordings().empty()) GTEST_SKIP() << "no recordings in " << collection();
    const fs::path path = recordings().back();
    const recording first(path);
    const recording second(path);
    ASSERT_EQ(first.result().events.size(), second.result().events.size());
    for (std::size_t i = 0; i < first.result().events.size(); ++i) {
        ASSERT_EQ(first.result().events[i].text, second.result().events[i].text);
        ASSERT_EQ(first.result().events[i].elapsed_s, second.result().events[i].elapsed_s);
    }
    for (std::size_t i = 0; i < first.result().cycles.size(); ++i)
        ASSERT_EQ(first.result().cycles[i].daemon, second.result().cycles[i].daemon);
    EXPECT_EQ(first.result().image.files, second.result().image.files);
}

}  // namespace
