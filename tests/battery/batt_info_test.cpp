#include "battery/batt_info.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <regex>

#include "battery/vendor_table.h"
#include "tests/support/effects.h"

namespace {

using lines = std::vector<std::string>;

// The curve points of the program, in the order of the generator's source text.
TEST(BattInfo, CurvesAreWhatTheGeneratorMakes) {
    FILE* const made = ::popen("python3 " VORN_SOURCE_DIR "/tools/make_curves.py", "r");
    std::string text;
    for (int letter; (letter = std::fgetc(made)) != EOF;) text += static_cast<char>(letter);
    EXPECT_EQ(::pclose(made), 0);
    std::vector<int> expected;
    const std::regex point("\\b[0-9]{5}\\b");
    for (std::sregex_iterator each(text.begin(), text.end(), point), end; each != end; ++each)
        expected.push_back(std::stoi(each->str()));
    std::vector<int> found;
    for (const batt_info* record : batt_info_vendor_table) {
        for (const auto& points : record->ocv_curves)
            found.insert(found.end(), std::begin(points), std::end(points));
    }
    EXPECT_EQ(found, expected);
}

// What a curve is for: known voltages, and a slope that does not jump where the calibration points are.
TEST(BattInfo, CurvesKeepTheirPointsAndHaveNoKinks) {
    const auto& curve = batt_LWN.ocv_curves[2];  // 10 °C
    EXPECT_EQ(curve[0], 44116);
    EXPECT_EQ(curve[50], 38670);
    EXPECT_EQ(curve[95], 35793);
    EXPECT_EQ(curve[99], 30578);
    for (const batt_info* record : batt_info_vendor_table) {
        EXPECT_TRUE(is_batt_info_valid(record)) << record->vendor;
        for (const auto& points : record->ocv_curves) {
            for (int i = 1; i < 90; ++i) {  // beyond, the voltage collapses
                const int bend = points[i + 1] - 2 * points[i] + points[i - 1];
                EXPECT_LE(std::abs(bend), 60) << record->vendor << " " << points[0] << " at " << i;
            }
        }
    }
}

TEST(BattInfo, JudgesARecord) {
    EXPECT_FALSE(is_batt_info_valid(nullptr));
    const auto is_valid_with = [](auto change) {
        batt_info record = batt_ATL;
        change(record);
        return is_batt_info_valid(&record);
    };
    EXPECT_FALSE(is_valid_with([](auto& r) { r.ocv_curves[0][1] = r.ocv_curves[0][0]; }));
    EXPECT_FALSE(is_valid_with([](auto& r) { r.ocv_curves[4][99] = r.ocv_curves[4][98]; }));
    EXPECT_FALSE(is_valid_with([](auto& r) { r.temps[4] = r.temps[3]; }));
    EXPECT_TRUE(is_valid_with([](auto& r) { r.ocv_curves[3][99] = -1; }));  // only the coldest has a limit
    EXPECT_FALSE(is_valid_with([](auto& r) { r.ocv_curves[4][99] = 25000; }));
    EXPECT_TRUE(is_valid_with([](auto& r) { r.ocv_curves[4][99] = 25001; }));
    const auto with_all_above = [](batt_info& r, int last) {
        for (int i = 0; i < BATT_CURVE_POINTS; ++i) r.ocv_curves[4][i] = last + 99 - i;
    };
    EXPECT_TRUE(is_valid_with([&](auto& r) { with_all_above(r, 49999); }));
    EXPECT_FALSE(is_valid_with([&](auto& r) { with_all_above(r, 50000); }));
}

TEST(BattInfo, ChoosesTheNamedVendorOrSubstitutes) {
    test::effects effects;
    EXPECT_EQ(batt_info__init("LWN"), 0);
    EXPECT_EQ(batt_info__get(), &batt_LWN);
    EXPECT_EQ(effects.take(), (lines{"log 6 --- vorn Loading battery params for vendor \"LWN\" ---"}));
    for (const std::string name : {"atl", "ATL ", "UNKNOWN", ""}) {
        EXPECT_EQ(batt_info__init(name.c_str()), 0);
        EXPECT_EQ(batt_info__get(), &batt_ATL);
        EXPECT_EQ(effects.take(),
                  (lines{"log 6 --- vorn Error: No battery params found for vendor \"" + name + "\" ---",
                         "log 6 --- vorn Substituting battery params with vendor \"ATL\" ---"}));
    }
}

TEST(BattInfo, PassesOverInvalidRecords) {
    test::effects effects;
    batt_info broken_atl = batt_ATL;
    batt_info broken_lwn = batt_LWN;
    broken_atl.temps[0] = broken_lwn.temps[0] = 25;
    const std::string invalid = "log 6 --- vorn Error: Invalid battery params for vendor ";

    batt_vendor_table first_broken = {&broken_atl, &batt_LWN};
    EXPECT_EQ(choose_batt_info(first_broken, "ATL"), &batt_LWN);
    EXPECT_EQ(effects.take(),
              (lines{invalid + "\"ATL\"! ---",
                     "log 6 --- vorn Error: Battery params for vendor \"ATL\" are invalid! ---",
                     "log 6 --- vorn Substituting battery params with vendor \"LWN\" ---"}));
    batt_vendor_table second_broken = {&batt_ATL, &broken_lwn};
    EXPECT_EQ(choose_batt_info(second_broken, "ATL"), &batt_ATL);
    EXPECT_EQ(effects.take(), (lines{invalid + "\"LWN\"! ---",
                                     "log 6 --- vorn Loading battery params for vendor \"ATL\" ---"}));
    batt_vendor_table both_broken = {&broken_atl, &broken_lwn};
    EXPECT_EQ(choose_batt_info(both_broken, "ATL"), nullptr);
    EXPECT_EQ(effects.take(), (lines{invalid + "\"ATL\"! ---", invalid + "\"LWN\"! ---",
                                     "log 6 --- vorn FATAL ERROR: No valid battery params found! ---"}));
}

}  // namespace
