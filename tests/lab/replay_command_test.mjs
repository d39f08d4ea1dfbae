// The replay command, as a user meets it: files, log, clocks, cells. What it says of mistakes: cases/cli.
// node --test replay_command_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { existsSync } from "node:fs";
import { test } from "node:test";
import { at, get, lab, labMust, put } from "../support/lab.mjs";

const TRACE = "elapsed_s,boot,colour\n0,1,red\n10,1,red\n0,2,red\n";
const WARNING = "vorn-lab: t.csv: warning: unknown column is ignored: colour\n";

test("writes events, series and root", () => {
  put("t.csv", TRACE);
  put("root/properties", "persist.mine=kept\nvolatile=gone\n");
  const done = lab(..."replay t.csv --root root --save-root kept --events e.jsonl --series s.csv --set capacity=50".split(" "));
  assert.deepEqual([done.status, done.stdout, done.stderr], [0, "", WARNING]);
  const first = '{"boot":1,"elapsed":0,"event":"log","priority":4,"tag":"vorn","text":"--- vorn attempting to migrate persistent files \\n"}\n';
  assert.ok(get("e.jsonl").startsWith(first));
  assert.ok(get("e.jsonl").includes('{"boot":2,"elapsed":0,"event":"write",'));
  assert.match(get("s.csv"), /^boot,elapsed_s,toc_mv,[^]*\n1,10,4450,[^]*\n2,0,4450,/);
  assert.equal(get("root/properties"), "persist.mine=kept\nvolatile=gone\n", "evidence stays as it is");
  assert.ok(!existsSync(at("root/mnt")));
  assert.match(get("kept/properties"), /^persist\.mine=kept\n[^]*persist\.vendor\.vorn\.toc=4450\n/);
  assert.ok(!get("kept/properties").includes("volatile"));
  assert.equal(get("kept/mnt/vendor/nvcfg/vorn/last_datetime").length, 8);
  assert.equal(get("kept/data/vendor/vorn/mock_n_day_threshold_sec"), "", "the daemon's open made it");
  // Another run takes over from there.
  const again = labMust("replay", "t.csv", "--root", "kept", "--events", "-");
  assert.ok(again.startsWith("{") && !again.includes("No saved datetime"));
});

test("shows a log and the end without an event file", () => {
  const row = (t, temp) => `${t},4000000,${temp},-300000,50,50,Discharging,ATL\n`;
  const rows = [row(0, 250), ...[10, 20, 30, 40, 50].map((t) => row(t, "")), row(60, 250)];
  put("t.csv", `elapsed_s,voltage_now,temp,current_now,capacity,gm30_ui_soc,status,cell_vendor_name\n${rows.join("")}`);
  const log = labMust("replay", "t.csv", "--log", "--set", "charge_counter=3750000", "--set", "cycle_count=12", "--set", "vbus=0",
    "--set", "thermal_zone6_temp=25000");
  assert.ok(log.startsWith("boot 1, 2026-01-01 01:00:00\n       0:00:00  info    attempting to migrate"));
  for (const line of ["\n       0:00:10  error   file read error /sys/class/power_supply/battery/temp\n",
    "\n       0:00:50          4 times more: error   file read error /sys/class/power_supply/battery/temp\n",
    "\n       0:00:00  set     persist.vendor.vorn.toc = 4450\n", "7 cycles in 1 boot over 1 min 0 s",
    "\n  persist.vendor.vorn.disable_charging.enabled = 0\n"]) {
    assert.ok(log.includes(line), line);
  }
  // Without --log it is the story, as of a simulation.
  const story = labMust("replay", "t.csv", "--set", "charge_counter=3750000");
  assert.ok(story.startsWith("t.csv\nthe trace has no wall clock: it counts from 2026-01-01 00:00 UTC, Europe/Berlin\n\n2026-01-01 01:00:00  core  "));
  for (const line of ["core              Still at the end: Could not read /sys/class/power_supply/battery/temp (5 times from 2026-01-01 01:00:10 to 2026-01-01 01:00:50)\n",
    "7 cycles in 1 boot over 1 min 0 s"]) {
    assert.ok(story.includes(line), `${line} in ${story}`);
  }
  // The series does not disturb the log, unless it takes its place.
  assert.match(labMust("replay", "t.csv", "--log", "--series", "s.csv"), /^boot 1, /);
  assert.match(labMust("replay", "t.csv", "--series", "-", "--samples"), /^boot,elapsed_s,[^]*,1767225600,4000000,-300000,250,50,2\n/);
  // A trace without rows runs nothing.
  put("t.csv", "elapsed_s\n");
  labMust(..."replay t.csv --events e.jsonl --series s.csv".split(" "));
  assert.equal(get("e.jsonl"), "");
  assert.match(get("s.csv"), /^boot,[^\n]*,soc_off\n$/);
});

test("keeps the wall clock where the trace does not say", () => {
  const said = [
    [60, 1, "", 1767225600], // first of all: the default, not 60 s more
    [90, 1, "", 1767225630], // 30 s later
    [100, 1, 2000000000, 2000000000],
    [95, 1, "", 1999999995], // back by 5 s
    [40, 2, "", 2000000035], // new boot: the row's elapsed on top
    [50, 2, "", 2000000045],
    [7, 3, 5, 5],
  ];
  put("t.csv", `elapsed_s,boot,realtime_s\n${said.map((row) => `${row.slice(0, 3)}\n`).join("")}`);
  const [header, ...rows] = labMust("replay", "t.csv", "--series", "-", "--samples").trimEnd().split("\n").map((line) => line.split(","));
  const clock = header.indexOf("realtime_s");
  assert.deepEqual(rows.map((row) => [row[1], row[0], row[clock]].map(Number)), said.map(([elapsed, boot, , now]) => [elapsed, boot, now]));
});

test("sets nodes and mock files from their cells, and lets calls fail in their row", () => {
  const MOCK = "data/vendor/vorn/mock_n_day_threshold_sec";
  const cells = [["250", "<missing>", ""], ["", "60", ""], ["<empty>", "", ""], ["<error>", "<error>", ""], ["<missing>", "<empty>", ""],
    ["250", "", "read:/sys/class/power_supply/battery/temp"], ["250", "", "open:/sys/class/power_supply/battery/temp"], ["250", "", ""]];
  const mockAfter = ["", "60\n", "60\n", "60\n", "", "", "", ""]; // the daemon's open makes it where it is missing
  for (let count = 1; count <= cells.length; ++count) {
    put(`root${count}/${MOCK}`, "before");
    put("t.csv", `elapsed_s,temp,mock_n_day_threshold_sec,faults\n${cells.slice(0, count).map((row, i) => `${i * 10},${row}\n`).join("")}`);
    labMust("replay", "t.csv", "--root", `root${count}`, "--save-root", `root${count}`, "--events", "e.jsonl");
    assert.equal(get(`root${count}/${MOCK}`), mockAfter[count - 1]);
  }
  // A file that nobody opens in that row is there all the same.
  put("unread.csv", "elapsed_s,mock_batt_stress_offset\n0,\n10,<missing>\n20,<error>\n");
  labMust("replay", "unread.csv", "--save-root", "root");
  assert.equal(get("root/data/vendor/vorn/mock_batt_stress_offset"), "");
  const events = get("e.jsonl").trimEnd().split("\n").map((line) => JSON.parse(line));
  const unread = (node) => [...new Set(events.filter(({ text }) => text?.includes(`file read error ${node}`)).map(({ elapsed }) => elapsed))];
  // Empty, it reads as a number; <missing> is a word for mock files, and a text of a node.
  assert.deepEqual(unread("/sys/class/power_supply/battery/temp"), [10, 30, 50, 60]);
  assert.deepEqual(unread("/sys/class/power_supply/battery/status"), [0, 10, 20, 30, 40, 50, 60, 70], "no column, no node");
});

