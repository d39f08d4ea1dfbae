// The daemon on the simulated phone, as the simulate command shows it: time, boots, chance.
// node --test simulate_command_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { test } from "node:test";
import { labMust, labRefuses, put } from "../support/lab.mjs";

/** The cycles of a scenario, each {column: number}. */
function cyclesOf(scenario) {
    put("x.toml", scenario);
    const [header, ...rows] = labMust("simulate", "x.toml", "--series", "-", "--samples")
        .trimEnd()
        .split("\n")
        .map((line) => line.split(","));
    return rows.map((row) => Object.fromEntries(row.map((value, i) => [header[i], Number(value)])));
}

test("it repeats itself for a seed and differs for another", () => {
    put("x.toml", '[[phase]]\nfor = "3 h"\nburst_mw = 3000\nburst_pct = 20\n');
    const events = (seed) => labMust("simulate", "x.toml", "--set", `seed=${seed}`, "--events", "-");
    assert.ok(events(1) === events(1));
    assert.ok(events(1) !== events(2));
    assert.ok(events(1) !== labMust("simulate", "x.toml", "--set", "number=1", "--events", "-"), "another phone of that seed");
    assert.match(labRefuses("simulate", "x.toml", "--set", "cell.soc_pct=-1", "--quiet"), /x\.toml/, "it never boots");
});

test("a reboot changes nothing of what the phone meets later", () => {
    const scenario = `start = 2026-01-05T06:00:00
    phase = [{ for = "6 h", burst_mw = 3000, burst_pct = 20 }]`;
    const seen = ({ true_ma, true_temp_c, voltage_now, current_now, temp }) =>
        [true_ma, true_temp_c, voltage_now, current_now, temp].join();
    const undisturbed = new Map(cyclesOf(scenario).map((cycle) => [cycle.sim_s, cycle]));
    const later = (at) => cyclesOf(`${scenario}\nevent = [{ do = "reboot", at = "${at}" }]`).filter(({ sim_s }) => sim_s > 3700);
    const onTime = later("1 h");
    assert.ok(onTime.length > 1700);
    assert.ok(onTime.every((cycle) => seen(cycle) === seen(undisturbed.get(cycle.sim_s))));
    // Cycles three seconds off the others: the same bursts, nearly the same currents.
    const late = later("1 h 3 s");
    assert.ok(late.every(({ sim_s, true_ma }) => Math.abs(true_ma - undisturbed.get(sim_s - 3).true_ma) < 1));
});

test("no cycle runs while the phone sleeps", () => {
    const slept = cyclesOf(`start = 2026-01-01T00:00:00
    phase = [{ for = "10 min 4 s" }, { for = "8 h", screen = "suspended" }, { for = "10 min" }]`);
    const gaps = slept.slice(1).map(({ elapsed_s }, i) => elapsed_s - slept[i].elapsed_s);
    assert.ok(gaps.every((gap) => gap >= 10));
    // Four of the ten seconds were over when it fell asleep.
    assert.deepEqual(
        slept
            .slice(1)
            .filter((_, i) => gaps[i] > 10)
            .map(({ elapsed_s }) => elapsed_s),
        [604 + 8 * 3600 + 6],
    );
    assert.ok(Math.abs(slept.length - 121) <= 2, slept.length);
    assert.equal(slept.at(-1).realtime_s - slept.at(-1).elapsed_s, 1767225600);

    assert.ok(slept[60].true_soc_pct - slept[61].true_soc_pct < 1.2, "25 mW for eight hours, not the 400 of the phase");

    const waking = cyclesOf(`event = [{ do = "plug", at = "35 min", for = "2 min" }]
    phase = [{ for = "10 min" }, { for = "1 h", screen = "suspended", wake_every = "10 min", wake_for = "40 s" }]`);
    const awake = waking.filter(({ sim_s }) => sim_s > 600).length;
    assert.ok(awake >= 5 * 3 && awake <= 7 * 4, `five times, and when the charger came and went: ${awake}`);
});

test("it says for how long the ageing is a guess", () => {
    put("x.toml", `phase = [{ for = "2 h", ambient_c = 25 }, { for = "6 h", ambient_c = -10 }, { for = "9 h", ambient_c = 25 }]`);
    const [, hours] = labMust("simulate", "x.toml").match(/below 20 or above 60 °C for (\d+) h \d+ min, where no ageing was measured/);
    assert.ok(Number(hours) >= 6 && Number(hours) <= 8, hours);
    put("x.toml", `phase = [{ for = "6 h", ambient_c = 25 }]`);
    assert.doesNotMatch(labMust("simulate", "x.toml"), /no ageing was measured/);
});
