#include "util/metrics.h"

#include <gtest/gtest.h>
#include <string>

#include "platform/virtual/device.h"

namespace {

struct written {
    int buffer = 0;
    int priority = 0;
    std::string tag;
    std::string text;
};

written emit(void (*record)()) {
    written result;
    auto& told = virtual_device::the_device().told;
    told.context = &result;
    told.metric = [](void* context, int buffer, int priority, const char* tag, const char* text) {
        *static_cast<written*>(context) = {buffer, priority, tag, text};
    };
    record();
    told = {};
    return result;
}

TEST(Metrics, WrapsThePayloadInItsEnvelope) {
    const written result = emit([] { EMIT_RECORD(stress_entry_rejected, 8, 10, 43800.5); });
    EXPECT_EQ(result.buffer, 8);
    EXPECT_EQ(result.priority, 5);
    EXPECT_EQ(result.tag, "vorn");
    EXPECT_EQ(result.text,
              "lx6wwu6k:rsw5/2/03330401:100:_deviceId=;SY,_softwareVersion=;SY,_platform=;SY,_model=;SY,"
              "_deviceType=;SY,_countryOfResidence=;SY,v=8;IN,t=10;IN,val=43800.500000;FL,ver=12;SY:NA");
}

// The payload is cut first, then the record: beyond that the region code no longer fits.
TEST(Metrics, CutsPayloadAndRecord) {
    const auto print = [](int length) {
        vorn_ostrel_metrics_log_print(5, "vorn", "g", "s", "f", "R", "%0*d", length, 0);
    };
    static int length = 0;
    const auto emitted = [&](int with) {
        length = with;
        static const auto print_it = print;
        return emit([] { print_it(length); }).text;
    };
    const std::size_t around = std::string("g:s:f:").size() + std::string(METRICS_DEVICE_PREFIX).size() + 2;
    const int longest_whole = static_cast<int>(1023 - around);
    EXPECT_TRUE(emitted(longest_whole).ends_with("0:R"));
    EXPECT_EQ(emitted(longest_whole).size(), 1023U);
    EXPECT_TRUE(emitted(longest_whole + 1).ends_with("0:"));
    EXPECT_TRUE(emitted(2000).ends_with("00"));
    EXPECT_EQ(emitted(2000).size(), 1023U);
}

}  // namespace
