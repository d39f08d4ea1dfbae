// Every test begins alike, whichever ran before it in this process: UTC, a new virtual device, and a daemon that
// has just started on an empty one. What a module's init does not reset shows as a test that fails when shuffled.

#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

#include "core/daemon.h"
#include "platform/virtual/device.h"

namespace {

class fresh_start : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo& /*test*/) override {
        ::setenv("TZ", "UTC", 1);
        ::tzset();
        virtual_device::reset_device();
        daemon_start();
        virtual_device::reset_device();
    }
};

[[maybe_unused]] const bool is_listening = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new fresh_start);  // owned by the list
    return true;
}();

}  // namespace
