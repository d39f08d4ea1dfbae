// What is in the page: the run as it was, whatever its texts hold, and the same from the files that it left.
// node --test page_data_test.mjs, with VORN_LAB as the program. The page's own module takes it apart.

import assert from "node:assert/strict";
import { createHash } from "node:crypto";
import { readdirSync, readFileSync } from "node:fs";
import { test } from "node:test";
import { lineText, readColumns, readLog, unpack } from "../../lab/report/page/data.js";
import { at, get, lab, labMust, labRefuses, put } from "../support/lab.mjs";

const DAEMON_COLUMNS =
    "toc_mv,perm_step,temp_step,charge_timer_flag,thermal_flag,precharge_flag,dyn_soc_state,dcr,qmax,ocv,ocv_avg,soc_v," +
    "soc_c,soc_raw,soc_scal,soc_act,soc_smooth,soc_ui,landing_state,smoothing_active,i_avg_ma,i_targ_ma,soc_off";
const SERIES_HEADER = `boot,elapsed_s,${DAEMON_COLUMNS},realtime_s,voltage_now,current_now,temp,capacity,status\n`;
const STRESS_FILE = "mnt/vendor/nvcfg/vorn/batt_stress";
const START_S = 1780000000;
const NO_CLOCK_S = 1767225600; // what a trace without a wall clock counts from

/** The run's JSON, the samples' columns and the log's lines of a page. */
async function takeApart(name) {
    const html = readFileSync(at(name), "utf8");
    const element = (id) => unpack(html.match(new RegExp(`<script id="${id}" type="text/plain">([^<]*)<`))[1]);
    const run = JSON.parse(new TextDecoder().decode(await element("run")));
    const samples = await element("samples");
    const columns = readColumns(samples, run.samples.columns, run.samples.rows);
    for (const column in columns) columns[column] = [...columns[column]];
    return { html, run, columns, lines: readLog(run.log).map(lineText) };
}

/** The page that the report makes of events and of samples [elapsed_s, voltage_now, status]. */
async function report(events, samples = [], ...options) {
    put("e", events.map((event) => `${JSON.stringify({ boot: 1, elapsed: 0, priority: 6, tag: "vorn", ...event })}\n`).join(""));
    const row = ([t, voltage, status, boot = 1, start = START_S]) =>
        `${boot},${t}${",0".repeat(23)},${start + t},${voltage},,,,${status}\n`;
    put("s", SERIES_HEADER + samples.map(row).join(""));
    labMust("report", "e", "s", "-o", "page.html", ...options);
    return takeApart("page.html");
}

test("samples come through to the letter", async () => {
    const { columns } = await report(
        [],
        [
            [0, 4000999, 1],
            [10, -2147483647, 1],
            [30, "", 4],
        ],
    );
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
    const { html, run, lines } = await report([{ event: "log", text: `--- vorn "${evil}" 17 \x01\x7f end\n` }], [], "--title", evil);
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
    const { story } = (
        await report([
            set(0, "persist.vendor.vorn.toc", "4450"),
            set(10, "vendor.vorn.pulldown_toc", "4250"),
            set(10, "persist.vendor.vorn.toc", "4250"),
            {
                event: "metric",
                elapsed: 10,
                buffer: 8,
                text: "lx6wwu6k:c4zx/2/04330401:100:pulldown_timer_s=604801;IN,chg_sts=4;IN,batt_volt_mv=4400;IN:NA",
            },
            set(200, "persist.vendor.vorn.toc", "4350", -1),
            set(210, "persist.vendor.vorn.toc", "4350", -1),
        ])
    ).run;
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
    const events = [
        { ...write, data: table.toString("hex") },
        { ...write, data: "00" },
        { event: "log", text: "vorn stress feature mock offset set to 250 \n" },
    ];
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

test("a gap and a reboot are told from samples", async () => {
    const { run, columns } = await report(
        [],
        [
            [0, 4e6, 1],
            [10, 4e6, 1],
            [20, 4e6, 1],
            [3000, 4e6, 2],
            [3010, 4e6, 2],
            [0, 4e6, 2, 2, START_S + 9000],
            [10, 4e6, 2, 2, START_S + 9000],
        ],
    );
    assert.deepEqual(columns.after, [0, 0, 0, 1, 0, 2, 0]);
    assert.deepEqual(run.gaps.gaps, [
        [20, 3000, 0],
        [3010, 9000, 1],
    ]);
    assert.equal(run.clock.start_s, START_S);
    assert.equal(run.sessions.sessions.length, 1);
    assert.equal(run.sessions.sessions[0].end, "unplugged");
    const unknown = await report(
        [],
        [
            [0, 4e6, 1, 1, NO_CLOCK_S],
            [10, 4e6, 1, 1, NO_CLOCK_S],
        ],
    );
    assert.equal(unknown.run.clock.start_s, null);
});

test("the page of a scenario says what happened to the phone and what was expected", async () => {
    put(
        "s.toml",
        `[[phase]]\nfor = "30 h"\nambient_c = 10\ncharger = "wall"\n[[event]]\ndo = "heater"\nwatt = 2\nat = "2 h"\nfor = "1 h"\n` +
            `[[event]]\ndo = "power_cut"\nat = "20 h"\nfor = "7 min"\n[[expect]]\nlog = "no such line"\nmin = 1\n[[expect]]\ncell = "true_mv"\nmin = 1000\n`,
    );
    lab("simulate", "s.toml", "--quiet", "--report", "page.html");
    const { run, columns } = await takeApart("page.html");
    assert.deepEqual(
        run.happenings.map(({ t, for_s }) => [t, for_s]),
        [
            [7200, 3600],
            [72000, 420],
        ],
    );
    assert.deepEqual(
        run.expectations.map(({ holds }) => holds),
        [false, true],
    );
    assert.match(run.expectations[0].found, /^0$/);
    assert.match(run.caution, /below 20 .* no ageing was measured/);
    assert.deepEqual(
        run.gaps.gaps.map(([, , isOff]) => isOff),
        [1],
    );
    assert.ok("charger_wall" in columns && "screen_on" in columns);
    assert.equal(run.other.samples, null, "the two runs are the same");
    assert.deepEqual(run.other.differences, []);
});

const TRACE =
    "boot,elapsed_s,voltage_now,current_now,temp,capacity,status,cell_vendor_name\n" +
    Array.from(
        { length: 700 },
        (_, i) => `1,${i * 30},${4000000 + i * 500},-300000,250,50,${i < 400 ? "Discharging" : "Charging"},ATL\n`,
    ).join("") +
    Array.from({ length: 50 }, (_, i) => `2,${i * 10},4390000,0,,50,Full,ATL\n`).join("");

test("the files that a run leaves make the same page as the run", async () => {
    put("trace.csv", TRACE);
    labMust("replay", "trace.csv", "--events", "e", "--series", "s", "--samples", "--report", "a.html");
    labMust("report", "e", "s", "-o", "b.html", "--title", "trace");
    const [direct, fromFiles] = [await takeApart("a.html"), await takeApart("b.html")];
    assert.equal(fromFiles.run.origin, "files");
    const same = ({ run }) => ({ ...run, origin: "", about: "" });
    assert.deepEqual(same(fromFiles), same(direct));
    assert.deepEqual(fromFiles.columns, direct.columns);
    assert.equal(direct.run.clock.start_s, null, "this trace has no wall clock");
    assert.match(direct.run.about.command, /^vorn-lab replay trace.csv --events e/);
    assert.equal(direct.run.about.sha256, createHash("sha256").update(TRACE).digest("hex"));
    assert.equal(direct.run.about.vendor, "ATL");
    const events = get("e")
        .trimEnd()
        .split("\n")
        .map((line) => JSON.parse(line));
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
        ["s s -o old.html", "s, s: a series, of which the events are missing"],
        ["e empty -o old.html", "empty: nothing of the daemon in it"],
        ["cut.e s -o old.html", "cut.e:2:78: not JSON"],
        ["e cut.s -o old.html", "cut.s:5:"],
        ["- - -o old.html", "EVIDENCE: standard input is there once only"],
        ["e s -o ./e", "EVIDENCE and --output: the same file: e"],
        ["e s -o nowhere/new.html", "nowhere/new.html: No such file or directory"],
        ["e s -o .", ".: Is a directory"],
        ["e s", "--output is required (see vorn-lab report --help)"],
    ]) {
        assert.ok(labRefuses("report", ...words.split(" ")).startsWith(`vorn-lab: ${message}`), message);
        assert.deepEqual(readdirSync(at(".")), entries);
        assert.equal(get("old.html"), "old");
    }
});

test("a second run stands beside the first, with what only one of the two decided", async () => {
    const set = (elapsed, value) =>
        `${JSON.stringify({ boot: 1, elapsed, event: "property_set", name: "persist.vendor.vorn.toc", value, result: -1 })}\n`;
    const row = (t, voltage) => `1,${t}${",0".repeat(23)},${START_S + t},${voltage},,,,1\n`;
    put("one.jsonl", set(10, "4350"));
    put("one.csv", SERIES_HEADER + row(0, 4000000) + row(600, 4100000));
    put("two.jsonl", "");
    put("two.csv", SERIES_HEADER + row(0, 4000000) + row(600, 4200000));
    labMust("report", "one.jsonl", "one.csv", "--beside", "two.csv", "two.jsonl", "-o", "page.html");
    const { html, run } = await takeApart("page.html");
    assert.equal(run.other.title, "two");
    assert.deepEqual(
        run.other.differences.map(({ of_second: ofSecond, t }) => [ofSecond, t]),
        [[false, 10]],
    );
    const bytes = await unpack(html.match(/<script id="other-samples" type="text\/plain">([^<]*)</)[1]);
    const columns = readColumns(bytes, run.other.samples.columns, run.other.samples.rows);
    assert.deepEqual([...columns["voltage_mv.least"]], [4000, 4200]);

    assert.match(labRefuses("report", "one.jsonl", "one.csv", "--beside", "two.csv", "two.csv", "-o", "page.html"), /--beside: two.csv/);
    assert.match(labRefuses("report", "one.csv", "--beside", "two.jsonl", "two.csv", "-o", "page.html"), /--beside: one.csv/);
    assert.match(labRefuses("report", "-", "one.csv", "--beside", "-", "two.csv", "-o", "page.html"), /standard input/);
    labRefuses("report", "one.jsonl", "one.csv", "--beside", "two.jsonl", "two.csv", "-o", "two.csv");
    assert.match(get("two.csv"), /^boot/);
});
