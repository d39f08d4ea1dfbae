// What the lab tells of a run: why the voltage and the charge are what they are, what fails, what it costs.

#include "lab/story.h"

#include <gmock/gmock.h>

#include "tests/support/command.h"
#include "tests/support/directory.h"

namespace {

struct told {
    const char* scenario;
    std::vector<const char*> parts;  // of the output, in this order
};

const told STORIES[] = {
    {"stress_trip",
     {"2026-03-26 08:00:00  core              Started (boot 1)\n", "top of charge: 4450 mV\n",
      "battery stress    Lowered the top-of-charge voltage from 4450 to 4350 mV for good: the battery has",
      "limit passed: 12000\n", "above 4400 mV, 40 to 45 °C: 1000.0 h x 10.6 = 10578 stress hours (87 %)\n",
      "4200 to 4400 mV, 30 to 35 °C", "core              Scheduled a reboot for 2026-03-29 03:00:00",
      "2026-03-29 03:00:00  core              Rebooted the device\n", "Started (boot 2)\n",
      "top of charge: 4350 mV, asked by battery stress since 2026-03-28 08:00:10\n", "Started (boot 3)\n",
      "7 of 7 expectations hold\n"}},
    {"desk_charger",
     {"n-day pulldown    Lowered the top-of-charge voltage from 4450 to 4250 mV: the phone has not left",
      "on the charger for: 7 d 0 h\n",
      "n-day pulldown    Raised the top-of-charge voltage from 4250 to 4450 mV: the charger has been away",
      "charger away for: 1 h 0 min\n", "lowered since: 2026-01-12 09:00:10\n"}},
    {"both_reasons",
     {"precharge         Stopped charging: the boot loader reports a precharge fault\n",
      "charging stopped by: precharge since 2026-07-06 08:00:00\n",
      "charge timer      Keeps charging stopped, for a new reason: the charge that began at "
      "2026-07-06 08:00:00 has run for 20 h 0 min, longer than its limit of 20 h 0 min\n",
      "charging for: 20 h 0 min\n", "smallest current that set the limit:", "gauge:",
      "precharge         Keeps charging stopped, for a new reason: a precharge fault of an earlier start"}},
    {"thermal_runaway",
     {"secondary thermal Stopped charging: the battery warmed by",
      "secondary thermal Allowed charging again: the battery has cooled to 33 °C or below\n",
      "battery: 33 °C\n", "stopped since: 2026-05-04 20:31:50\n"}},
    // What fails again and again is told when it begins and when it is over; each file's writes are counted.
    {"failing_flash",
     {"11:00:00  core              Could not write /mnt/vendor/nvcfg/vorn/last_battvolt\n",
      "core              Over: Could not write /mnt/vendor/nvcfg/vorn/last_battvolt (12 times from "
      "2026-08-03 11:00:00 to 2026-08-03 22:00:00)\n",
      "/mnt/vendor/nvcfg/vorn/batt_stress                     8400.8        1591029       12\n"}},
    {"refused_properties",
     {"core              Could not set the property persist.vendor.vorn.disable_charging.enabled\n",
      "core              Over: Could not set the property persist.vendor.vorn.disable_charging.enabled "
      "(181"}},
};

TEST(Story, TellsOfEachScenarioWhatHappenedAndWhy) {
    const test::temporary_directory dir;
    for (const told& each : STORIES) {
        const auto path = std::string(VORN_SOURCE_DIR) + "/scenarios/" + each.scenario + ".toml";
        const auto done = test::run_command({"simulate", path}, dir.path());
        EXPECT_EQ(done.status, 0) << done.err;
        std::size_t from = 0;
        for (const char* part : each.parts) {
            const std::size_t found = done.out.find(part, from);
            EXPECT_NE(found, std::string::npos) << each.scenario << ": " << part;
            from = std::max(from, found);  // npos: nothing more is found
        }
    }
}

// Events alone, as a log without a series leaves them, in cycles that do not end.
TEST(Story, GoesOnToTheEndWithoutCycles) {
    std::vector<std::string> lines;
    lab::story story([&](const lab::decision& each) {
        lines.push_back(each.feature + ": " + each.sentence);
        for (const lab::number& part : each.numbers) lines.back() += " | " + part.name + " " + part.value;
    });
    const auto set = [&](std::int64_t elapsed_s, const char* name, const char* value, std::int64_t result) {
        story.on_event({lab::event_kind::property_set, 1, elapsed_s, elapsed_s, 0, 0, result, name, value});
    };
    set(0, "persist.vendor.vorn.toc", "4450", 0);
    set(10, "vendor.vorn.pulldown_toc", "4250", 0);
    set(10, "persist.vendor.vorn.toc", "4250", 0);
    story.on_event(
        {lab::event_kind::metric, 1, 10, 10, 5, 8, 0, "vorn",
         "lx6wwu6k:c4zx/2/04330401:100:pulldown_timer_s=604801;IN,chg_sts=4;IN,batt_volt_mv=4400;IN:NA"});
    for (const std::int64_t elapsed_s : {200, 210}) set(elapsed_s, "persist.vendor.vorn.toc", "4350", -1);
    story.finish();
    using testing::HasSubstr;
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_THAT(lines[0],
                HasSubstr("n-day pulldown: Lowered the top-of-charge voltage from 4450 to 4250 mV"));
    EXPECT_THAT(lines[0], HasSubstr("on the charger for 7 d 0 h | battery 4400 mV"));
    EXPECT_EQ(lines[1], "core: Could not set the property persist.vendor.vorn.toc");
    EXPECT_THAT(lines[2], HasSubstr("Still at the end: Could not set the property"));
}

}  // namespace
