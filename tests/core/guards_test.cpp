// What each module does with arguments and answers that the daemon around it never gives: its last line of defence.

#include <cstdlib>
#include <gmock/gmock.h>
#include <limits>

#include "charge_mgr/charge_mgr.h"
#include "core/sensor_inputs.h"
#include "core/sys_properties.h"
#include "dyn_soc/dyn_soc.h"
#include "dyn_soc/internal.h"
#include "monitors/n_day_pulldown.h"
#include "monitors/short_detect.h"
#include "precharge/precharge.h"
#include "stress/stress_feature.h"
#include "stress/stress_trip.h"
#include "tests/support/effects.h"
#include "util/results.h"
#include "util/sensor_value.h"
#include "util/status.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using virtual_device::the_device;

std::int32_t accept(std::int32_t) {
    return 0;
}

TEST(Guards, TopOfChargeRefusesBadArguments) {
    test::start_charge_mgr();
    EXPECT_EQ(charge_mgr__register_perm_client_prop(0, accept), 0);
    EXPECT_EQ(charge_mgr__register_temp_client_prop(0, accept), 0);
    test::effects told;
    for (const std::int32_t id : {-1, 1, INVALID_VALUE}) {
        EXPECT_EQ(charge_mgr__set_temp_toc(1, id), 2);
        EXPECT_EQ(charge_mgr__register_perm_client_prop(id, accept), 2);
        EXPECT_EQ(charge_mgr__get_temp_toc_step(id), INVALID_VALUE);
        EXPECT_EQ(charge_mgr__get_perm_toc_step(id), INVALID_VALUE);
        const std::string number = std::to_string(id);
        EXPECT_THAT(
            told.take(),
            ElementsAre(
                "log 6 --- vorn CHG_MGR error: temp toc client ID out of bounds: id=" + number + " ---",
                "log 6 --- vorn CHG_MGR error: perm toc client ID out of bounds: id=" + number + " ---"));
    }
    EXPECT_EQ(charge_mgr__register_temp_client_prop(0, nullptr), 2);
    EXPECT_EQ(charge_mgr__register_temp_client_prop(1, nullptr), 2);
    EXPECT_THAT(told.take(), IsEmpty());
    EXPECT_EQ(charge_mgr__set_perm_toc(10, 0), 2);
    EXPECT_EQ(charge_mgr__set_perm_toc(255, 1), 2) << "the client comes before the step";
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 --- vorn CHG_MGR error: toc derating step out of bounds: id=10 ---",
                            "log 6 --- vorn CHG_MGR error: perm toc client ID out of bounds: id=1 ---"));
    EXPECT_EQ(charge_mgr__set_perm_toc(9, 0), 0);
    EXPECT_EQ(charge_mgr__get_top_of_charge_mv(), 4000);
    EXPECT_EQ(charge_mgr__get_bot_of_charge_mv(), 3400);
}

TEST(Guards, TopOfChargeTakesNoRequestWithoutAClientsProperty) {
    test::start_charge_mgr();
    test::effects told;
    EXPECT_EQ(charge_mgr__set_temp_toc(0, 0), 0) << "the present step is granted to anybody";
    EXPECT_THAT(told.take(), IsEmpty());
    EXPECT_EQ(charge_mgr__set_temp_toc(4, 0), 1);
    EXPECT_EQ(charge_mgr__get_temp_toc_step(0), 0);
    // A registration whose property cannot be set counts, and hands on the setter's result.
    EXPECT_EQ(charge_mgr__register_perm_client_prop(0, [](std::int32_t) { return -7; }), -7);
    EXPECT_THAT(told.take().back(),
                HasSubstr("Register perm client: Failed to initialize property step=0, perm_id=0"));
    EXPECT_EQ(charge_mgr__register_perm_client_prop(0, accept), 0);
    EXPECT_EQ(charge_mgr__set_perm_toc(5, 0), 0) << "the second registration replaces the setter";
    EXPECT_EQ(current_stress_trip(), 5);
    // The smaller step of another client changes nothing; what it changes is published again.
    EXPECT_EQ(charge_mgr__register_temp_client_prop(0, accept), 0);
    EXPECT_EQ(charge_mgr__set_temp_toc(2, 0), 0);
    EXPECT_EQ(charge_mgr__get_top_of_charge_mv(), 4200);
}

TEST(Guards, StressTripOnlyRisesAndIsRequestedAgainAfterARefusal) {
    for (const auto& [hours, step] : {std::pair{0U, 0}, {12000U, 0}, {12001U, 2}, {16450U, 2}, {16451U, 9}})
        EXPECT_EQ(stress_trip_step(hours), step) << hours;
    EXPECT_EQ(stress_trip_step(0xFFFFFFFFU), 9);
    test::start_charge_mgr();
    test::effects told;
    EXPECT_EQ(set_sys_stress_trip(12001, false), 1);
    EXPECT_EQ(current_stress_trip(), 0);
    EXPECT_EQ(charge_mgr__register_perm_client_prop(STRESS_TRIP_CLIENT, vorn_stress_property_set), 0);
    EXPECT_EQ(set_sys_stress_trip(16451, false), 0);
    told.take();
    EXPECT_EQ(set_sys_stress_trip(16450, true), 2);
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 vorn stress trip is 2 and was 9", "record stress_trip_refused"));
    EXPECT_EQ(push_vorn_data(10, INVALID_VALUE, 25000, 0, 0, 0, 0), RESULT_REFUSED);
    EXPECT_EQ(push_vorn_data(10, 4000, INVALID_VALUE, 0, 0, 0, 0), RESULT_REFUSED);
}

TEST(Guards, StressAsksTwiceForItsTable) {
    static int asked = 0;
    for (const auto& [failures, valid] : {std::pair{0, "1"}, {1, "1"}, {2, "0"}}) {
        asked = -failures;
        test::start_charge_mgr();
        test::effects told;
        EXPECT_EQ(stress_feature_init([](void*, std::int32_t) { return asked++ < 0 ? 1 : 0; },
                                      [](const void*, std::int32_t) { return 0; }, accept,
                                      [] { return 0.0F; }, 4000, 25000, 0),
                  0);
        EXPECT_THAT(told.take("record stress_start"),
                    ElementsAre(HasSubstr(std::string("table_valid=") + valid)));
    }
}

TEST(Guards, PrechargeTakesNoHoursAndRatesThatAreNone) {
    static float off_hours = 0;
    constexpr float NOT_A_NUMBER = std::numeric_limits<float>::quiet_NaN();
    the_device().at("/data/vendor/vorn/batt_precharge_ubootflag").put("1");
    const struct {
        std::int32_t last_uv;
        float hours, rate_uv;
        const char* says;
        const char* discharge_mv;
    } cases[] = {
        {1000000, 200000, 8.4F, "offline logged hours 200000.00 for VT 1000", "0"},
        {-5000, 0.5F, 8.4F, "offline logged hours 0.50 for VT -5", "0"},
        {16777217, 1, 1000, "offline logged hours 1.00 for VT 16777",
         "16776"},  // 16777216 in single precision
        {3400000, INVALID_HOURS, 8.4F, "offline nonexistent or invalid V 3400000", "3400"},
        {3400000, -1, 8.4F, "error calculating offline time", "3400"},
        {3400000, NOT_A_NUMBER, 8.4F, "error calculating offline time", "3400"},
        {3400000, 100, 0, "UVP mode discharge rate is nonexistent or invalid 0.000000", "2147483"},
        {3400000, 100, INVALID_HOURS, "UVP mode discharge rate is nonexistent or invalid", "2147483"},
        {3400000, 100, NOT_A_NUMBER, "offline logged hours 100.00 for VT 3400", "0"},
    };
    for (const auto& c : cases) {
        test::effects told;
        off_hours = c.hours;
        (void)precharge_feature_init({.property_get = [] { return true; },
                                      .property_set = [](bool) { return 0; },
                                      .counter_import = [] { return 0; },
                                      .counter_export = accept,
                                      .timer_import = [] { return 0; },
                                      .timer_export = accept,
                                      .uboot_flag_import = [] { return true; },
                                      .uboot_timer_import = [] { return 0; },
                                      .power_off_time = [] { return off_hours; }},
                                     c.rate_uv, c.last_uv);
        const auto lines = told.take();
        EXPECT_THAT(lines, testing::Contains(HasSubstr(c.says)));
        EXPECT_THAT(lines.back(), HasSubstr(std::string(" discharge_volt_mv=") + c.discharge_mv + " "));
    }
}

TEST(Guards, ShortDetectorDerivesItsThresholdsAndRefusesWhatWasNotRead) {
    test::start_charge_mgr();
    const auto thresholds = [](int cutoff, int dip, int resistance, int high, int low) {
        test::effects told;
        short_detect__init(static_cast<std::uint32_t>(cutoff), static_cast<std::uint32_t>(dip),
                           static_cast<std::uint32_t>(resistance), static_cast<std::uint32_t>(high),
                           static_cast<std::uint32_t>(low));
        const std::string line = told.take().at(0);
        return line.substr(line.find("v_dip"));
    };
    EXPECT_EQ(thresholds(2030, 3000, 90, 3000, 450), "v_dip_thresh=25, curr_dip_thresh=51, volt_cutoff=4360");
    EXPECT_EQ(thresholds(0, 6000, 100, 3000, 451), "v_dip_thresh=51, curr_dip_thresh=103, volt_cutoff=4297");
    EXPECT_EQ(thresholds(100000, 100000, 200, 1000, 1000),
              "v_dip_thresh=1000, curr_dip_thresh=1000, volt_cutoff=0");
    EXPECT_EQ(short_detect__update(10, STATUS_UNKNOWN, 4000, 100), 2);
    EXPECT_EQ(short_detect__update(10, STATUS_CHARGING, INVALID_VALUE, 100), 2);
    EXPECT_EQ(short_detect__update(10, STATUS_CHARGING, 4000, INVALID_VALUE), 2);
    EXPECT_EQ(short_detect__update(10, STATUS_CHARGING, 4000, 100), 0);
}

// A path at an address that held another one before was once taken for that.
TEST(Guards, ADeviceGoesByThePathAndNotByWhereItStands) {
    std::string path = "/data/vendor/vorn/a";
    char text[NODE_TEXT_SIZE] = {};
    for (const char name : {'a', 'b', 'a'}) {
        path.back() = name;
        the_device().at(path).put(std::string(1, name));
        EXPECT_EQ(read_sysfs_str(path.c_str(), text, NODE_TEXT_SIZE), 1);
        EXPECT_EQ(text[0], name);
    }
}

TEST(Guards, TextsAreTrimmedWithinTheirBoundsOnly) {
    char text[17] = "0123456789ABCDEF";
    EXPECT_EQ(remove_trailing_chars(text, 17), INVALID_VALUE);
    EXPECT_EQ(remove_trailing_chars(text, 0), INVALID_VALUE);
    EXPECT_EQ(remove_trailing_chars(nullptr, 16), INVALID_VALUE);
    EXPECT_STREQ(text, "0123456789ABCDEF");
    EXPECT_EQ(remove_trailing_chars(text, 16), 15);
    EXPECT_STREQ(text, "0123456789ABCDE");
    char ended[16] = "ATL\n";
    EXPECT_EQ(remove_trailing_chars(ended, 16), 3);
    EXPECT_STREQ(ended, "ATL");
    char none[16] = "\n\r";
    EXPECT_EQ(remove_trailing_chars(none, 16), 0);
    EXPECT_STREQ(none, "");
    char one[1] = {'x'};
    EXPECT_EQ(remove_trailing_chars(one, 1), 0);
    EXPECT_EQ(one[0], '\0');
}

// Numbers as the standard library reads them, and the low 32 bits of those.
TEST(Guards, PropertiesAreNumbersAsTheLibraryReadsThem) {
    test::effects told;
    auto& text = the_device().properties[TOC_PROPERTY];
    for (const char* each : {"4400",
                             "volts",
                             "",
                             "+7",
                             "+-7",
                             "- 8",
                             "-",
                             "-0",
                             " \t\n\v\f\r-8x",
                             "\xa0"
                             "9",
                             "0x10",
                             "1/2",
                             "1:2",
                             "\x0e"
                             "3",
                             "-4294967295",
                             "4294967296",
                             "9223372036854775807",
                             "-9223372036854775808",
                             "9223372036854775808",
                             "99999999999999999999x"}) {
        text = each;
        EXPECT_EQ(vorn_toc_property_get(), static_cast<std::int32_t>(std::strtoll(each, nullptr, 10)))
            << each;
    }
    EXPECT_THAT(told.take(), IsEmpty());
    text = "-99999999999999999999";  // limited to -2^63, whose low 32 bits are 0
    EXPECT_EQ(vorn_toc_property_get(), -98);
    EXPECT_THAT(told.take(), ElementsAre("log 6 --- vorn strtol error errno 34---"));
    EXPECT_EQ(vorn_precharge_property_set(false), 0);
    the_device().fail_property_set(PRECHARGE_PROPERTY, true);
    EXPECT_EQ(vorn_precharge_property_set(true), 1);
}

TEST(Guards, EstimatorNeedsABatteryAndAMakersName) {
    test::effects told;
    dyn_soc::keep_vendor("SIXTEEN LETTERS!");
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 --- vorn DYN_SOC error: unexpected cell vendor string len=16---"));
    dyn_soc::keep_vendor("");
    EXPECT_EQ(told.take().size(), 1U);
    dyn_soc::keep_vendor("X");
    dyn_soc::keep_vendor("FIFTEEN LETTERS");
    EXPECT_THAT(told.take(), IsEmpty());
    EXPECT_EQ(dyn_soc::next_display_soc(1, 42, STATUS_FULL), 43);
    EXPECT_EQ(dyn_soc::next_display_soc(-1, 42, STATUS_FULL), 0);
    EXPECT_EQ(dyn_soc::next_display_soc(0, INVALID_VALUE, STATUS_FULL), 0);
    EXPECT_EQ(dyn_soc::next_display_soc(1, INVALID_VALUE, STATUS_FULL), 100);
    EXPECT_EQ(dyn_soc::next_display_soc(0, 42, STATUS_CHARGING), 42);
    EXPECT_EQ(dyn_soc::next_display_soc(1, 42, 9), 42);
}

}  // namespace
