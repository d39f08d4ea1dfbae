// Results as data: what simulate and replay print as JSON, read as their readers would. node --test, with VORN_LAB.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { readFileSync } from "node:fs";
import { test } from "node:test";
import { get, lab, labMust, labRefuses, put } from "../support/lab.mjs";

const WEAK = 'seed = 9\n[[phase]]\nfor = "21 h"\ncharger = "usb"\nload_mw = 1700\n[cell]\nsoc_pct = 40\n';
const runsOf = (...words) => JSON.parse(labMust(...words)).runs;

test("the result of a run says how it ended and what was decided", () => {
    put("usual.toml", WEAK);
    put("weak.toml", `${WEAK}[[expect]]\nseries = "stress_h"\nmax = 1\n`);
    const done = lab("simulate", "--json", "weak.toml");
    assert.equal(done.status, 1);
    assert.match(done.stderr, /^weak\.toml:8: series stress_h /);
    const {
        schema,
        runs: [run],
    } = JSON.parse(done.stdout);
    assert.equal(schema, "vorn-lab/run/1");
    assert.deepEqual([run.status, run.seed, run.expectations.count, run.reference], ["unexpected", 9, 1, "phone"]);
    assert.equal(run.charge_stopped.length, 1);
    const [{ why, begin_s, lasted_s, is_open }] = run.charge_stopped;
    assert.deepEqual([why, is_open, begin_s + lasted_s], ["charge timer", true, run.end.end_s]);
    assert.ok(Math.abs(run.end.stopped_h - lasted_s / 3600) < 0.001);
    assert.equal(run.decisions.filter(({ sentence }) => sentence.startsWith("Stopped charging")).length, 1);
    // The whole is the sum of its boots, and the series says the same.
    for (const key of Object.keys(run.end.cost))
        assert.equal(
            run.boots.reduce((sum, { cost }) => sum + cost[key], 0),
            run.end.cost[key],
            key,
        );
    labMust("simulate", "usual.toml", "--quiet", "--series", "s");
    const rows = get("s").trimEnd().split("\n").slice(1);
    assert.equal(rows.length, run.end.cost.cycles);
    assert.equal(Number(rows.at(-1).split(",")[25]), run.end.stress_h);
    assert.deepEqual(
        labMust("simulate", "usual.toml", "--quiet", "--series", "-", "--every", "1 h").split("\n").slice(1, -1),
        rows.filter((row) => Number(row.split(",")[1]) % 3600 === 0),
    );
});

test("several run side by side and come in the order given; one that cannot run fails all", () => {
    put("long.toml", WEAK);
    put("short.toml", '[[phase]]\nfor = "1 h"\n');
    const texts = ["long.toml", "short.toml"].map((file) => labMust("simulate", file).replace(/took.*/, ""));
    assert.equal(labMust("simulate", "long.toml", "short.toml").replaceAll(/took.*/g, ""), texts.join("\n\n"));
    assert.deepEqual(
        runsOf("simulate", "--json", "long.toml", "short.toml").map(({ title }) => title),
        ["long", "short"],
    );
    put("never.toml", `${WEAK.replace("soc_pct = 40", "soc_pct = -1").replace('charger = "usb"', "")}`);
    assert.match(labRefuses("simulate", "--quiet", "never.toml", "never.toml"), /never starts/);
});

test("a replay of its trace ends alike; the reference is the gauge, or the trace's own column", () => {
    put("weak.toml", WEAK);
    labMust("simulate", "--quiet", "weak.toml", "--trace", "t.csv");
    const [[simulated], [replayed]] = [runsOf("simulate", "--json", "weak.toml"), runsOf("replay", "--json", "t.csv")];
    assert.deepEqual(replayed.digests, simulated.digests);
    assert.deepEqual(replayed.end.cost, simulated.end.cost);
    assert.equal(replayed.reference, "gauge");
    const truth = get("t.csv").replaceAll(/^(.*)$/gm, (row) =>
        row === "" ? row : `${row},${row.startsWith("elapsed") ? "soc_true_pct" : "50"}`,
    );
    put("t.csv", truth);
    const [marked] = runsOf("replay", "--json", "t.csv");
    assert.equal(marked.reference, "trace");
    assert.ok(Math.abs(marked.end.estimated.mean_pct + 50 - simulated.end.estimated.mean_pct) > 1);
});

test("the document's jq lines do what they say", () => {
    const document = readFileSync(new URL("../../docs/formats.md", import.meta.url), "utf8");
    const lines = [...document.matchAll(/^ {4}vorn-lab (simulate .*) \| (jq .*)$/gm)];
    assert.ok(lines.length >= 3);
    put("weak.toml", WEAK);
    for (const [, words, filter] of lines) {
        const json = labMust(...words.replace("scenarios/*.toml", "weak.toml").replace("FILE", "weak.toml").split(" "));
        const { status, stdout, stderr } = spawnSync("sh", ["-c", filter], { input: json, encoding: "utf8" });
        assert.equal(status, 0, stderr);
        assert.ok(stdout.trim() !== "" && !stdout.includes("null"), `${filter}: ${stdout}`);
    }
    assert.match(labRefuses("simulate", "weak.toml", "--json", "--events", "-"), /--json: standard output is taken already/);
    assert.match(labRefuses("simulate", "weak.toml", "--series", "s", "--every", "soon"), /--every: not a duration/);
});
