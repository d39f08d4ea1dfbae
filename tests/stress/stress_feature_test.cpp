#include "stress/stress_feature.h"

#include "charge_mgr/charge_mgr.h"
#include "core/sys_properties.h"
#include "stress/stress_trip.h"
#include "tests/stress/stress_fixture.h"
#include "util/sensor_value.h"

namespace {

using test::put_table;
using test::stress_file;
using test::table_now;
using test::with;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using virtual_device::file;
using virtual_device::the_device;

class StressFeature : public testing::Test {
  protected:
    StressFeature() {
        off_hours = {};
        questions = 0;
    }

    // Starts as the daemon does; the lines of the start are then in `lines`.
    std::int32_t start(std::int32_t voltage_mv = 3850, std::int32_t temperature_mc = 24000,
                       std::uint32_t mock_offset_h = 0, record_import_fn import_fn = vorn_stress_import) {
        test::start_charge_mgr();
        told.take();
        const std::int32_t result =
            stress_feature_init(import_fn, vorn_stress_export, vorn_stress_property_set, power_off_time,
                                voltage_mv, temperature_mc, mock_offset_h);
        lines = told.take();
        std::erase_if(lines, [](const std::string& line) {
            return line.find("CHG_MGR") != line.npos || line.find("vorn.toc=") != line.npos;
        });
        return result;
    }
    static std::int32_t push(std::uint64_t now_s, std::int32_t voltage_mv = 3850,
                             std::int32_t temperature_mc = 24000) {
        return push_vorn_data(now_s, voltage_mv, temperature_mc, INVALID_VALUE, INVALID_VALUE, INVALID_VALUE,
                              INVALID_VALUE);
    }
    // The results of the writes in these pushes.
    std::vector<std::string> writes_at(std::initializer_list<std::uint64_t> times_s) {
        for (const std::uint64_t time_s : times_s) push(time_s);
        return told.take("record stress_table_written");
    }

    test::effects told;
    std::vector<std::string> lines;
    static std::vector<float> off_hours;  // given in turn; then 0
    static std::size_t questions;         // how often they were asked for

  private:
    static float power_off_time() { return questions++ < off_hours.size() ? off_hours[questions - 1] : 0.0F; }
};
std::vector<float> StressFeature::off_hours;
std::size_t StressFeature::questions = 0;

// A table whose one entry gives so many stress hours and a half: an hour in that bucket weighs 36.335.
test::stress_image table_of(float stress_hours) {
    return with({}, 8, 10, (stress_hours + 0.5F) / 36.335064F);
}

TEST_F(StressFeature, FirstStartOfADevice) {
    EXPECT_EQ(start(), 0);
    const std::string missing = "log 6 --- vorn file open error errno file " + stress_file().path + " ---";
    EXPECT_THAT(
        lines,
        ElementsAre("set persist.vendor.vorn.batt_stress=4450", missing, missing,
                    "log 6 vorn stress offline nonexistent or invalid VT 3850 24000",
                    "log 6 vorn stress trip is 0 and was 0", "log 6 vorn setting stress trip to 0",
                    "record stress_offline_hours time=0.000000 init=1 retry=0 batt_volt=3850 batt_temp=24000",
                    "record stress_start table_valid=0 stress_hours=0 stress_trip=0 set_prop=0"));
    EXPECT_FALSE(stress_file().exists);
}

TEST_F(StressFeature, OfflineHoursAreCreditedAndWrittenAtOnce) {
    off_hours = {10.5F};
    put_table(with({}, 5, 4, 2.0F));
    the_device().set_fault(stress_file(), &file::write_fails);  // changes nothing
    start(3850, 24000, 0, [](void* buffer, std::int32_t size) {
        static int tried = 0;
        return ++tried % 2 == 0 ? vorn_stress_import(buffer, size) : 1;  // the second attempt succeeds
    });
    EXPECT_THAT(lines, Contains("log 6 vorn stress offline logged hours 10.50 for VT 3850 24000"));
    EXPECT_THAT(lines, Contains("write " + stress_file().path + " 396 bytes failed"));
    EXPECT_THAT(lines, Contains("record stress_offline_hours time=10.500000 init=1 retry=0 batt_volt=3850 "
                                "batt_temp=24000"));
    EXPECT_THAT(lines.back(), StartsWith("record stress_start table_valid=1 "));
    EXPECT_EQ(table_now(), with({}, 5, 4, 12.5F));
}

TEST_F(StressFeature, OfflineHoursWithoutASampleAreDropped) {
    off_hours = {10.5F, INVALID_HOURS};
    start(INVALID_VALUE, 24000);
    EXPECT_THAT(lines, Contains("log 6 vorn stress offline nonexistent or invalid VT 2147483647 24000"));
    start(3850, INVALID_VALUE);
    EXPECT_THAT(lines, Contains("record stress_offline_hours time=-1.000000 init=1 retry=0 batt_volt=3850 "
                                "batt_temp=2147483647"));
    EXPECT_THAT(table_now(), Each(0.0F));
}

// Decades in a drawer trip at once, though the table's file is lost; so do mock hours. A trip that is stored
// stays without either, and is published again, for the property is gone with the reboot.
TEST_F(StressFeature, TripsAtTheStart) {
    off_hours = {1000.0F};
    EXPECT_EQ(start(4420, 52500), 0);
    EXPECT_EQ(lines.back(), "record stress_start table_valid=0 stress_hours=36335 stress_trip=9 set_prop=0");
    EXPECT_THAT(lines, Contains("set persist.vendor.vorn.batt_stress=4000"));

    stress_file().remove();
    the_device().at("/mnt/vendor/nvcfg/vorn/toc_clients").remove();
    stress_table__add_hours(-1000.0F, 4420, 52500);
    start(3850, 24000, 20000);
    EXPECT_THAT(lines, Contains("log 6 vorn stress feature mock offset set to 20000 "));
    EXPECT_EQ(lines.back(), "record stress_start table_valid=0 stress_hours=20000 stress_trip=9 set_prop=0");

    the_device().at("/mnt/vendor/nvcfg/vorn/toc_clients").put("\x02");
    EXPECT_EQ(start(), 2);
    EXPECT_EQ(lines.back(), "record stress_start table_valid=0 stress_hours=0 stress_trip=2 set_prop=2");
    EXPECT_THAT(lines, Contains("set persist.vendor.vorn.batt_stress=4350"));
}

TEST_F(StressFeature, UnknownOfflineHoursAreAskedForAtEveryWriteUntilKnown) {
    off_hours = {INVALID_HOURS, INVALID_HOURS, -0.5F, 5.0F, 7.0F};
    start();
    EXPECT_THAT(lines, Contains("log 6 vorn stress error calculating offline time, retry on flush"));
    EXPECT_THAT(lines, Contains(StartsWith("record stress_offline_hours time=-1.000000 init=1 retry=1 ")));
    push(3601, 4300, 31000);
    push(7202, 4300, 31000);
    EXPECT_THAT(told.take(), Not(Contains(StartsWith("record stress_offline_hours"))));
    const test::stress_image before = table_now();
    push(7202, 4300, 31000);
    told.take();
    push(10803, 4300, 31000);
    EXPECT_THAT(
        told.take(),
        ElementsAre("log 6 vorn stress interp elaps 3601 periods 8.00 slopes 0 0",
                    "log 6 vorn stress offline retry logged hours 5.00 for VT 3850 24000",
                    "record stress_offline_hours time=5.000000 init=0 retry=0 batt_volt=3850 batt_temp=24000",
                    "write " + stress_file().path + " 396 bytes",
                    "record stress_table_written flush_status=0", "log 6 vorn stress local table flush 0"));
    EXPECT_EQ(table_now()[test::bucket_of(5, 4)], before[test::bucket_of(5, 4)] + 5.0F);
    push(14404, 4300, 31000);
    EXPECT_THAT(told.take("record"), ElementsAre("record stress_table_written flush_status=0"));
    EXPECT_EQ(questions, 5U);
}

TEST_F(StressFeature, RetryThatFindsNoHoursEndsWithoutCredit) {
    off_hours = {INVALID_HOURS, 0.0F, 9.0F};
    start();
    push(3601, 4300, 31000);
    push(7202, 4300, 31000);
    EXPECT_THAT(told.take("record stress_offline"),
                ElementsAre(StartsWith("record stress_offline_hours time=0.000000 init=0 retry=0 ")));
    EXPECT_EQ(table_now()[test::bucket_of(5, 4)], 0.0F);
}

TEST_F(StressFeature, WritesEveryHourCountedFromTheSampleThatWrote) {
    start();
    the_device().set_fault(stress_file(), &file::write_fails);
    EXPECT_THAT(writes_at({3600}), IsEmpty());
    EXPECT_THAT(writes_at({3605}), ElementsAre("record stress_table_written flush_status=1"));
    EXPECT_THAT(writes_at({7205}), IsEmpty());
    EXPECT_EQ(writes_at({7206}).size(), 1U);
    // The clock goes back: the first write is due after an hour of it again, not at 10806.
    EXPECT_THAT(writes_at({100, 3600}), IsEmpty());
    EXPECT_EQ(writes_at({3601}).size(), 1U);
}

TEST_F(StressFeature, UnreadSampleCreditsNothingButItsTimeCounts) {
    start();
    EXPECT_EQ(push(3590), 0);
    push(3601);  // writes; the next write is due after 7201
    const test::stress_image before = table_now();
    told.take();
    EXPECT_EQ(push(50, INVALID_VALUE), 2);  // back, unread: the schedule starts again
    EXPECT_EQ(push(9000, 3850, INVALID_VALUE), 2);
    EXPECT_THAT(told.take(), IsEmpty());
    EXPECT_EQ(table_now(), before);
    EXPECT_EQ(writes_at({9000}).size(), 1U);
}

TEST_F(StressFeature, EvaluatesAfter48HoursBehindTheWriteAndTrips) {
    put_table(table_of(12000.0F));  // 12000, and the hours of this run weigh next to nothing
    start();
    EXPECT_EQ(current_stress_trip(), 0);
    push(172800);
    told.take();
    put_table(table_of(12001.0F));
    (void)stress_table__import(vorn_stress_import);
    push(172801);
    EXPECT_THAT(told.take(),
                testing::IsSupersetOf({"record stress_evaluated stress_hours=12001 stress_trip=2 set_prop=0",
                                       "set persist.vendor.vorn.batt_stress=4350"}));
    // The next evaluation is due after 345601; here it finds the write due as well. The two days between
    // count for 0.6 stress hours.
    push(345601);
    EXPECT_THAT(told.take("record stress_evaluated"), IsEmpty());
    push(349202);
    EXPECT_THAT(told.take("log"),
                ElementsAre(StartsWith("log 6 vorn stress interp"), "log 6 vorn stress local table flush 0",
                            "log 6 vorn stress trip is 2 and was 2", "log 6 vorn stress calc hours 12002 0"));
    // The clock goes back: 48 hours of it again.
    push(100);
    push(172800);
    EXPECT_THAT(told.take("record stress_evaluated"), IsEmpty());
    push(172801);
    EXPECT_EQ(told.take("record stress_evaluated").size(), 1U);
}

TEST(StressTrip, LevelsAreStrictAndUnsigned) {
    for (const auto& [hours, step] : {std::pair{0U, 0}, {12000U, 0}, {12001U, 2}, {16450U, 2}, {16451U, 9}})
        EXPECT_EQ(stress_trip_step(hours), step) << hours;
    EXPECT_EQ(stress_trip_step(0xFFFFFFFFU), 9);
}

TEST(StressTrip, OnlyRisesAndIsRequestedAgainAfterARefusal) {
    test::start_charge_mgr();
    test::effects told;
    // Not registered: refused by the manager, every time.
    EXPECT_EQ(set_sys_stress_trip(12001, false), 1);
    EXPECT_EQ(current_stress_trip(), 0);
    (void)charge_mgr__register_perm_client_prop(STRESS_TRIP_CLIENT, vorn_stress_property_set);
    the_device().fail_property_set(STRESS_PROPERTY, true);
    EXPECT_EQ(set_sys_stress_trip(12001, false), 1);
    the_device().fail_property_set(STRESS_PROPERTY, false);
    EXPECT_EQ(set_sys_stress_trip(12001, false), 0);
    EXPECT_EQ(current_stress_trip(), 2);
    told.take();
    // In force already: nothing to do, unless forced, and then the manager has nothing to do.
    EXPECT_EQ(set_sys_stress_trip(16450, false), 0);
    EXPECT_THAT(told.take(), ElementsAre("log 6 vorn stress trip is 2 and was 2"));
    EXPECT_EQ(set_sys_stress_trip(16450, true), 0);
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 vorn stress trip is 2 and was 2", "log 6 vorn setting stress trip to 2"));

    EXPECT_EQ(set_sys_stress_trip(16451, false), 0);
    EXPECT_THAT(told.take(), Contains("log 6 vorn setting stress trip to 9"));
    EXPECT_EQ(set_sys_stress_trip(16450, true), 2);
    EXPECT_THAT(told.take(),
                ElementsAre("log 6 vorn stress trip is 2 and was 9", "record stress_trip_refused"));
    EXPECT_EQ(current_stress_trip(), 9);
}

}  // namespace
