// One scenario with many values: vorn-lab sweep. node --test, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { existsSync, readdirSync } from "node:fs";
import { test } from "node:test";
import { at, get, lab, labMust, labRefuses, put } from "../support/lab.mjs";

const PHONE = 'title = "a phone"\n[[phase]]\nfor = "3 h"\nload_mw = 900\ncharger = "wall"\n[cell]\nsoc_pct = 60\n';
const rows = (...words) =>
    labMust("sweep", "x.toml", "--csv", ...words)
        .trimEnd()
        .split("\n")
        .map((line) => line.split(","));

test("each value is run with each other one, or side by side, as simulate would", () => {
    put("x.toml", PHONE);
    const grid = rows("--vary", "phase.*.ambient_c=15..35:10", "--vary", "cell.soc_pct=20,60");
    assert.deepEqual(grid[0].slice(0, 4), ["phase.*.ambient_c", "cell.soc_pct", "status", "expectations.failures"]);
    assert.deepEqual(
        grid.slice(1).map(([warm, level, status]) => `${warm} ${level} ${status}`),
        ["15 20 good", "15 60 good", "25 20 good", "25 60 good", "35 20 good", "35 60 good"],
    );
    const zipped = rows("--zip", "--vary", "phase.*.ambient_c=15,35", "--vary", "cell.soc_pct=20,60", "-j", "1");
    assert.deepEqual(zipped.slice(1), [grid[1], grid[6]]);
    const [run] = JSON.parse(labMust("simulate", "--json", "x.toml", "--set", "phase[0].ambient_c=35", "--set", "cell.soc_pct=60")).runs;
    assert.equal(Number(grid[6][grid[0].indexOf("end.stress_h")]), run.end.stress_h);
    assert.deepEqual(
        rows("--vary", "cell.soc_pct=0.1..0.3:0.1").map(([level]) => level),
        ["cell.soc_pct", "0.1", "0.2", "0.3"],
    );
    const all = JSON.parse(labMust("sweep", "x.toml", "--json", "--vary", "phase[0].charger=usb,wall", "--set", "seed=4"));
    assert.deepEqual(
        [all.schema, all.keys, all.rows.map(({ values }) => values[0])],
        ["vorn-lab/sweep/1", ["phase[0].charger"], ["usb", "wall"]],
    );
    assert.deepEqual(all.rows[1].run.settings, ["seed=4", "phase[0].charger=wall"]);
});

test("a table for a person, its differences to one value, and the curves", () => {
    put("x.toml", PHONE);
    const vary = ["--vary", "phase.*.ambient_c=15,35", "--vary", "charger.wall_ma=1000,3000"];
    const table = labMust("sweep", "x.toml", ...vary, "--report", "p.html").split("\n");
    assert.match(table[0], /^phase\.\*\.ambient_c {2}charger\.wall_ma {2}published .*estimate off/);
    assert.equal(table.length, 6);
    const differences = labMust("sweep", "x.toml", ...vary, "--reference", "15").split("\n");
    const words = (line) => line.trim().split(/ +/);
    assert.deepEqual(differences.slice(1, 3).map(words), table.slice(1, 3).map(words)); // the reference itself
    assert.match(differences[3], / 35 .* \+0 mV .* [+-]\d/);
    assert.match(differences[4], / 35 .*3000 .* \+0 mV/);
    const page = get("p.html");
    assert.match(page, /<title>a phone<\/title>/);
    assert.equal(page.match(/<svg /g).length, 7);
    assert.equal(page.match(/<circle /g).length, 28);
    assert.ok(page.includes("charger.wall_ma = 3000"));
    assert.ok(!/<script|https?:/.test(page));
});

test("what is kept is not run again, and only under the same build, scenario and values", () => {
    put("x.toml", PHONE);
    const again = (...more) => lab("sweep", "x.toml", "--csv", "--vary", "cell.soc_pct=20,40,60", "--keep", "kept", ...more);
    const first = again();
    assert.deepEqual([first.status, first.stderr, readdirSync(at("kept")).length], [0, "", 3]);
    assert.deepEqual([again().stdout, again().stderr], [first.stdout, "3 of 3 were known\n"]);
    assert.equal(again("--set", "seed=2").stderr, "");
    assert.equal(readdirSync(at("kept")).length, 6);
    put("x.toml", PHONE.replace("900", "800"));
    assert.equal(again().stderr, "");
    for (const name of readdirSync(at("kept"))) put(`kept/${name}`, "{");
    const spoilt = again();
    assert.deepEqual([spoilt.status, spoilt.stdout], [2, ""]);
    assert.match(spoilt.stderr, /^vorn-lab: kept\/[0-9a-f]{16}\.json: [^\n]+\n$/);
});

test("a run that fails is a row, and a wrong word changes nothing", () => {
    put("x.toml", PHONE.replace('charger = "wall"\n', ""));
    const { status, stdout, stderr } = lab("sweep", "x.toml", "--vary", "cell.soc_pct=-1,60", "--keep", "kept");
    assert.deepEqual([status, stderr], [3, "vorn-lab: no answer: 1 of 2 did not run to the end\n"]);
    assert.match(stdout, /\n +-1 .*failed: .*x\.toml.*never starts/);
    for (const [words, why] of [
        [[], /nothing to --vary/],
        [["--vary", "seed"], /--vary: not KEY=V1,V2 or KEY=FROM\.\.TO:STEP: seed/],
        [["--vary", "seed="], /--vary: not KEY/],
        [["--vary", "seed=1,,2"], /--vary: a value is empty or there twice/],
        [["--vary", "seed=1,1"], /there twice/],
        [["--vary", "seed=5..1"], /--vary: not FROM\.\.TO:STEP, upward: seed=5\.\.1/],
        [["--vary", "seed=1..5:0"], /upward/],
        [["--vary", "seed=1..1e9"], /too many values/],
        [["--vary", "seed=1..999", "--vary", "number=1..999"], /more than 100000 runs/],
        [["--vary", "seed=1,2", "--vary", "seed=3"], /--vary: given twice: seed/],
        [["--vary", "seed=1,2", "--vary", "number=3", "--zip"], /--zip: seed has 2 values, number 1/],
        [["--vary", "phase[4].load_mw=1"], /there is phase\[0\] only/],
        [["--vary", "seed=1,x"], /seed must be a whole number/],
        [["--vary", "seed=1", "--reference", "2"], /--reference: no --vary has the value 2/],
        [["--vary", "seed=1", "--reference", ""], /--reference: is empty/],
        [["--vary", "seed=1", "--csv", "--json"], /one of the two/],
        [["--vary", "seed=1", "--report", "-", "--csv"], /standard output is taken/],
        [["--vary", "seed=1", "--report", "x.toml"], /x\.toml/],
        [["--vary", "seed=1", "-j", "none"], /not a count/],
    ])
        assert.match(labRefuses("sweep", "x.toml", ...words, ...(words.includes("--report") ? [] : ["--report", "p.html"])), why);
    assert.ok(!existsSync(at("p.html")));
});
