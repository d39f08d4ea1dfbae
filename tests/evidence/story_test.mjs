// The story of a device from whatever it left, in every form in which that comes.
// node --test story_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync } from "node:fs";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { inflateSync } from "node:zlib";
import { at, get, lab, labMust, labRefuses, labWith, put } from "../support/lab.mjs";

const here = (name) => fileURLToPath(new URL(name, import.meta.url));
const makeReport = (scenario, ...options) =>
    execFileSync(here("make_bug_report.py"), [process.env.VORN_LAB, here(`../../scenarios/${scenario}.toml`), at("br"), ...options]);
const line = (when, text) => `${when}   401   401 E vorn    : --- vorn ${text}\n`;
const START = "attempting to migrate persistent files ";
const times = (story) => [...story.matchAll(/^(.{19,20}?)  core {14}Started/gm)].map(([, when]) => when);

test("every packing of a bug report gives byte for byte the same story", () => {
    makeReport("stress_trip");
    const whole = labMust("story", "br/report.zip");
    for (const form of ["renamed.zip", "folder", "report.tar.gz", "nested.zip"]) assert.equal(labMust("story", `br/${form}`), whole, form);
    const text = labMust("story", "br/report.txt");
    assert.match(lab("story", "br/text.zip").stderr, /\(text in a \.zip: taken as text\)/);
    assert.doesNotMatch(lab("story", "br/report.txt.gz").stderr, /taken as/);
    for (const form of ["text.zip", "report.txt.gz", "utf16.txt", "crlf.txt"]) assert.equal(labMust("story", `br/${form}`), text, form);
    assert.equal(labMust("story", "br/report.txt", "br/root"), whole, "the text, and the files pulled by themselves");
    assert.equal(labWith(readFileSync(at("br/report.tar.gz")), "story", "-").stdout, whole);
    for (const part of [
        "Times: year from the report's head; Europe/Berlin (persist.sys.timezone).\n",
        "Not there: no samples: curves are missing.\n",
        "2026-03-28 08:00:10  battery stress    Lowered the top-of-charge voltage from 4450 to 4350 mV for good: the battery has",
        ">4400 mV, 40-45 °C: 1000",
        "4000-4200 mV, 20-25 °C: ",
        "  core              Started (boot 3)\n",
    ]) {
        assert.ok(whole.includes(part), `${part} in ${whole}`);
    }
    assert.equal([...whole.matchAll(/^ {41}(>|\d+-)\d+ mV.*stress hours/gm)].length, 5, "the buckets of the trip");
    // Each fact has its line, in the member that has it.
    const [, member, number] = labMust("story", "--where", "br/folder").match(
        /Lowered the[^]*?\n +at (FS[^\n:]+):(\d+) \(toc\.published\)\n/,
    );
    assert.match(get(`br/folder/${member}`).split("\n")[number - 1], /CHG_MGR New ToC setting: v=4350/);
    // One that was cut off costs only what it lost.
    const cut = lab("story", "--strict", "br/cut.tar.gz");
    assert.equal(cut.status, 1);
    assert.ok(cut.stdout.includes("Started (boot 3)"), cut.stdout);
    assert.match(cut.stderr, /logcat\.001: \d+ lines of the daemon, in part: truncated gzip input \(at byte \d+\), in line \d+\n/);
    const facts = JSON.parse(labMust("story", "--json", "br/cut.tar.gz"));
    assert.equal(facts.sources.filter(({ state }) => state === "in part").length, 2);
    assert.equal(lab("story", "--strict", "br/report.zip").status, 0);
});

for (const scenario of ["both_reasons", "precharge_fault", "thermal_runaway", "desk_charger", "power_cuts", "run_down"]) {
    test(`the log alone tells what the simulation told: ${scenario}`, () => {
        makeReport(scenario, "--others", "1");
        const told = (text) => text.split("\n").filter((each) => /^(\d{4}-| {41})/.test(each) && !/^.{21}~/.test(each));
        assert.deepEqual(told(labMust("story", "br/report.zip")), told(readFileSync(at("br/true.txt"), "utf8")));
    });
}

// The year comes from the report's head, the zone from its properties; the hour that comes twice from the order.
test("places each line in time, and says where it cannot", () => {
    const report = (made, zone, ...lines) => put("log", `== dumpstate: ${made}\n${lines.join("")}[persist.sys.timezone]: [${zone}]\n`);
    report(
        "2026-01-02 10:00:00",
        "Europe/Berlin",
        line("12-31 23:59:50.000", START),
        line("01-01 00:00:10.000", START),
        line("01-02 09:00:00.000", START),
    );
    assert.deepEqual(times(labMust("story", "log")), ["2025-12-31 23:59:50", "2026-01-01 00:00:10", "2026-01-02 09:00:00"]);
    report(
        "2026-10-25 12:00:00",
        "Europe/Berlin",
        line("10-25 02:30:00.000", START),
        line("10-25 02:59:50.000", START),
        line("10-25 02:10:00.000", START),
    );
    const utc = JSON.parse(labMust("story", "--json", "log")).decisions.map(({ utc_s }) => utc_s);
    assert.deepEqual(
        utc.map((each) => each - utc[0]),
        [0, 1790, 2400],
        "twice the same hour",
    );
    // --timezone is over the properties' zone; the times stay those of the log.
    assert.match(
        labMust("story", "--timezone", "Asia/Tokyo", "log"),
        /Times: [^\n]*Asia\/Tokyo \(--timezone\)[^]*2026-10-25 02:10:00  core/,
    );
    assert.match(labRefuses("story", "--timezone", "Asia/Tokio", "log"), /no time zone "Asia\/Tokio"/);
    // A clock that is set back within a boot, by less than a year, is no new year.
    report("2026-05-20 10:00:00", "UTC", line("05-19 10:00:00.000", START), line("02-03 10:00:00.000", "Performing reboot!"));
    assert.match(labMust("story", "log"), /^2026-05-19 10:00:00[^]*^2026-02-03 10:00:00  core +Rebooted/m);
    // Two boots before the clock is set: the first never is; the second is placed by when it was.
    const unset = (ms) => line(`01-01 00:00:${ms}`, "time now 15 fails sanity check ---");
    report(
        "2026-05-20 10:00:00",
        "UTC",
        line("01-01 00:00:15.000", START),
        unset("15.100"),
        line("01-01 00:00:14.000", START),
        unset("14.100"),
        line("01-01 00:10:14.000", "file read error /sys/x ---"),
        line("05-20 08:00:00.000", "Performing reboot!"),
    );
    const story = labMust("story", "log");
    assert.deepEqual(times(story), ["day unknown 00:00:15", "2026-05-20 07:50:00"]);
    assert.ok(story.includes("day unknown where a boot's clock was never set"), story);
    // Without a clue the year stays open; other forms say more, or less.
    put("log", line("03-28 08:00:00.000", START));
    assert.match(
        labMust("story", "log"),
        /^Times: year unknown; zone unknown: times as the evidence has them\.\n[^]*^\?{4}-03-28 08:00:00  core/m,
    );
    put("log", `2026-03-28 08:00:00.000 +0100   401   401 I vorn    : --- vorn ${START}\n`);
    assert.match(labMust("story", "log"), /^Times: the log has the year[^]*^2026-03-28 07:00:00  core/m);
    put("log", `I/vorn    (  401): --- vorn ${START}\n`);
    assert.match(labMust("story", "log"), /^Times: day unknown: the log has no times[^]*^day unknown 00:00:00  core/m);
});

test("says what contradicts itself, what is not there and what is not evidence", () => {
    put("log", `== dumpstate: 2026-05-20 10:00:00\n${line("05-20 08:00:00.000", "CHG_MGR New ToC setting: v=4350 ---")}`);
    put("getprop", "[persist.vendor.vorn.toc]: [4250]\n");
    assert.match(
        labMust("story", "log", "getprop"),
        /^Contradicts itself: the log ends with a top of charge of 4350 mV \(log:2\), the properties \(getprop:1\) say 4250 mV/m,
    );
    labMust("state", "set", "device", "last_datetime=2026-01-01T00:00:00Z", "toc_clients=2", "batt_stress[8][8]=1400");
    assert.match(
        labMust("story", "log", "device"),
        /^Contradicts itself: the log ends 2026-05-20 08:00:00, the state files were last written 2026-01-01 00:00:00/m,
    );
    // A pulled folder alone, as a tree or flat.
    const device = labMust("story", "device");
    assert.match(device, /^Not there: no log, events or trace[^]*top of charge: 4350 mV\n[^]*>4400 mV, 40-45 °C: 1400\.0 h/);
    assert.equal(labMust("story", "device/mnt/vendor/nvcfg/vorn"), device);
    // What looks like no stress and no time off at all is damage.
    labMust("state", "set", "--force", "device", "batt_stress[0][0]=nan", "last_datetime=2999-01-01T00:00:00Z");
    assert.match(
        labMust("story", "device"),
        /\n  damaged: batt_stress\[0\]\[0\] nan: the daemon lets it pass,[^\n]*\n  damaged: last_datetime \d+: [^\n]*\n  stress hours: 0\n/,
    );
    assert.equal(JSON.parse(labMust("story", "--json", "device")).damaged.length, 2);
    // Nothing that another tag says is the daemon's.
    put("x.7z", "7z\xbc\xaf'\x1c\0\x04");
    assert.match(labRefuses("story", "x.7z"), /it looks like a 7z archive: unpack it first/);
    put("log", "05-20 08:00:00.000   401   401 I other   : --- vorn attempting to migrate persistent files \n");
    assert.match(labRefuses("story", "log"), /^vorn-lab: log: nothing of the daemon in it/);
    put("empty", "");
    assert.match(labRefuses("story", "empty"), /^vorn-lab: empty: nothing of the daemon in it[^\n]*; it is empty$/m);
    assert.match(labRefuses("story", "nowhere"), /^vorn-lab: nowhere: No such file/);
});

test("lists several devices, the worst first, and one that is none costs only itself", () => {
    labMust("state", "set", "a", "toc_clients=0");
    labMust("state", "set", "b", "toc_clients=9");
    put("none", "nothing\n");
    const done = lab("story", "a", "none", "b");
    assert.equal(done.status, 2);
    assert.match(done.stdout, /^b: 4000 mV, 0 stress hours, 0 actions, 0 findings\na: 4450 mV, [^\n]*\n$/);
    assert.match(done.stderr, /^vorn-lab: none: nothing of the daemon in it[^]*vorn-lab: 1 of 3 inputs: not read\n$/);
    const devices = (text) =>
        text
            .trimEnd()
            .split("\n")
            .map((each) => JSON.parse(each).device);
    assert.deepEqual(devices(labMust("story", "--json", "a", "b")), ["b", "a"]);
    put("b/mnt/vendor/nvcfg/vorn/batt_stress", "short");
    assert.equal(lab("check", "a", "b").stdout, "b: wrong: files.whole, files.plausible\na: nothing wrong\n");
    assert.deepEqual(devices(lab("check", "--json", "a", "b").stdout), ["b", "a"]);
    // The page is of one, and mixes no two.
    assert.match(labRefuses("report", "a", "b", "-o", "p.html"), /^vorn-lab: a and b: two devices, or one at two times/);
    assert.match(lab("story", "none", "none").stderr, /vorn-lab: nothing was read of 2 inputs\n$/);
});

// What the page holds of the run is packed into it.
test("makes the page of a device, which says from where it knows", () => {
    makeReport("stress_trip", "--others", "3");
    const page = (...words) => {
        labMust("report", ...words, "-o", "p.html");
        const [, packed] = get("p.html").match(/<script id="run" type="text\/plain">([^<]+)/);
        return JSON.parse(inflateSync(Buffer.from(packed, "base64")));
    };
    const told = page("br/report.zip", "--title", "A phone");
    assert.equal(told.about.title ?? told.title, "A phone");
    const lowered = told.story.decisions.find(({ sentence }) =>
        sentence.startsWith("Lowered the top-of-charge voltage from 4450 to 4350 mV"),
    );
    assert.equal(lowered.numbers.filter(([name]) => / °C$/.test(name)).length, 5, "the buckets of the trip");
    assert.match(Object.fromEntries(lowered.numbers).source, /^FS\/data\/misc\/logd\/logcat\.\d+:\d+ \(toc\.published\)$/);
    for (const part of [/of the daemon and none of the \d+ of others/, /Not there: no samples: curves are missing/, /Europe\/Berlin/]) {
        assert.match(JSON.stringify(told), part);
    }
    // With the samples and the state, the curves too; a log that they agree with is proven.
    labMust("simulate", "--quiet", here("../../scenarios/stress_trip.toml"), "--trace", "t.csv");
    assert.match(JSON.stringify(page("br/report.txt", "t.csv", "t.csv.root")), /Proof by replay: (\d+) of \1 decisions as logged/);
    assert.match(labRefuses("report", "br/report.zip", "-o", "br/report.zip"), /the same file/);
});

// Everything but the daemon's own lines, files and properties stays where it is.
test("lets nothing out that is somebody's", () => {
    const secrets = [];
    const secret = (text) => (secrets.push(text), text);
    let log = "== dumpstate: 2026-05-20 10:00:00\n";
    for (let i = 0; i < 10; ++i) {
        log += `05-20 08:00:00.000  1000  1000 D Wifi    : ssid=${secret(`HomeOf_Roe_${i}`)} vorn\n`;
        log += line(`05-20 08:0${i}:00.000`, "CHG_MGR New ToC setting: v=4350 ---");
        log += `05-20 08:00:00.000  1000  1000 D Mail    : from ${secret(`jane.roe${i}@example.org`)}\n`;
        log += `05-20 08:00:00.000  1000  1000 D Phone   : --- vorn call to ${secret(`+4917012345${i}0`)} imei ${secret(`49015420323751${i}`)}\n`;
    }
    log += `[ro.serialno]: [${secret("R58N12ABCDE")}]\n[net.hostname]: [${secret("janes-phone")}]\n[persist.vendor.vorn.toc]: [4350]\n`;
    const folder = `${secret("R58M99ZZ123")}/${secret("john.doe@example.org")}`;
    put(`in/${folder}/log.txt`, log);
    put(`in/${folder}/getprop.txt`, `persist.vendor.account=${secret("roe4711")}\npersist.vendor.vorn.toc=4350\n`);
    for (let i = 0; i < 5; ++i) put(`in/${secret(`35209900176148${i}`)}.txt`, `${secret(`note to self ${i}`)}\n`);
    assert.ok(new Set(secrets).size >= 50);
    labMust("report", "in", "-o", "p.html");
    const [, packed] = get("p.html").match(/<script id="run" type="text\/plain">([^<]+)/);
    const told = lab("story", "--where", "--all", "in");
    const page = inflateSync(Buffer.from(packed, "base64")).toString();
    for (const output of [told.stdout, told.stderr, labMust("story", "--json", "in"), get("p.html"), page]) {
        for (const each of secrets) assert.ok(!output.includes(each), each);
    }
    assert.match(told.stdout + page, /4350[^]*4350/);
});

// The daemon that ships, over the samples of a device, against what the device's log says.
test("proves a log by replay, and says where it parts", () => {
    makeReport("both_reasons", "--others", "1");
    labMust("simulate", "--quiet", here("../../scenarios/both_reasons.toml"), "--trace", "t.csv");
    const proof = (...words) => labMust("story", ...words).match(/^Proof by replay: (.*)\.$/m)[1];
    assert.match(proof("br/report.txt", "t.csv", "t.csv.root"), /^(\d+) of \1 decisions as logged$/);
    // A node less, and the first hours not recorded.
    put("less.csv", get("t.csv").replace("current_now", "some_current"));
    assert.match(
        proof("br/report.txt", "less.csv", "t.csv.root"),
        /the first that is not: .*the trace lacks \/sys\/class\/power_supply\/battery\/current_now/,
    );
    const [header, ...rows] = get("t.csv").split("\n");
    put("late.csv", [header, ...rows.slice(2000)].join("\n"));
    assert.match(proof("br/report.txt", "late.csv"), /Likely: the recording does not start at a boot/);
});
