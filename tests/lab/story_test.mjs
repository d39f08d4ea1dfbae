// What the lab tells of a run: why the voltage and the charge are what they are, what fails, what it costs.
// node --test story_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { labMust } from "../support/lab.mjs";

const SCENARIOS = fileURLToPath(new URL("../../scenarios/", import.meta.url));

// Of each scenario's output, parts in this order.
const STORIES = {
  stress_trip: ["2026-03-26 08:00:00  core              Started (boot 1)\n", "top of charge: 4450 mV\n",
    "battery stress    Lowered the top-of-charge voltage from 4450 to 4350 mV for good: the battery has", "limit passed: 12000\n",
    ">4400 mV, 40-45 °C: 1000.5 h x 10.6 = 10583 stress hours (87 %)\n", "4200-4400 mV, 30-35 °C",
    "core              Scheduled a reboot for 2026-03-29 03:00:00", "2026-03-29 03:00:00  core              Rebooted the device\n",
    "Started (boot 2)\n", "top of charge: 4350 mV, asked by battery stress since 2026-03-28 08:00:10\n", "Started (boot 3)\n",
    "7 of 7 expectations hold\n"],
  desk_charger: ["n-day pulldown    Lowered the top-of-charge voltage from 4450 to 4250 mV: the phone has not left", "on the charger for: 7 d 0 h\n",
    "n-day pulldown    Raised the top-of-charge voltage from 4250 to 4450 mV: the charger has been away", "charger away for: 1 h 0 min\n",
    "lowered since: 2026-01-12 09:00:10\n"],
  both_reasons: ["precharge         Stopped charging: the boot loader reports a precharge fault\n",
    "charging stopped by: precharge since 2026-07-06 08:00:00\n",
    "charge timer      Keeps charging stopped, for a new reason: the charge that began at 2026-07-06 08:00:00 has run for 20 h 0 min, " +
    "longer than its limit of 20 h 0 min\n", "charging for: 20 h 0 min\n", "smallest current that set the limit:", "gauge:",
    "precharge         Keeps charging stopped, for a new reason: a precharge fault of an earlier start"],
  thermal_runaway: ["secondary thermal Stopped charging: the battery warmed by",
    "secondary thermal Allowed charging again: the battery has cooled to 33 °C or below\n", "battery: 33 °C\n",
    "stopped since: 2026-05-04 20:31:50\n"],
  // What fails again and again is told when it begins and when it is over; each file's writes are counted.
  failing_flash: ["11:00:00  core              Could not write /mnt/vendor/nvcfg/vorn/last_battvolt\n",
    "core              Over: Could not write /mnt/vendor/nvcfg/vorn/last_battvolt (12 times from 2026-08-03 11:00:00 to 2026-08-03 22:00:00)\n",
    "/mnt/vendor/nvcfg/vorn/batt_stress                     8400.8        1591029       12\n"],
  refused_properties: ["core              Could not set the property persist.vendor.vorn.disable_charging.enabled\n",
    "core              Over: Could not set the property persist.vendor.vorn.disable_charging.enabled (181"],
};

for (const [scenario, parts] of Object.entries(STORIES)) {
  test(`tells what happened and why: ${scenario}`, () => {
    const told = labMust("simulate", `${SCENARIOS}${scenario}.toml`);
    let from = 0;
    for (const part of parts) {
      from = told.indexOf(part, from);
      assert.notEqual(from, -1, `${part} in ${told}`);
    }
  });
}
