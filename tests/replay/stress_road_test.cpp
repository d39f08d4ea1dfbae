// The road of a stress trip: two days of use cross a threshold, the charge voltage is lowered for good, the
// device reboots at the next 02:00 of its local time and comes back with the trip in force.

#include <cstdlib>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "lab/session.h"
#include "lab/trace_course.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char STRESS_FILE[] = "/mnt/vendor/nvcfg/vorn/batt_stress";
constexpr char CLIENTS_FILE[] = "/mnt/vendor/nvcfg/vorn/toc_clients";
constexpr std::int64_t EVALUATION_S = 173400;  // the first sample after 48 hours, at one every 10 minutes

struct trip {
    float hours_above_50c;   // at more than 4400 mV, where the histogram stands before; an hour weighs 36.335
    int hours_before;        // what that gives
    int hours_after;         // and with 48.17 h at 4420 mV and 28 °C, an hour weighing 1.4245
    int step_before;         // in force before
    int step_after;          // and after the evaluation
    const char* voltage_mv;  // of step_after
};
// Worked out as in tests/stress/: every sum in single precision, from the 60-digit factors.
constexpr trip FIRST_TRIP = {328.75F, 11945, 12013, 0, 2, "4350"};
constexpr trip SECOND_TRIP = {451.25F, 16396, 16464, 2, 9, "4000"};

lab::device_image device_before(const trip& expected) {
    float table[99] = {};
    table[8 * 11 + 10] = expected.hours_above_50c;
    lab::device_image image;
    image.files[STRESS_FILE].assign(reinterpret_cast<const char*>(table), sizeof table);
    image.files[CLIENTS_FILE] = static_cast<char>(expected.step_before);
    image.properties["persist.vendor.vorn.batt_stress"] = std::to_string(4450 - 50 * expected.step_before);
    return image;
}

// Rows of a warm, full, unplugged phone.
class trace {
  public:
    void add(int boot, std::int64_t elapsed_s, const std::string& wall_clock_s = {}) {
        text_ += std::to_string(boot) + "," + std::to_string(elapsed_s) + "," + wall_clock_s +
                 ",4420000,280,95,-300000,Discharging\n";
    }
    // Two days, the evaluation, the moments around the reboot, and two cycles after it.
    static trace of_trip(std::int64_t start_s, std::int64_t reboot_in_s) {
        trace rows;
        rows.add(1, 0, std::to_string(start_s));
        for (std::int64_t at_s = 600; at_s <= EVALUATION_S; at_s += 600) rows.add(1, at_s);
        for (const int around_s : {-1, 0, 10}) rows.add(1, EVALUATION_S + reboot_in_s + around_s);
        rows.add(2, 0, std::to_string(start_s + EVALUATION_S + reboot_in_s + 60));
        rows.add(2, 10);
        return rows;
    }
    const std::string& text() const { return text_; }

  private:
    std::string text_ = "boot,elapsed_s,realtime_s,voltage_now,temp,capacity,current_now,status\n";
};

struct recorder : lab::listener {
    void on_event(const lab::event& what) override { events.push_back(what); }

    // "boot:elapsed" of each event whose text or name holds `part`.
    std::vector<std::string> times_of(const std::string& part) const {
        std::vector<std::string> times;
        for (const lab::event& event : events) {
            if ((event.name + "=" + event.text).find(part) == std::string::npos) continue;
            times.push_back(std::to_string(event.boot) + ":" + std::to_string(event.elapsed_s));
        }
        return times;
    }
    std::vector<lab::event> events;
};

recorder replay(const trace& rows, lab::device_image& image, const char* time_zone) {
    ::setenv("TZ", time_zone, 1);
    ::tzset();
    lab::trace_course course(lab::trace_reader(lab::input_file::from_text(rows.text(), "trace"), {},
                                               [](const std::string& line) { ADD_FAILURE() << line; }));
    recorder heard;
    lab::run_session(course, image, {&heard});
    return heard;
}

void expect_trip(const trip& expected, const char* time_zone, std::int64_t evaluation_at_s,
                 std::int64_t reboot_in_s) {
    lab::device_image image = device_before(expected);
    const recorder heard =
        replay(trace::of_trip(evaluation_at_s - EVALUATION_S, reboot_in_s), image, time_zone);
    const auto time = [](int boot, std::int64_t elapsed_s) {
        return std::to_string(boot) + ":" + std::to_string(elapsed_s);
    };
    const auto numbers = [](int hours, int step) {
        return "stress_hours=" + std::to_string(hours) + ";IN,stress_trip=" + std::to_string(step) +
               ";IN,set_prop=0;";
    };
    EXPECT_THAT(heard.times_of("table_valid=1;IN," + numbers(expected.hours_before, expected.step_before)),
                ElementsAre("1:0"));
    EXPECT_THAT(heard.times_of("," + numbers(expected.hours_after, expected.step_after)),
                Contains(time(1, EVALUATION_S)));

    const std::string voltage = expected.voltage_mv;
    EXPECT_THAT(heard.times_of("persist.vendor.vorn.batt_stress=" + voltage),
                ElementsAre(time(1, EVALUATION_S), "2:0"));
    EXPECT_THAT(heard.times_of("Scheduled reboot at " + std::to_string(EVALUATION_S + reboot_in_s) + " sec"),
                ElementsAre(time(1, EVALUATION_S)));
    EXPECT_THAT(heard.times_of("sys.powerctl=reboot"),
                ElementsAre(time(1, EVALUATION_S + reboot_in_s), time(1, EVALUATION_S + reboot_in_s + 10)));
    // After the restart: in force, and no reason for another reboot.
    EXPECT_THAT(heard.times_of("Scheduled reboot"), ElementsAre(time(1, EVALUATION_S)));
    EXPECT_THAT(heard.times_of("stress_trip=" + std::to_string(expected.step_after) + ";"), Contains("2:0"));

    EXPECT_EQ(image.files[CLIENTS_FILE], std::string(1, static_cast<char>(expected.step_after)));
    EXPECT_EQ(image.properties["persist.vendor.vorn.batt_stress"], voltage);
    EXPECT_EQ(image.properties["persist.vendor.vorn.toc"], voltage);
}

TEST(StressRoad, FirstTripRebootsAtTwoInTheMorning) {
    // 2026-06-01 14:00 UTC
    expect_trip(FIRST_TRIP, "UTC0", 1780322400, 12 * 3600);
}

TEST(StressRoad, SecondTripLowersTheVoltageFurther) {
    expect_trip(SECOND_TRIP, "UTC0", 1780322400, 12 * 3600);
}

// The night in which 02:00 does not come: the clock goes from 01:59:59 to 03:00:00, and the reboot is due as
// it does. 2026-03-28 14:00 CET
TEST(StressRoad, RebootInTheNightTheClockGoesForward) {
    expect_trip(FIRST_TRIP, "CET-1CEST,M3.5.0,M10.5.0/3", 1774702800, 12 * 3600);
}

// The night in which 02:00 EDT is 01:00 EST: the reboot is due as the clock goes back. 2026-10-31 20:00 EDT
TEST(StressRoad, RebootInTheNightTheClockGoesBack) {
    expect_trip(FIRST_TRIP, "EST5EDT,M3.2.0,M11.1.0", 1793491200, 6 * 3600);
}

// The histogram is lost: what is left, the 9.54 h since the device was last seen, at a weight of 1.4245, calls
// for no trip. It stays all the same.
TEST(StressRoad, TripOutlivesItsHistogram) {
    lab::device_image image = device_before(SECOND_TRIP);
    replay(trace::of_trip(1780322400 - EVALUATION_S, 12 * 3600), image, "UTC0");
    image.files.erase(STRESS_FILE);
    trace next;
    next.add(1, 0, "1780400000");
    const recorder heard = replay(next, image, "UTC0");
    EXPECT_THAT(heard.times_of("table_valid=0;IN,stress_hours=13;IN,stress_trip=9;IN,set_prop=2;"),
                ElementsAre("1:0"));
    EXPECT_THAT(heard.times_of("stress init error 2"), ElementsAre("1:0"));
    EXPECT_THAT(heard.times_of("Scheduled reboot"), IsEmpty());
    EXPECT_EQ(image.properties["persist.vendor.vorn.toc"], "4000");
}

}  // namespace
