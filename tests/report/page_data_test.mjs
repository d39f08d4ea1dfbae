// What is in the page: the run as it was, whatever its texts hold, and the same from the files that it left.
// node --test page_data_test.mjs, with VORN_LAB as the program. The page's own module takes it apart.

import assert from "node:assert/strict";
import { readdirSync, readFileSync } from "node:fs";
import { test } from "node:test";
import { lineText, readColumns, readLog, unpack } from "../../lab/report/page/data.js";
import { at, get, labMust, labRefuses, put } from "../support/lab.mjs";

const DAEMON_COLUMNS = "toc_mv,perm_step,temp_step,charge_timer_flag,thermal_flag,precharge_flag,dyn_soc_state,dcr,qmax,ocv,ocv_avg,soc_v," +
  "soc_c,soc_raw,soc_scal,soc_act,soc_smooth,soc_ui,landing_state,smoothing_active,i_avg_ma,i_targ_ma,soc_off";
const SERIES_HEADER = `boot,elapsed_s,${DAEMON_COLUMNS},realtime_s,voltage_now,current_now,temp,capacity,status\n`;
const STRESS_FILE = "mnt/vendor/nvcfg/vorn/batt_stress";
const START_S = 1767225600;

/** The run's JSON, the samples' columns and the log's lines of a page. */
async function takeApart(name) {
  const html = readFileSync(at(name), "utf8");
  const element = (id) => unpack(html.match(new RegExp(`<script id="${id}" type="text/plain">([^<]*)<`))[1]);
  const run = JSON.parse(new TextDecoder().decode(await element("run")));
  const samples = await element("samples");
  const columns = readColumns(samples, run.samples.columns, run.samples.buckets);
  for (const column in columns) columns[column] = [...columns[column]];
  return { html, run, columns, lines: readLog(run.log).map(({ shape, numbers }) => lineText(shape, numbers)) };
}

/** The page that the report makes of events and of samples [elapsed_s, voltage_now, status]. */
async function report(events, samples = [], ...options) {
  put("e", events.map((event) => `${JSON.stringify({ boot: 1, elapsed: 0, priority: 6, tag: "vorn", ...event })}\n`).join(""));
  const row = ([t, voltage, status]) => `1,${t}${",0".repeat(23)},${START_S + t},${voltage},,,,${status}\n`;
  put("s", SERIES_HEADER + samples.map(row).join(""));
  labMust("report", "e", "s", "-o", "page.html", ...options);
  return takeApart("page.html");
}

test("samples come through to the letter", async () => {
  const { columns } = await report([], [[0, 4000999, 1], [10, -2147483647, 1], [30, "", 4]]);
  assert.deepEqual(columns.first_t, [0, 10, 30]);
  assert.deepEqual(columns["voltage_mv.least"], [4000, -2147483, 0]);
  assert.deepEqual(columns["voltage_mv.has"], [1, 1, 0]);
  assert.deepEqual(columns.status_charging, [255, 255, 0]);
  assert.deepEqual(columns.status_full, [0, 0, 255]);
  assert.ok(!("current_ma.least" in columns), "a channel without a value takes no room");
});

// A log line can hold anything: markup that would end the script, bytes that are no text, the marks of the shapes.
test("no text gets out of its place", async () => {
  const evil = "</script><script>alert(1)</script><img src=x onerror=alert(2)>";
  const { html, run, lines } = await report([{ event: "log", text: `--- vorn "${evil}" 17 \x01\x02 end\n` }], [], "--title", evil);
  assert.ok(!html.includes("alert(") && !html.includes("onerror="));
  assert.equal(run.title, evil);
  assert.equal(lines.length, 1);
  assert.ok(lines[0].includes(`"${evil}" 17 ?? end`), lines[0]);

  put("trace.csv", "elapsed_s,cell_vendor_name\n0,</script>\xff\xfe\xe2\x82!\n");
  labMust("replay", "trace.csv", "--report", "page.html");
  assert.ok((await takeApart("page.html")).lines.some((line) => /"<\/script>\ufffd+!"/.test(line)));
});

// Events alone, as a log without a series leaves them, in a cycle that does not end.
test("the story goes on to the end without samples", async () => {
  const set = (elapsed, name, value, result = 0) => ({ event: "property_set", elapsed, name, value, result });
  const { story } = (await report([
    set(0, "persist.vendor.vorn.toc", "4450"), set(10, "vendor.vorn.pulldown_toc", "4250"), set(10, "persist.vendor.vorn.toc", "4250"),
    { event: "metric", elapsed: 10, buffer: 8, text: "lx6wwu6k:c4zx/2/04330401:100:pulldown_timer_s=604801;IN,chg_sts=4;IN,batt_volt_mv=4400;IN:NA" },
    set(200, "persist.vendor.vorn.toc", "4350", -1), set(210, "persist.vendor.vorn.toc", "4350", -1)])).run;
  const told = story.decisions.map((each) => JSON.stringify(each));
  assert.equal(told.length, 3, told);
  assert.match(told[0], /7 d 0 h.*4400 mV.*Lowered the top-of-charge voltage from 4450 to 4250 mV/);
  assert.match(told[1], /Could not set the property persist.vendor.vorn.toc/);
  assert.match(told[2], /Still at the end: Could not set the property/);
});

test("the last histogram is shown, and what it brought", async () => {
  const table = Buffer.alloc(396);
  table.writeFloatLE(100, 98 * 4);
  table.writeFloatLE(43801, 0); // more than five years: the daemon drops it
  table.writeFloatLE(NaN, 4);
  const write = { event: "write", path: `/${STRESS_FILE}`, result: 396 };
  const events = [{ ...write, data: table.toString("hex") }, { ...write, data: "00" },
    { event: "log", text: "vorn stress feature mock offset set to 250 \n" }];
  const { stress } = (await report(events)).run;
  assert.equal(stress.hours.length, 99);
  assert.equal(stress.hours[98], 100);
  assert.equal(stress.hours[1], null);
  assert.ok(Math.abs(stress.total_h - 3633.5) < 0.5, stress.total_h);
  assert.equal(stress.offset_h, 250);
  assert.equal(stress.levels[0].toc_mv, 4350);
  assert.equal(stress.levels[1].above_h, 16450);

  table.fill(0, 0, 8);
  put(`root/${STRESS_FILE}`, table);
  put("trace.csv", "elapsed_s\n0\n");
  labMust("replay", "trace.csv", "--root", "root", "--report", "page.html");
  assert.ok(Math.abs((await takeApart("page.html")).run.stress.first_h - 3633.5) < 0.5);
});

const TRACE = "boot,elapsed_s,voltage_now,current_now,temp,capacity,status\n" +
  Array.from({ length: 700 }, (_, i) => `1,${i * 30},${4000000 + i * 500},-300000,250,50,${i < 400 ? "Discharging" : "Charging"}\n`).join("") +
  Array.from({ length: 50 }, (_, i) => `2,${i * 10},4390000,0,,50,Full\n`).join("");

test("the files that a run leaves make the same page as the run", async () => {
  put("trace.csv", TRACE);
  labMust("replay", "trace.csv", "--events", "e", "--series", "s", "--samples", "--report", "a.html");
  labMust("report", "e", "s", "-o", "b.html", "--title", "trace");
  const [direct, fromFiles] = [await takeApart("a.html"), await takeApart("b.html")];
  assert.equal(fromFiles.run.origin, "files");
  assert.deepEqual({ ...fromFiles.run, origin: "replay" }, { ...direct.run, origin: "replay" });
  assert.deepEqual(fromFiles.columns, direct.columns);
  assert.equal(direct.run.clock.zone[0][2], "CET");
  const events = get("e").trimEnd().split("\n").map((line) => JSON.parse(line));
  const logged = events.filter(({ event }) => event === "log").map(({ text }) => text.trimEnd());
  assert.ok(logged.length > 50);
  for (const line of logged) assert.ok(direct.lines.includes(line), line);
});

test("an event that is none is refused with its place", () => {
  put("s", SERIES_HEADER);
  const good = '{"boot":1,"elapsed":0,"event":"log","priority":6,"tag":"v","text":"x"}\n';
  for (const [events, message] of [
    [`${good}{"boot":1,}\n`, "e:2:11: not JSON"],
    [`${good}${good}[1]\n`, "e:3:1: not a JSON object"],
    ['{"boot":1}', "e:1:1: no elapsed in the event"],
    ['{"boot":1.5,"elapsed":0}', "e:1:1: boot is not a whole number"],
    ['{"boot":1,"elapsed":0,"event":"noise"}', "e:1:1: unknown event: noise"],
    [good.replace('"x"', "3"), "e:1:1: text is not a text"],
    ['{"boot":1,"elapsed":0,"event":"write","path":"/a","data":"0g","result":1}', "e:1:1: data is not hexadecimal"],
  ]) {
    put("e", events);
    assert.equal(labRefuses("report", "e", "s", "-o", "page.html"), `vorn-lab: ${message}\n`);
  }
});

test("bad input is refused in one line that says what and where, and nothing is written", () => {
  put("trace.csv", TRACE.split("\n").slice(0, 5).join("\n"));
  labMust("replay", "trace.csv", "--events", "e", "--series", "s");
  put("cut.e", get("e").slice(0, 200));
  put("cut.s", get("s").slice(0, -20));
  put("empty", "");
  put("old.html", "old");
  const entries = readdirSync(at("."));
  for (const [words, message] of [
    ["nothing s -o old.html", "nothing: No such file or directory"],
    ["e nothing -o old.html", "nothing: No such file or directory"],
    ["s e -o old.html", "e: holds events, where the series should be (EVENTS comes first)"],
    ["s s -o old.html", "s:1:1: not JSON"],
    ["e trace.csv -o old.html", "trace.csv:1:1: no column toc_mv in the header row"],
    ["e empty -o old.html", "empty:1:1: no header row"],
    ["cut.e s -o old.html", "cut.e:2:78: not JSON"],
    ["e cut.s -o old.html", "cut.s:5:"],
    ["- - -o old.html", "EVENTS and SERIES: both from standard input"],
    ["e s -o ./e", "EVENTS and --output: the same file: e"],
    ["e s -o nowhere/new.html", "nowhere/new.html: No such file or directory"],
    ["e s -o .", ".: Is a directory"],
    ["e s", "--output is required (see vorn-lab report --help)"],
  ]) {
    assert.ok(labRefuses("report", ...words.split(" ")).startsWith(`vorn-lab: ${message}`), message);
    assert.deepEqual(readdirSync(at(".")), entries);
    assert.equal(get("old.html"), "old");
  }
});
