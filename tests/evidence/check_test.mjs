// Whether a device is wired as the daemon expects: what the check says of devices that are, and that are not.
// node --test check_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { at, get, lab, labMust, labRefuses, put } from "../support/lab.mjs";

const WEEK = fileURLToPath(new URL("../../scenarios/ordinary_week.toml", import.meta.url));

const verdicts = (...words) =>
    Object.fromEntries(JSON.parse(lab("check", "--json", ...words).stdout).findings.map(({ id, verdict }) => [id, verdict]));

/** The recording with each row changed, two days of it. */
function rewire(change) {
    const [header, ...rows] = get("week.csv").trimEnd().split("\n").slice(0, 17000);
    const names = header.split(",");
    const changed = rows.map((row) => {
        const cells = Object.fromEntries(row.split(",").map((cell, i) => [names[i], cell]));
        change(cells);
        return names.map((name) => cells[name]).join();
    });
    put("wired.csv", `${[header, ...changed].join("\n")}\n`);
}

test("a well-wired phone has nothing wrong, and each wrong wire is told", () => {
    labMust("simulate", "--quiet", WEEK, "--trace", "week.csv");
    const well = lab("check", "week.csv");
    assert.equal(well.status, 0, well.stdout);
    assert.deepEqual(
        Object.entries(verdicts("week.csv")).filter(([, verdict]) => !["ok", "not there"].includes(verdict)),
        [],
    );
    const times = (name, factor) => (cells) => (cells[name] = String(Math.trunc(cells[name] * factor)));
    for (const [change, id, verdict] of [
        [times("current_now", -1), "sign.current", "wrong"],
        [times("current_now", 1e-3), "unit.current", "wrong"],
        [times("voltage_now", 1e-3), "unit.voltage", "wrong"],
        [times("temp", 0.1), "unit.temp", "wrong"],
        [times("current_now", 0.5), "scale.current", "wrong"],
        [(cells) => (cells.voltage_now = "4000000"), "moves.voltage", "wrong"],
        [(cells) => (cells.status = cells.status.toUpperCase()), "status.words", "wrong"],
    ]) {
        rewire(change);
        assert.equal(verdicts("wired.csv")[id], verdict, id);
        assert.equal(lab("check", "wired.csv").status, 1);
    }
    rewire(times("current_now", -1));
    assert.match(labMust("check", "--assume", "sign=-", "wired.csv"), /^assuming sign=-\n[^]*^ok +sign\.current/m);
});

test("one fault does not hide another", () => {
    labMust("simulate", "--quiet", WEEK, "--trace", "week.csv");
    const late =
        (name, held = []) =>
        (cells) => {
            held.push(cells[name]);
            cells[name] = held.length > 30 ? held.shift() : held[0];
        };
    const half = (cells) => (cells.current_now = String(cells.current_now / 2));
    for (const [changes, expected] of [
        [
            [(cells) => (cells.current_now = "-300000"), (cells) => (cells.capacity = "50")],
            { "moves.current": "wrong", "moves.capacity": "wrong" },
        ],
        [[half, (cells) => (cells.capacity = cells.temp)], { "scale.current": "wrong", "range.capacity": "wrong" }],
        [[late("current_now"), late("status")], { "status.delay": "doubtful", "sign.current": "ok" }],
        [[late("current_now"), (cells) => (cells.status = "Charging")], { "status.delay": "doubtful", "moves.status": "doubtful" }],
    ]) {
        rewire((cells) => changes.forEach((change) => change(cells)));
        const found = verdicts("wired.csv");
        for (const [id, verdict] of Object.entries(expected)) assert.equal(found[id], verdict, `${id} of ${changes}`);
    }
    rewire((cells) => (cells.current_now = String(-cells.current_now)));
    const [header, ...rows] = get("wired.csv").trimEnd().split("\n");
    put("thin.csv", `${[header, ...rows.filter((_, i) => i % 30 === 0)].join("\n")}\n`);
    assert.deepEqual([verdicts("thin.csv")["sign.current"], verdicts("thin.csv").spacing], ["wrong", "doubtful"]);
    // Two minutes of a phone in a drawer: the noise of its gauge is no answer to anything.
    const noise = [-98, -90, -88, -99, -98, -94, -91, -86, -98, -84, -90, -98, -89];
    const volts = [3824, 3823, 3821, 3823, 3822, 3820, 3822, 3822, 3822, 3822, 3820, 3823, 3822];
    put("drawer.csv", `elapsed_s,voltage_now,current_now\n${noise.map((ma, i) => `${i * 10},${volts[i]}000,${ma}000\n`).join("")}`);
    assert.equal(verdicts("drawer.csv")["sign.current"], "cannot say");
});

test("what the evidence cannot tell is no fault", () => {
    put("short.csv", "elapsed_s,voltage_now\n0,4000000\n10,4000000\n");
    const found = verdicts("short.csv");
    assert.deepEqual(
        [found["moves.voltage"], found["sign.current"], found["files.whole"], found["clock.steps"]],
        ["cannot say", "not there", "not there", "ok"],
    );
    labMust("check", "short.csv");
    // State files by themselves; a short one is wrong.
    labMust("state", "set", "device", "toc_clients=2");
    assert.match(labMust("check", "device"), /^ok +files\.plausible +1 values$/m);
    put("device/mnt/vendor/nvcfg/vorn/batt_stress", "short");
    const done = lab("check", "device");
    assert.equal(done.status, 1);
    assert.match(done.stdout, /^wrong +files\.whole +batt_stress has 5 bytes, not \d+\n +the daemon starts from zero/m);
    assert.match(labMust("check", "--explain", "sign.current"), /^sign\.current: Is the current positive while charging\?\n/);
    assert.match(labRefuses("check", "--explain", "sing"), /neither a check nor a line of the daemon.s log: sing/);
});
