#include "stress/stress_feature.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "stress/stress_trip.h"
#include "tests/stress/stress_fixture.h"
#include "util/sensor_value.h"

namespace {

using test::around;
using test::table_now;
using test::with;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

// Starts as the daemon does and gives the result and the lines of the start.
struct started {
    std::int32_t result;
    std::vector<std::string> lines;
};
started start(std::int32_t voltage_mv, std::int32_t temperature_mc, std::uint32_t mock_offset_h = 0) {
    test::start_charge_mgr();
    test::effects effects;
    const std::int32_t result =
        stress_feature_init(test::import_table, test::export_table, test::publish_stress_mv,
                            test::power_off_time, voltage_mv, temperature_mc, mock_offset_h);
    std::vector<std::string> lines = effects.take();
    std::erase_if(lines, [](const std::string& line) { return line.find("CHG_MGR") != std::string::npos; });
    return {result, lines};
}

std::int32_t push(std::uint64_t now_s, std::int32_t voltage_mv = 3850, std::int32_t temperature_mc = 24000) {
    return push_vorn_data(now_s, voltage_mv, temperature_mc, INVALID_VALUE, INVALID_VALUE, INVALID_VALUE,
                          INVALID_VALUE);
}

// A table whose one entry gives so many stress hours and a half: an hour in that bucket weighs 36.335.
test::stress_image table_of(float stress_hours) {
    return with({}, 8, 10, (stress_hours + 0.5F) / 36.335064F);
}

TEST(StressFeature, FirstStartOfADevice) {
    around.failing_imports = 2;
    const started first = start(3850, 24000);
    EXPECT_EQ(first.result, 0);
    EXPECT_EQ(around.imports, 2);
    EXPECT_THAT(first.lines,
                ElementsAre("log 6 vorn stress offline nonexistent or invalid VT 3850 24000",
                            "log 6 vorn stress trip is 0 and was 0", "log 6 vorn setting stress trip to 0",
                            "record stress_offline_hours time=0.000000;FL,init=1;IN,retry=0;IN,"
                            "batt_volt=3850;IN,batt_temp=24000;IN,ver=12;SY",
                            "record stress_start table_valid=0;IN,stress_hours=0;IN,stress_trip=0;IN,"
                            "set_prop=0;IN,ver=12;SY"));
    EXPECT_THAT(around.published_mv, ElementsAre(4450));
    EXPECT_EQ(around.exports, 0);
}

TEST(StressFeature, OfflineHoursAreCreditedAndWrittenAtOnce) {
    around.power_off_hours = {10.5F};
    around.failing_imports = 1;  // the second attempt succeeds
    around.file = with({}, 5, 4, 2.0F);
    around.export_result = 1;  // a failed write changes nothing
    const started first = start(3850, 24000);
    EXPECT_EQ(first.lines[0], "log 6 vorn stress offline logged hours 10.50 for VT 3850 24000");
    EXPECT_THAT(first.lines, Contains(StartsWith("record stress_offline_hours time=10.500000;FL,init=1;IN,"
                                                 "retry=0;IN,")));
    EXPECT_THAT(first.lines, Contains(StartsWith("record stress_start table_valid=1;IN,")));
    EXPECT_EQ(around.exports, 1);
    EXPECT_EQ(table_now(), with({}, 5, 4, 12.5F));
}

// Decades in a drawer trip at once, though the table's file is lost.
TEST(StressFeature, OfflineHoursAloneCanTrip) {
    around.failing_imports = 2;
    around.power_off_hours = {1000.0F};
    const started first = start(4420, 52500);
    EXPECT_EQ(first.result, 0);
    EXPECT_THAT(first.lines, Contains("record stress_start table_valid=0;IN,stress_hours=36335;IN,"
                                      "stress_trip=9;IN,set_prop=0;IN,ver=12;SY"));
    EXPECT_THAT(around.published_mv, ElementsAre(4450, 4000));
}

TEST(StressFeature, OfflineHoursWithoutASampleAreDropped) {
    around.power_off_hours = {10.5F, INVALID_HOURS};
    EXPECT_EQ(start(INVALID_VALUE, 24000).lines[0],
              "log 6 vorn stress offline nonexistent or invalid VT 2147483647 24000");
    EXPECT_THAT(
        start(3850, INVALID_VALUE).lines,
        Contains("record stress_offline_hours time=-1.000000;FL,init=1;IN,retry=0;IN,batt_volt=3850;IN,"
                 "batt_temp=2147483647;IN,ver=12;SY"));
    EXPECT_THAT(table_now(), Each(0.0F));
}

TEST(StressFeature, UnknownOfflineHoursAreAskedForAtEveryWriteUntilKnown) {
    around.power_off_hours = {INVALID_HOURS, INVALID_HOURS, -0.5F, 5.0F, 7.0F};
    const started first = start(3850, 24000);
    EXPECT_EQ(first.lines[0], "log 6 vorn stress error calculating offline time, retry on flush");
    EXPECT_THAT(first.lines, Contains(StartsWith("record stress_offline_hours time=-1.000000;FL,init=1;IN,"
                                                 "retry=1;IN,")));
    test::effects effects;
    push(3601, 4300, 31000);
    push(7202, 4300, 31000);
    EXPECT_THAT(effects.take(), Not(Contains(StartsWith("record stress_offline_hours"))));
    const test::stress_image before = table_now();
    push(7202, 4300, 31000);
    effects.take();
    push(10803, 4300, 31000);
    EXPECT_THAT(effects.take(),
                ElementsAre("log 6 vorn stress interp elaps 3601 periods 8.00 slopes 0 0",
                            "log 6 vorn stress offline retry logged hours 5.00 for VT 3850 24000",
                            "record stress_offline_hours time=5.000000;FL,init=0;IN,retry=0;IN,"
                            "batt_volt=3850;IN,batt_temp=24000;IN,ver=12;SY",
                            "record stress_table_written flush_status=0;IN,ver=12;SY",
                            "log 6 vorn stress local table flush 0"));
    EXPECT_EQ(table_now()[test::bucket_of(5, 4)], before[test::bucket_of(5, 4)] + 5.0F);
    push(14404, 4300, 31000);
    EXPECT_THAT(effects.take("record"),
                ElementsAre("record stress_table_written flush_status=0;IN,ver=12;SY"));
    EXPECT_EQ(around.power_off_calls, 5U);
}

TEST(StressFeature, RetryThatFindsNoHoursEndsWithoutCredit) {
    around.power_off_hours = {INVALID_HOURS, 0.0F, 9.0F};
    start(3850, 24000);
    test::effects effects;
    push(3601, 4300, 31000);
    push(7202, 4300, 31000);
    EXPECT_THAT(
        effects.take("record stress_offline"),
        ElementsAre(StartsWith("record stress_offline_hours time=0.000000;FL,init=0;IN,retry=0;IN,")));
    EXPECT_EQ(table_now()[test::bucket_of(5, 4)], 0.0F);
}

TEST(StressFeature, MockOffsetTripsAnEmptyTable) {
    around.failing_imports = 2;
    const started first = start(3850, 24000, 20000);
    EXPECT_EQ(first.lines[0], "log 6 vorn stress feature mock offset set to 20000 ");
    EXPECT_THAT(first.lines, Contains("record stress_start table_valid=0;IN,stress_hours=20000;IN,"
                                      "stress_trip=9;IN,set_prop=0;IN,ver=12;SY"));
}

TEST(StressFeature, StoredTripOutlivesALostTable) {
    around.stored_step = 2;
    around.failing_imports = 2;
    const started first = start(3850, 24000);
    EXPECT_EQ(first.result, 2);
    EXPECT_THAT(first.lines,
                Contains("record stress_start table_valid=0;IN,stress_hours=0;IN,stress_trip=2;IN,"
                         "set_prop=2;IN,ver=12;SY"));
    EXPECT_THAT(around.published_mv, ElementsAre(4350));  // again, for the property is gone with the reboot
}

TEST(StressFeature, ShortFileFillsTheFirstEntries) {
    around.file.fill(1.0F);
    around.file_bytes = 6;  // one entry and half of the next
    start(3850, 24000);
    const test::stress_image table = table_now();
    EXPECT_EQ(table[0], 1.0F);
    EXPECT_LT(table[1], 1e-40F);  // the low half of 1.0 is all zero bits
    EXPECT_EQ(table[2], 0.0F);
}

TEST(StressFeature, WritesEveryHourCountedFromTheSampleThatWrote) {
    start(3850, 24000);
    test::effects effects;
    const auto writes = [&effects] { return effects.take("record stress_table_written"); };
    push(3600);
    EXPECT_THAT(writes(), IsEmpty());
    around.export_result = 1;
    push(3605);
    EXPECT_THAT(writes(), ElementsAre("record stress_table_written flush_status=1;IN,ver=12;SY"));
    push(7205);
    EXPECT_THAT(writes(), IsEmpty());
    push(7206);
    EXPECT_EQ(writes().size(), 1U);

    // The clock goes back: the first write is due after an hour of it again, not at 10806.
    push(100);
    push(3600);
    EXPECT_THAT(writes(), IsEmpty());
    push(3601);
    EXPECT_EQ(writes().size(), 1U);
}

TEST(StressFeature, UnreadSampleCreditsNothingButItsTimeCounts) {
    start(3850, 24000);
    EXPECT_EQ(push(3590), 0);
    push(3601);  // writes; the next write is due after 7201
    const test::stress_image before = table_now();
    test::effects effects;
    EXPECT_EQ(push(50, INVALID_VALUE), 2);  // back, unread: the schedule starts again
    EXPECT_EQ(push(9000, 3850, INVALID_VALUE), 2);
    EXPECT_THAT(effects.take(), IsEmpty());
    EXPECT_EQ(table_now(), before);
    EXPECT_EQ(push(9000), 0);
    EXPECT_THAT(effects.take("record"), ElementsAre(StartsWith("record stress_table_written")));
}

TEST(StressFeature, EvaluatesAfter48HoursBehindTheWriteAndTrips) {
    around.file = table_of(12000.0F);  // 12000, and the hours of this run weigh next to nothing
    start(3850, 24000);
    EXPECT_EQ(current_stress_trip(), 0);
    push(172800);
    test::effects effects;
    around.file = table_of(12001.0F);
    stress_table__import(test::import_table);
    push(172801);
    EXPECT_THAT(effects.take(), Contains("record stress_evaluated stress_hours=12001;IN,stress_trip=2;IN,"
                                         "set_prop=0;IN,ver=12;SY"));
    EXPECT_THAT(around.published_mv, ElementsAre(4450, 4350));

    // The next evaluation is due after 345601; here it finds the write due as well. The two days between
    // count for 0.6 stress hours.
    push(345601);
    EXPECT_THAT(effects.take("record stress_evaluated"), IsEmpty());
    push(349202);
    const std::vector<std::string> last = effects.take();
    EXPECT_THAT(last, Contains("log 6 vorn stress trip is 2 and was 2"));
    EXPECT_LT(std::find(last.begin(), last.end(), "log 6 vorn stress local table flush 0"),
              std::find(last.begin(), last.end(), "log 6 vorn stress trip is 2 and was 2"));
    EXPECT_THAT(last, Contains("log 6 vorn stress calc hours 12002 0"));

    // The clock goes back: 48 hours of it again.
    push(100);
    push(172800);
    EXPECT_THAT(effects.take("record stress_evaluated"), IsEmpty());
    push(172801);
    EXPECT_EQ(effects.take("record stress_evaluated").size(), 1U);
}

}  // namespace
