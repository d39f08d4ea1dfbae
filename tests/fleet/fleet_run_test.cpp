// What may go wrong with a phone of a fleet, by phones that do it.
#include "lab/fleet/fleet_run.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <new>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include "lab/io/error.h"
#include "lab/io/work_folder.h"

namespace lab {
namespace {

class FleetRun : public testing::Test {
  protected:
    FleetRun() {
        const std::string population = folder_.path() + "/p.toml";
        std::ofstream(population) << "phones = 5\nspan = \"1 d\"\n[user]\nscreen_h = 3\n";
        fleet_.emplace(folder_.path() + "/dir", fleet_wishes{population, {}, 0, 0});
    }
    run_progress run(const run_limits& limits, const phone_runner& runner) {
        return run_missing(
            *fleet_, {0, 4}, limits, [](const run_progress&) {}, runner);
    }

    work_folder folder_;
    std::optional<fleet_directory> fleet_;
};

phone_row good_row(const population& of, std::uint64_t number) {
    return row_of(of, plan_phone(of, number));
}

void run_out_of_memory() {
    rlimit memory{};
    ::getrlimit(RLIMIT_DATA, &memory);
    if (memory.rlim_cur == RLIM_INFINITY) throw std::bad_alloc();  // a sanitizer has no limit to meet
    for (std::vector<std::string> all;;) all.emplace_back(1 << 20, 'x');
}

TEST_F(FleetRun, MakesARowOfWhateverEndsAPhone) {
    run_limits limits;
    limits.proof.twice_every = 0;
    limits.limit_s = 1;
    limits.memory_mb = 300;
    const run_progress end = run(limits, [](const population& of, std::uint64_t number) {
        if (number == 1) ::raise(SIGKILL);
        if (number == 2) run_out_of_memory();
        if (number == 3) ::pause();
        if (number == 4) throw std::runtime_error("no such phone");
        return good_row(of, number);
    });
    EXPECT_EQ(end.done, 5U);
    EXPECT_EQ(end.not_ok, 4U);
    gather(*fleet_);
    std::vector<std::string> told;
    results(fleet_->joined()).each([&](const phone_row& row) {
        told.push_back(std::string(phone_status_names[static_cast<std::size_t>(row.status)]) + ": " +
                       row.error);
    });
    const std::vector<std::string> meant{"ok: ", "failed: ended by signal 9", "failed: out of memory",
                                         "hung: took longer than its limit", "failed: no such phone"};
    EXPECT_EQ(told, meant);
    EXPECT_EQ(run(limits, good_row).done, 0U) << "a row is a row, whatever it says";
}

// The second run of a phone that is proved differs in one bit of one figure.
TEST_F(FleetRun, StopsAndKeepsBothWhenAPhoneEndsInTwoWays) {
    run_limits limits;
    limits.proof.twice_every = 3;
    const auto forgetful = [runs = 0](const population& of, std::uint64_t number) mutable {
        phone_row row = good_row(of, number);
        row[figure::stress_h] = 1;
        if (number == 3 && runs++ > 0) row[figure::stress_h] = std::nextafter(1.0, 2.0);
        return row;
    };
    try {
        run(limits, forgetful);
        ADD_FAILURE() << "nothing was noticed";
    } catch (const program_fault& fault) {
        EXPECT_NE(std::string(fault.what()).find("phone 3 ended differently the second time"),
                  std::string::npos)
            << fault.what();
    }
    for (const char* const name : {"3.toml", "3.first.json", "3.second.json"})
        EXPECT_TRUE(std::filesystem::exists(fleet_->path() + "/differs/" + name)) << name;
    // What had ended well before is kept, and none of it is taken for the whole.
    EXPECT_THROW(gather(*fleet_), answer_is_no);
    EXPECT_LT(run(limits, good_row).done, 5U);
}

}  // namespace
}  // namespace lab
