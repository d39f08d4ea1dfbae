// Power-off time and the scheduled reboot.

#include "core/wall_clock.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>

#include "core/persistent_files.h"
#include "core/reboot.h"
#include "core/sys_properties.h"
#include "tests/support/effects.h"
#include "util/sensor_value.h"

namespace {

using namespace std::string_literals;
constexpr std::int64_t NOON = 1767268800;  // 2026-01-01 12:00:00 UTC

class WallClock : public testing::Test {
  protected:
    WallClock() {
        device.real_time_s = NOON;
        wall_clock_init();
    }

    void save(std::int64_t time_s) { saved.put({reinterpret_cast<const char*>(&time_s), sizeof time_s}); }
    std::int64_t saved_time() const {
        std::int64_t time_s = 0;
        memcpy(&time_s, saved.bytes.data(), sizeof time_s);
        return time_s;
    }
    void run(std::int64_t seconds) {
        device.elapsed_s += seconds;
        device.real_time_s += seconds;
    }

    virtual_device::device& device = virtual_device::the_device();
    virtual_device::file& saved = device.at(LAST_DATETIME_FILE.path);
    test::effects effects;
};

TEST_F(WallClock, MeasuresWhatTheDaemonDidNotSee) {
    EXPECT_EQ(vorn_calc_power_off_time(), 0.0F);
    EXPECT_EQ(effects.take("log"),
              (std::vector{"log 6 --- vorn file open error errno file "s + LAST_DATETIME_FILE.path + " ---",
                           "log 6 --- vorn No saved datetime ---"s}));
    EXPECT_EQ(saved_time(), NOON);

    save(NOON - 7200);
    EXPECT_EQ(vorn_calc_power_off_time(), 2.0F);
    EXPECT_EQ(saved_time(), NOON);
    EXPECT_EQ(vorn_calc_power_off_time(), 0.0F);

    run(3600);  // seen by the daemon: not power-off time
    EXPECT_EQ(vorn_calc_power_off_time(), 0.0F);
    device.real_time_s += 90;  // somebody set the clock
    EXPECT_EQ(vorn_calc_power_off_time(), 0.025F);
    EXPECT_TRUE(effects.take("log").empty());
}

TEST_F(WallClock, RefusesAClockBehindTheSavedTime) {
    save(NOON + 10);
    run(5);
    EXPECT_EQ(vorn_calc_power_off_time(), INVALID_HOURS);
    EXPECT_EQ(
        effects.take("log"),
        std::vector{"log 6 --- vorn difftime -10.00 fails sanity check, increment saved by 5 sec ---"s});
    EXPECT_EQ(saved_time(), NOON + 15);

    // Within a second either way no time has passed, and now is saved.
    save(NOON + 6);
    EXPECT_EQ(vorn_calc_power_off_time(), 0.0F);
    EXPECT_EQ(saved_time(), NOON + 5);
}

TEST_F(WallClock, AdvancesTheSavedTimeWhileTheClockIsNotSet) {
    save(NOON);
    device.real_time_s = 1609459199;
    device.elapsed_s = 100;
    EXPECT_EQ(vorn_calc_power_off_time(), INVALID_HOURS);
    EXPECT_EQ(saved_time(), NOON + 100);
    EXPECT_EQ(effects.take("log").front(), "log 6 --- vorn time now 1609459199 fails sanity check ---");

    device.elapsed_s = 40;  // the boot clock never does this; the run then counts from its start
    EXPECT_EQ(vorn_calc_power_off_time(), INVALID_HOURS);
    EXPECT_EQ(saved_time(), NOON + 140);

    saved.remove();
    EXPECT_EQ(vorn_calc_power_off_time(), 0.0F);
    EXPECT_FALSE(saved.exists);
    device.real_time_s = 1609459200;
    EXPECT_EQ(vorn_calc_power_off_time(), 0.0F);
    EXPECT_EQ(saved_time(), 1609459200);
}

TEST_F(WallClock, TakesNoTimeFromADamagedFile) {
    saved.put("\x01\x02\x03");
    EXPECT_EQ(vorn_calc_power_off_time(), INVALID_HOURS);
    EXPECT_EQ(saved_time(), NOON);
    run(1800);
    EXPECT_EQ(vorn_calc_power_off_time(), 0.0F);

    // A read that failed once costs nothing: the hours are still there at the next call.
    save(NOON - 7200 + 1800);
    saved.read_fails = true;
    EXPECT_EQ(vorn_calc_power_off_time(), INVALID_HOURS);
    saved.read_fails = false;
    EXPECT_EQ(vorn_calc_power_off_time(), 2.0F);

    for (const std::int64_t hostile : {INT64_MIN, INT64_MAX, INT64_MIN + NOON}) {
        save(hostile);
        run(10);
        vorn_calc_power_off_time();
    }
}

class Reboot : public WallClock {
  protected:
    Reboot() {
        setenv("TZ", "America/New_York", 1);
        tzset();
        device.properties[STRESS_PROPERTY] = "4450";
        reboot_init();
    }

    // The elapsed time at which a change at that moment, elapsed 1000, brings the reboot.
    std::string scheduled_at(std::int64_t utc_s) {
        device.real_time_s = utc_s;
        effects.take();
        schedule_reboot(1000);
        return effects.take().front();
    }
    static std::string scheduled(std::int64_t reboot_time) {
        return "log 4 --- vorn Scheduled reboot at " + std::to_string(reboot_time) + " sec, now=1000";
    }
};

// The hour asked for is that of the clock in force when the change of voltage is seen: replay/stress_road_test.cpp
// goes through the nights in which it changes.
TEST_F(Reboot, WaitsForTwoInTheMorning) {
    const std::int64_t midnight = 1767243600;  // 2026-01-01 00:00:00 in New York
    EXPECT_EQ(scheduled_at(midnight + 2 * 3600 - 10), scheduled(1010));
    EXPECT_EQ(scheduled_at(midnight + 2 * 3600), scheduled(1000));
    EXPECT_EQ(scheduled_at(midnight + 2 * 3600 + 1), scheduled(87399));
    EXPECT_EQ(scheduled_at(midnight + 14 * 3600), scheduled(44200));
}

TEST_F(Reboot, RebootsAtOnceWithoutLocalTime) {
    device.outcome.decide = [](void*, virtual_device::operation kind, std::string_view, std::size_t) {
        return kind == virtual_device::operation::local_time ? virtual_device::FAIL : virtual_device::PASS;
    };
    device.properties[STRESS_PROPERTY] = "4350";
    handle_reboot(70);
    const auto lines = effects.take();
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_TRUE(
        lines[0].starts_with("log 6 --- vorn Failed local time to schedule reboot, rebooting now! errno="));
    EXPECT_EQ(lines[1], "log 6 --- vorn Performing reboot!");
    EXPECT_EQ(lines[2], "set sys.powerctl=reboot");
}

TEST_F(Reboot, IsScheduledOnceAndRepeatedUntilTheDeviceGoesDown) {
    device.real_time_s = 1767243600 + 2 * 3600 - 30;
    handle_reboot(0);
    EXPECT_TRUE(effects.take().empty());
    device.properties[STRESS_PROPERTY] = "4350";
    handle_reboot(10);
    EXPECT_EQ(effects.take().size(), 1U);
    device.properties[STRESS_PROPERTY] = "4000";
    handle_reboot(39);
    EXPECT_TRUE(effects.take().empty());
    device.fail_property_set(POWER_PROPERTY, true);
    handle_reboot(40);
    EXPECT_EQ(
        effects.take(),
        (std::vector{
            "log 6 --- vorn Performing reboot!"s, "set sys.powerctl=reboot failed"s,
            "log 6 --- vorn error setting property str \"sys.powerctl\" to \"reboot\", result=-1 ---"s}));
    device.fail_property_set(POWER_PROPERTY, false);
    handle_reboot(50);
    EXPECT_EQ(effects.take("set"), std::vector{"set sys.powerctl=reboot"s});
}

// An unset property counts as full voltage at start-up but as 0 afterwards.
TEST_F(Reboot, ReadsAnUnsetPropertyDifferentlyLater) {
    device.properties.clear();
    reboot_init();
    device.properties[STRESS_PROPERTY] = "4450";
    handle_reboot(10);
    EXPECT_TRUE(effects.take().empty());
    device.properties.clear();
    handle_reboot(20);
    EXPECT_EQ(effects.take("log 4").size(), 1U);
}

}  // namespace
