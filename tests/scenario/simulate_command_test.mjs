// The daemon on the simulated phone, as the simulate command shows it: time, boots, what a trace of it replays to,
// and expectations. node --test simulate_command_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { test } from "node:test";
import { at, get, lab, labMust, labRefuses, put } from "../support/lab.mjs";

/** The cycles of a scenario, each {column: number}. */
function cyclesOf(scenario) {
  put("x.toml", scenario);
  const [header, ...rows] = labMust("simulate", "x.toml", "--series", "-", "--samples").trimEnd().split("\n").map((line) => line.split(","));
  return rows.map((row) => Object.fromEntries(row.map((value, i) => [header[i], Number(value)])));
}

// Everything that a trace has to carry: boots of every kind, faults, mocks, nodes, clocks, a precharge.
const TROUBLES = String.raw`
start = 2026-03-28T20:00:00
time_zone = "Europe/Berlin"
event = [
    { do = "mock", file = "mock_n_day_threshold_sec", text = "600", at = "8 h", for = "2 h" },
    { do = "mock", file = "mock_batt_stress_offset", text = "12345", at = "1 h" },
    { do = "restart", at = "9 h" },
    { do = "power_cut", at = "10 h 5 s", for = "3 min" },
    { do = "clock_lost", at = "10 h", for = "1 h 10 min" },
    { do = "reboot", at = "13 h" },
    { do = "node", node = "temp", reads = "error", at = "14 h", for = "5 min" },
    { do = "node", node = "status", text = "Full, or \"so\"", at = "14 h 2 min", for = "5 min" },
    { do = "node", node = "capacity", reads = "empty", at = "14 h 4 min", for = "5 min" },
    { do = "node", node = "voltage_now", reads = "missing", at = "13 h 0 min 40 s", for = "2 min" },
    { do = "fail", call = "write", target = "batt_stress", at = "15 h", for = "2 h" },
    { do = "fail", call = "open", target = "last_datetime", at = "15 h", for = "2 h" },
    { do = "fail", call = "property_set", target = "persist.vendor.vorn.disable_charging.enabled", at = "12 h 59 min", for = "10 min" },
    { do = "heater", watt = 25, at = "6 h", for = "5 min" },
    { do = "unplug", at = "17 h", for = "5 min" },
]
phase = [{ for = "3 h", load_mw = 2500 }, { for = "20 h", charger = "wall", screen = "off" }]
cell = { soc_pct = 4 }
phone = { off_ua = 200000 }
`;

test("a trace of it replays to the same events, cycles and device", () => {
  put("x.toml", TROUBLES);
  labMust("state", "set", "start", "batt_stress[8][8]=900", "batt_stress[8][9]=123.456");
  labMust("simulate", "x.toml", "--root", "start", "--save-root", "simulated", "--events", "e1", "--series", "s1", "--trace", "t.csv");
  const { status, stderr } = lab("replay", "t.csv", "--root", "start", "--save-root", "replayed", "--events", "e2", "--series", "s2");
  assert.deepEqual([status, stderr], [0, ""]);
  assert.ok(get("e1").split("\n").length > 500);
  assert.ok(get("s1").split("\n").some((line) => line.startsWith("5,")), "five boots");
  assert.ok(get("e1") === get("e2"), "the events are alike");
  const columns = get("s2").split("\n", 1)[0].split(",").length; // the phone's own come behind them
  const daemon = get("s1").split("\n").map((line) => line.split(",").slice(0, columns).join()).join("\n");
  assert.ok(daemon === get("s2"), "the cycles are alike");
  assert.equal(spawnSync("diff", ["-r", "simulated", "replayed"], { cwd: at("."), encoding: "utf8" }).stdout, "");
});

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
  const seen = ({ true_ma, true_temp_c, voltage_now, current_now, temp }) => [true_ma, true_temp_c, voltage_now, current_now, temp].join();
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
  assert.deepEqual(slept.slice(1).filter((_, i) => gaps[i] > 10).map(({ elapsed_s }) => elapsed_s), [604 + 8 * 3600 + 6]);
  assert.ok(Math.abs(slept.length - 121) <= 2, slept.length);
  assert.equal(slept.at(-1).realtime_s - slept.at(-1).elapsed_s, 1767225600);

  assert.ok(slept[60].true_soc_pct - slept[61].true_soc_pct < 1.2, "25 mW for eight hours, not the 400 of the phase");

  const waking = cyclesOf(`event = [{ do = "plug", at = "35 min", for = "2 min" }]
    phase = [{ for = "10 min" }, { for = "1 h", screen = "suspended", wake_every = "10 min", wake_for = "40 s" }]`);
  const awake = waking.filter(({ sim_s }) => sim_s > 600).length;
  assert.ok(awake >= 5 * 3 && awake <= 7 * 4, `five times, and when the charger came and went: ${awake}`);
});

