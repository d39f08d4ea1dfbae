#include "precharge/precharge.h"

#include <gmock/gmock.h>
#include <limits>

#include "core/persistent_files.h"
#include "core/sys_properties.h"
#include "tests/support/effects.h"
#include "util/sensor_value.h"

namespace {

using testing::ElementsAre;
using virtual_device::file;
using virtual_device::the_device;

constexpr char TIMER[] = "/mnt/vendor/nvcfg/vorn/batt_precharge_timer";
constexpr char COUNTER[] = "/mnt/vendor/nvcfg/vorn/batt_precharge_counter";

float off_hours = 0;

std::string bytes_of(std::int32_t value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

// The feature with the daemon's own files and property behind it.
class Precharge : public testing::Test {
  protected:
    Precharge() { off_hours = 0; }
    std::int32_t start(std::int32_t last_uv = 3400000, float rate_uv = 8.4F) {
        return precharge_feature_init({.property_get = vorn_precharge_property_get,
                                       .property_set = vorn_precharge_property_set,
                                       .counter_import = vorn_precharge_counter_import,
                                       .counter_export = vorn_precharge_counter_export,
                                       .timer_import = vorn_precharge_timer_import,
                                       .timer_export = vorn_precharge_timer_export,
                                       .uboot_flag_import = vorn_uboot_flag_import,
                                       .uboot_timer_import = vorn_uboot_timer_import,
                                       .power_off_time = [] { return off_hours; }},
                                      rate_uv, last_uv);
    }
    std::vector<std::string> lines() {
        auto all = told.take();
        std::erase_if(all,
                      [](const std::string& line) { return line.find(" file open error ") != line.npos; });
        return all;
    }
    static std::string event(const std::string& values) { return "record precharge_event " + values; }

    test::effects told;
    file& uboot_timer = the_device().at("/data/vendor/vorn/batt_precharge_uboottimer");
    file& uboot_flag = the_device().at("/data/vendor/vorn/batt_precharge_ubootflag");
    file& timer = the_device().at(TIMER);
    file& counter = the_device().at(COUNTER);
    std::string& property = the_device().properties[PRECHARGE_PROPERTY];
};

TEST_F(Precharge, DoesNothingWithoutAReport) {
    for (const std::int32_t seconds : {0, -1, INVALID_VALUE, std::numeric_limits<std::int32_t>::min()}) {
        uboot_timer.put(bytes_of(seconds));
        EXPECT_EQ(0, start());
        EXPECT_THAT(told.take("log 6 vorn"), ElementsAre("log 6 vorn setting precharge timer and counter "));
    }
    uboot_timer.remove();
    EXPECT_EQ(0, start());
    EXPECT_THAT(lines(), ElementsAre("log 6 vorn setting precharge timer and counter "));
    EXPECT_FALSE(get_prechargetimer_disable_flag());
    EXPECT_FALSE(timer.exists);
}

TEST_F(Precharge, AddsThisBootToTheLifetimeTotals) {
    uboot_timer.put(bytes_of(120));
    timer.put(bytes_of(300));
    counter.put(bytes_of(4));
    EXPECT_EQ(0, start(4000999));
    EXPECT_THAT(told.take(), ElementsAre(testing::HasSubstr("batt_precharge_ubootflag"),
                                         "log 6 vorn setting precharge timer and counter ",
                                         "log 6 vorn setting precharge timer 420 and counter 5",
                                         std::string("write ") + TIMER + " a4010000",
                                         std::string("write ") + COUNTER + " 05000000",
                                         "record precharge_trackers_updated counter=5 timer_s=420",
                                         "log 6 vorn precharge event with uboot timer 120 and flag 0",
                                         event("fault_trip=0 precharge_timer_s=120 last_batt_volt_mv=4000 "
                                               "discharge_volt_mv=4000 discharge_rate_uv=8.4")));
    EXPECT_FALSE(get_prechargetimer_disable_flag());
    uboot_timer.put(bytes_of(1));
    EXPECT_EQ(0, start());
    EXPECT_EQ(bytes_of(421), timer.bytes) << "each start counts what it finds";
    EXPECT_EQ(1U, told.take("record precharge_event").size());
}

TEST_F(Precharge, StartsDamagedTotalsAgain) {
    uboot_timer.put(bytes_of(60));
    timer.put(bytes_of(-1));
    EXPECT_EQ(0, start());
    EXPECT_THAT(told.take("log 6 vorn precharge"),
                ElementsAre("log 6 vorn precharge timer returned -1 resetting to 0",
                            "log 6 vorn precharge counter returned 2147483647 resetting to 0",
                            "log 6 vorn precharge event with uboot timer 60 and flag 0"));
    EXPECT_EQ(bytes_of(60), timer.bytes);
    EXPECT_EQ(bytes_of(1), counter.bytes);

    // A total that passes its range turns negative, and the next one starts again.
    timer.put(bytes_of(INVALID_VALUE - 1));
    counter.put(bytes_of(INVALID_VALUE - 1));
    EXPECT_EQ(0, start());
    EXPECT_EQ(bytes_of(std::numeric_limits<std::int32_t>::min() + 58), timer.bytes);
    EXPECT_EQ(bytes_of(INVALID_VALUE), counter.bytes);
    EXPECT_EQ(0, start());
    EXPECT_EQ(bytes_of(60), timer.bytes);
    EXPECT_EQ(bytes_of(1), counter.bytes);
}

TEST_F(Precharge, ReportsTotalsThatCannotBeWritten) {
    uboot_timer.put(bytes_of(60));
    the_device().set_fault(counter, &file::open_fails);
    EXPECT_EQ(1, start());
    EXPECT_EQ(bytes_of(60), timer.bytes);
    EXPECT_THAT(told.take("log 6 vorn"),
                testing::IsSupersetOf({"log 6 vorn error while writing precharge counter, 1",
                                       "log 6 vorn precharge trackers did not update successfully",
                                       "log 6 vorn precharge event with uboot timer 60 and flag 0"}));
    the_device().clear_faults();
    the_device().set_fault(timer, &file::write_fails);
    EXPECT_EQ(1, start());
    EXPECT_FALSE(counter.exists) << "not tried after the timer has failed";
    EXPECT_THAT(told.take("log 6 vorn error"),
                ElementsAre("log 6 vorn error while writing precharge timer, 120"));
    the_device().clear_faults();
    EXPECT_EQ(0, start());
    EXPECT_EQ(bytes_of(120), timer.bytes);
    EXPECT_THAT(told.take("record precharge_trackers"),
                ElementsAre("record precharge_trackers_updated counter=1 timer_s=120"));
}

TEST_F(Precharge, AFaultRaisesTheFlagForGood) {
    uboot_flag.put("\x80");
    EXPECT_EQ(0, start());
    EXPECT_THAT(lines(), ElementsAre("log 6 vorn setting precharge timer and counter ",
                                     "log 6 vorn precharge error calculating offline time",
                                     "set persist.vendor.vorn.precharge_disable_charging.enabled=1",
                                     "record precharge_flag_raised flag=1",
                                     "log 6 vorn precharge event with uboot timer 0 and flag 1",
                                     event("fault_trip=1 precharge_timer_s=0 last_batt_volt_mv=3400 "
                                           "discharge_volt_mv=3400 discharge_rate_uv=8.4")));
    EXPECT_TRUE(get_prechargetimer_disable_flag());

    EXPECT_EQ(0, start());
    EXPECT_EQ(1U, told.take("record").size()) << "the event again, the flag not";
    uboot_flag.put(std::string(1, '\0'));
    EXPECT_EQ(0, start());
    EXPECT_TRUE(get_prechargetimer_disable_flag());
    property = "0";
    EXPECT_EQ(0, start());
    EXPECT_FALSE(get_prechargetimer_disable_flag()) << "the property decides at the start";
}

TEST_F(Precharge, EstimatesTheVoltageAfterTheTimeOff) {
    constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
    uboot_flag.put("1");
    property = "1";
    struct {
        std::int32_t last_uv;
        float hours, rate_uv;
        const char *says, *last_mv, *discharge_mv;
    } const cases[] = {
        {3400000, 100, 8.4F, "offline logged hours 100.00 for VT 3400", "3400", "3399"},
        {1000000, 200000, 8.4F, "offline logged hours 200000.00 for VT 1000", "1000", "0"},
        {-5000, 0.5F, 8.4F, "offline logged hours 0.50 for VT -5", "-5", "0"},
        // In single precision: 16777217 is 16777216 there.
        {16777217, 1, 1000, "offline logged hours 1.00 for VT 16777", "16777", "16776"},
        {INVALID_VALUE, 100, 8.4F, "offline nonexistent or invalid V 2147483647", "2147483", "2147483"},
        {3400000, INVALID_HOURS, 8.4F, "offline nonexistent or invalid V 3400000", "3400", "3400"},
        {3400000, 0, 8.4F, "error calculating offline time", "3400", "3400"},
        {3400000, -1, 8.4F, "error calculating offline time", "3400", "3400"},
        {3400000, NOT_A_NUMBER, 8.4F, "error calculating offline time", "3400", "3400"},
        {3400000, 100, 0, "UVP mode discharge rate is nonexistent or invalid 0.000000", "3400", "2147483"},
        {3400000, 100, INVALID_HOURS, "UVP mode discharge rate is nonexistent or invalid 2147483648.000000",
         "3400", "2147483"},
        {3400000, 100, NOT_A_NUMBER, "offline logged hours 100.00 for VT 3400", "3400", "0"},
    };
    for (const auto& c : cases) {
        off_hours = c.hours;
        start(c.last_uv, c.rate_uv);
        const auto all = lines();
        EXPECT_EQ(std::string("log 6 vorn precharge ") + c.says, all.at(1));
        EXPECT_THAT(all.back(), testing::HasSubstr(std::string("last_batt_volt_mv=") + c.last_mv +
                                                   " discharge_volt_mv=" + c.discharge_mv + " "));
    }
}

}  // namespace
