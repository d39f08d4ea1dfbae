// The story and the cost, from events made up here: no daemon, no phone.

#include "lab/story.h"

#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lab/cost.h"

namespace lab {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::int64_t NOON_S = 1767268800;  // 2026-01-01 12:00 UTC
constexpr char STRESS_FILE[] = "/mnt/vendor/nvcfg/vorn/batt_stress";

class StoryTest : public testing::Test {
  protected:
    StoryTest() {
        setenv("TZ", "UTC", 1);
        tzset();
    }

    void say(event_kind kind, std::string name, std::string text, std::int64_t result = 0) {
        event what;
        what.kind = kind;
        what.boot = boot_;
        what.elapsed_s = elapsed_s_;
        what.real_time_s = NOON_S + elapsed_s_;
        what.result = result;
        what.name = std::move(name);
        what.text = std::move(text);
        story_.on_event(what);
    }
    void log(const std::string& text) { say(event_kind::log, "vorn", text + "\n"); }
    void record(const std::string& schema, const std::string& payload) {
        say(event_kind::metric, "vorn", "lx6wwu6k:" + schema + ":100:_model=;SY," + payload + "ver=1;SY:NA");
    }
    void set(const std::string& name, const std::string& value, int result = 0) {
        say(event_kind::property_set, name, value, result);
    }
    void end_cycle() {
        cycle after;
        after.boot = boot_;
        after.elapsed_s = elapsed_s_;
        after.real_time_s = NOON_S + elapsed_s_;
        story_.on_cycle(after);
    }
    void at(std::int64_t elapsed_s) { elapsed_s_ = elapsed_s; }
    void start(std::int64_t boot) {
        boot_ = boot;
        at(0);
        log("--- vorn attempting to migrate persistent files ");
        set("persist.vendor.vorn.toc", "4450");
    }
    std::vector<std::string> take() {
        std::vector<std::string> lines;
        for (const decision& each : told_) {
            std::string line = each.feature + ": " + each.sentence;
            for (const number& part : each.numbers) line += " | " + part.name + " " + part.value;
            lines.push_back(line);
        }
        told_.clear();
        return lines;
    }

    std::int64_t boot_ = 1;
    std::int64_t elapsed_s_ = 0;
    std::vector<decision> told_;
    story story_{[this](const decision& each) { told_.push_back(each); }};
};

}  // namespace

TEST_F(StoryTest, TellsAStressTripWithItsBucketsItsRebootAndItsMemory) {
    start(1);
    set("persist.vendor.vorn.batt_stress", "4450");
    end_cycle();
    EXPECT_THAT(take(), ElementsAre("core: Started (boot 1) | top of charge 4450 mV"));

    std::string table(396, '\0');
    const float hours[] = {1000, 500};
    std::memcpy(&table[4 * (11 * 8 + 8)], &hours[0], 4);
    std::memcpy(&table[4 * (11 * 7 + 5)], &hours[1], 4);
    at(172810);
    say(event_kind::write, STRESS_FILE, table, 396);
    set("persist.vendor.vorn.batt_stress", "4350");
    set("persist.vendor.vorn.toc", "4350");
    record("n591/2/03330401", "stress_hours=12004;IN,stress_trip=2;IN,set_prop=0;IN,");
    end_cycle();
    const auto trip = take();
    ASSERT_EQ(trip.size(), 2U);
    EXPECT_EQ(trip[0], "battery stress: Evaluated the stress hours | stress hours 12004 | step 2");
    EXPECT_THAT(trip[1],
                HasSubstr("battery stress: Lowered the top-of-charge voltage from 4450 to 4350 mV for good"));
    EXPECT_THAT(trip[1],
                HasSubstr("stress hours 12004 | limit passed 12000 | above 4400 mV, 40 to 45 °C "
                          "1000.0 h x 10.6 = 10578 stress hours (98 %) | 4200 to 4400 mV, 25 to 30 °C"));

    at(172820);
    log("--- vorn Scheduled reboot at 223200 sec, now=172820");
    end_cycle();
    EXPECT_THAT(take(), ElementsAre(HasSubstr("Scheduled a reboot for 2026-01-04 02:00:00")));
    at(223200);
    set("sys.powerctl", "reboot");
    end_cycle();
    at(223210);
    set("sys.powerctl", "reboot");
    end_cycle();
    EXPECT_THAT(take(), ElementsAre("core: Rebooted the device"));

    start(2);
    set("persist.vendor.vorn.toc", "4350");
    end_cycle();
    EXPECT_THAT(take(),
                ElementsAre("core: Started (boot 2) | top of charge 4350 mV, asked by battery stress since "
                            "2026-01-03 12:00:10"));
}

TEST_F(StoryTest, TellsWhyChargingStopsAndWhyItGoesOn) {
    start(1);
    set("persist.vendor.vorn.disable_charging.enabled", "0");
    end_cycle();
    take();
    at(30000);
    record("eb86/2/04330401",
           "charge_timer_s=28800;IN,threshold_s=28790;IN,min_curr_ua=1002000;IN,final_soc=93;IN,");
    set("persist.vendor.vorn.disable_charging.enabled", "charge_timer");
    end_cycle();
    EXPECT_THAT(
        take(),
        ElementsAre(
            "charge timer: Stopped charging: the charge that began at 2026-01-01 12:20:00 has run for "
            "8 h 0 min, longer than its limit of 7 h 59 min | charging for 8 h 0 min | limit 7 h 59 min "
            "| smallest current that set the limit 1002 mA | gauge 93 %"));
    at(30010);
    set("persist.vendor.vorn.disable_charging.enabled", "precharge_timer");
    end_cycle();
    EXPECT_THAT(
        take(),
        ElementsAre(HasSubstr("Keeps charging stopped, for a new reason: a precharge fault of an earlier")));
    at(30020);
    record("gp5u/2/04330401", "disable_timer_s=400;IN,batt_temp_c=33;IN,batt_volt_mv=4000;IN,");
    set("persist.vendor.vorn.disable_charging.enabled", "0");
    end_cycle();
    EXPECT_THAT(take(),
                ElementsAre("precharge: Allowed charging again: the battery has cooled to 33 °C or below | "
                            "battery 33 °C | stopped since 2026-01-01 20:20:00"));
}

TEST_F(StoryTest, TellsWhatFailsAgainAndAgainTwice) {
    start(1);
    end_cycle();
    take();
    for (int i = 1; i <= 5; ++i) {
        at(i * 10);
        log("--- vorn file read error /sys/x ---");
        end_cycle();
    }
    EXPECT_THAT(take(), ElementsAre("core: Could not read /sys/x"));
    for (int i = 6; i <= 12; ++i) {
        at(i * 10);
        end_cycle();
    }
    EXPECT_THAT(take(), ElementsAre("core: Over: Could not read /sys/x (5 times from 2026-01-01 12:00:10 to "
                                    "2026-01-01 12:00:50)"));
    // A file that can be written was only not there yet.
    log("--- vorn file open error errno file /data/new ---");
    say(event_kind::write, "/data/new", "x", 1);
    end_cycle();
    EXPECT_THAT(take(), testing::IsEmpty());
    at(200);
    set("persist.vendor.vorn.toc", "4350", -1);
    end_cycle();
    at(210);
    set("persist.vendor.vorn.toc", "4350", -1);
    story_.finish();
    EXPECT_THAT(take(), ElementsAre("core: Could not set the property persist.vendor.vorn.toc",
                                    HasSubstr("Still at the end: Could not set the property")));
}

TEST_F(StoryTest, TellsTheSameWithoutCycles) {
    start(1);
    at(10);
    set("vendor.vorn.pulldown_toc", "4250");
    set("persist.vendor.vorn.toc", "4250");
    record("c4zx/2/04330401", "pulldown_timer_s=604801;IN,chg_sts=4;IN,batt_volt_mv=4400;IN,");
    story_.finish();
    const auto lines = take();
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[1],
                HasSubstr("n-day pulldown: Lowered the top-of-charge voltage from 4450 to 4250 mV"));
    EXPECT_THAT(lines[1], HasSubstr("on the charger for 7 d 0 h | battery 4400 mV"));
}

TEST(Cost, CountsPerFileAndScalesToTheSpan) {
    cost counted;
    event write;
    write.kind = event_kind::write;
    write.name = STRESS_FILE;
    write.result = 396;
    cycle after;
    for (int boot = 1; boot <= 2; ++boot) {
        for (int hour = 0; hour <= 12; ++hour) {
            counted.on_event(write);
            after.boot = boot;
            after.elapsed_s = hour * 3600;
            after.real_time_s = NOON_S + after.elapsed_s + (boot - 1) * 43200;
            counted.on_cycle(after);
        }
    }
    write.result = -1;
    counted.on_event(write);
    EXPECT_EQ(counted.boots, 2);
    EXPECT_EQ(counted.cycles, 26);
    EXPECT_EQ(counted.span_s(), 86400);
    EXPECT_EQ(counted.files.at(STRESS_FILE).writes, 27);
    EXPECT_EQ(counted.files.at(STRESS_FILE).failed, 1);
    EXPECT_EQ(counted.files.at(STRESS_FILE).bytes, 26 * 396);
    EXPECT_DOUBLE_EQ(counted.per_day(27), 27);
    EXPECT_DOUBLE_EQ(counted.per_year(27), 27 * 365.25);
    counted.known_span_s = 2 * 86400;
    EXPECT_DOUBLE_EQ(counted.per_day(27), 13.5);
}

}  // namespace lab
