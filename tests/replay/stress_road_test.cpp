// The road of a stress trip: two days of use cross a threshold, the charge voltage is lowered for good, the
// device reboots at the next 02:00 of its local time and comes back with the trip in force.

#include <gmock/gmock.h>

#include "tests/support/replay.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr char STRESS_FILE[] = "/mnt/vendor/nvcfg/vorn/batt_stress";
constexpr char CLIENTS_FILE[] = "/mnt/vendor/nvcfg/vorn/toc_clients";
constexpr std::int64_t EVALUATION_S = 173400;  // the first sample after 48 hours, at one every 10 minutes
constexpr std::int64_t SUMMER_AFTERNOON_S = 1780322400;  // 2026-06-01 14:00 UTC
constexpr std::int64_t HALF_A_DAY_S = 12 * 3600;

struct trip {
    float hours_above_50c;   // at more than 4400 mV, where the histogram stands before; an hour weighs 36.335
    int hours_before;        // what that gives
    int hours_after;         // and with 48.17 h at 4420 mV and 28 °C, an hour weighing 1.4245
    int step_before;         // in force before
    int step_after;          // and after the evaluation
    std::string voltage_mv;  // of step_after
};
// Worked out as in tests/stress/: every sum in single precision, from the 60-digit factors.
const trip FIRST_TRIP = {328.75F, 11945, 12013, 0, 2, "4350"};
const trip SECOND_TRIP = {451.25F, 16396, 16464, 2, 9, "4000"};

// A warm, full, unplugged phone: two days, the evaluation, the moments around the reboot, two cycles after it.
test::replay_result replay_trip(const trip& expected, const char* time_zone, std::int64_t evaluation_at_s,
                                std::int64_t reboot_in_s) {
    float table[99] = {};
    table[8 * 11 + 10] = expected.hours_above_50c;
    lab::device_image before;
    before.files = {{STRESS_FILE, {reinterpret_cast<const char*>(table), sizeof table}},
                    {CLIENTS_FILE, std::string(1, static_cast<char>(expected.step_before))}};
    before.properties = {
        {"persist.vendor.vorn.batt_stress", std::to_string(4450 - 50 * expected.step_before)}};
    const std::int64_t start_s = evaluation_at_s - EVALUATION_S;
    test::trace_rows rows;
    rows.row({{"realtime_s", std::to_string(start_s)}, {"voltage_now", "4420000"}, {"temp", "280"}});
    rows.rows(EVALUATION_S / 600, 600, {{"realtime_s", ""}});
    rows.rows(1, reboot_in_s - 1).rows(1, 1).row();
    rows.next_boot({{"realtime_s", std::to_string(evaluation_at_s + reboot_in_s + 60)}}).row();
    return test::replay(rows, {before, time_zone, {}});
}

void expect_trip(const trip& expected, const char* time_zone, std::int64_t evaluation_at_s,
                 std::int64_t reboot_in_s) {
    const test::replay_result result = replay_trip(expected, time_zone, evaluation_at_s, reboot_in_s);
    const std::string evaluation = std::to_string(EVALUATION_S);
    const std::string reboot = std::to_string(EVALUATION_S + reboot_in_s);
    const auto numbers = [](int hours, int step) {
        return "stress_hours=" + std::to_string(hours) + " stress_trip=" + std::to_string(step) +
               " set_prop=0";
    };
    EXPECT_THAT(
        result.story({"stress_start", "stress_evaluated", "batt_stress=", "Scheduled reboot", "powerctl"}),
        ElementsAre("0 batt_stress=" + std::to_string(4450 - 50 * expected.step_before),
                    "0 stress_start table_valid=1 " + numbers(expected.hours_before, expected.step_before),
                    evaluation + " batt_stress=" + expected.voltage_mv,
                    evaluation + " stress_evaluated " + numbers(expected.hours_after, expected.step_after),
                    evaluation + " --- vorn Scheduled reboot at " + reboot + " sec, now=" + evaluation,
                    reboot + " sys.powerctl=reboot",
                    std::to_string(EVALUATION_S + reboot_in_s + 10) + " sys.powerctl=reboot",
                    // In force after the restart, and no reason for another reboot.
                    "2:0 batt_stress=" + expected.voltage_mv,
                    HasSubstr(" stress_trip=" + std::to_string(expected.step_after) + " ")));
    EXPECT_EQ(result.image.files.at(CLIENTS_FILE), std::string(1, static_cast<char>(expected.step_after)));
    EXPECT_EQ(result.image.properties.at("persist.vendor.vorn.batt_stress"), expected.voltage_mv);
    EXPECT_EQ(result.image.properties.at("persist.vendor.vorn.toc"), expected.voltage_mv);
}

TEST(StressRoad, EachTripLowersTheVoltageAndRebootsAtTwoInTheMorning) {
    expect_trip(FIRST_TRIP, "UTC0", SUMMER_AFTERNOON_S, HALF_A_DAY_S);
    expect_trip(SECOND_TRIP, "UTC0", SUMMER_AFTERNOON_S, HALF_A_DAY_S);
}

TEST(StressRoad, RebootsInTheNightsTheClockChanges) {
    // 02:00 does not come: the clock goes from 01:59:59 to 03:00:00, and the reboot is due as it does.
    // 2026-03-28 14:00 CET
    expect_trip(FIRST_TRIP, "CET-1CEST,M3.5.0,M10.5.0/3", 1774702800, HALF_A_DAY_S);
    // 02:00 EDT is 01:00 EST: the reboot is due as the clock goes back. 2026-10-31 20:00 EDT
    expect_trip(FIRST_TRIP, "EST5EDT,M3.2.0,M11.1.0", 1793491200, 6 * 3600);
}

// The histogram is lost: what is left, the 9.54 h since the device was last seen, at a weight of 1.4245, calls
// for no trip. It stays all the same.
TEST(StressRoad, TripOutlivesItsHistogram) {
    test::replay_options later;
    later.start = replay_trip(SECOND_TRIP, "UTC0", SUMMER_AFTERNOON_S, HALF_A_DAY_S).image;
    later.start.files.erase(STRESS_FILE);
    test::trace_rows rows;
    rows.row({{"realtime_s", "1780400000"}, {"voltage_now", "4420000"}, {"temp", "280"}});
    const test::replay_result result = test::replay(rows, later);
    EXPECT_THAT(result.story({"stress_start", "stress init error", "Scheduled reboot"}),
                ElementsAre("0 stress_start table_valid=0 stress_hours=13 stress_trip=9 set_prop=2",
                            "0 --- vorn stress init error 2"));
    EXPECT_EQ(result.image.properties.at("persist.vendor.vorn.toc"), "4000");
}

}  // namespace
