// What every cycle leaves behind, whatever it did.

#include <gtest/gtest.h>
#include <vector>

#include "core/daemon.h"
#include "platform/virtual/device.h"

namespace {

TEST(Cycle, LeavesNothingOpenAndSleeps) {
    auto& device = virtual_device::the_device();
    std::vector<unsigned> slept_s;
    device.told.context = &slept_s;
    device.told.sleep = [](void* slept, unsigned seconds) {
        static_cast<std::vector<unsigned>*>(slept)->push_back(seconds);
    };
#define VORN_NODE(path, text) device.at(path).put(text "\n");
#include "tests/support/ordinary_device.def"
#undef VORN_NODE
    device.real_time_s = 1'767'268'800;  // the saved time is written and, at the next start, read
    daemon_start();
    daemon_start();
    EXPECT_EQ(device.open_count(), 0);
    daemon_cycle();
    daemon_cycle();
    EXPECT_EQ(device.open_count(), 0);
    EXPECT_EQ(slept_s, (std::vector<unsigned>{10, 10}));
}

}  // namespace
