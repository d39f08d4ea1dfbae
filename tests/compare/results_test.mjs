// Results as data: what simulate and replay print as JSON, read as their readers would. node --test, with VORN_LAB.

import assert from "node:assert/strict";
import { existsSync, readdirSync, readFileSync, writeFileSync } from "node:fs";
import { test } from "node:test";
import { askAsDocumented, at, get, lab, labMust, labRefuses, put } from "../support/lab.mjs";

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
    put("weak.toml", WEAK);
    askAsDocumented("simulate", labMust("simulate", "--json", "weak.toml"));
    const [levels] = askAsDocumented("sweep", labMust("sweep", "weak.toml", "--json", "--vary", "cell.soc_pct=20,60"));
    assert.match(levels, /^20\t[\d.]+\n60\t[\d.]+\n$/);
    assert.match(labRefuses("simulate", "weak.toml", "--json", "--events", "-"), /--json: standard output is taken already/);
    assert.match(labRefuses("simulate", "weak.toml", "--series", "s", "--every", "soon"), /--every: not a duration/);
});

// The places of a document's values and of which kind they are: `.runs[].end.stress_h number`. Left aside are null, the
// numbers of a sentence, which have words for keys, and the runs of a sweep, which are as simulate prints them.
function placesIn(value, place = "") {
    if (Array.isArray(value)) return value.flatMap((each) => placesIn(each, `${place}[]`));
    if (value === null || place.endsWith(".numbers") || place === ".rows[].run") return [];
    if (typeof value !== "object") return [`${place} ${typeof value}`];
    return Object.entries(value).flatMap(([key, each]) => placesIn(each, `${place}.${key}`));
}

test("a program that reads the first version of a JSON reads today's", () => {
    put("x.toml", WEAK + '[[event]]\nat = "5 h"\ndo = "reboot"\n[[expect]]\nseries = "stress_h"\nmax = -1\n');
    put("y.toml", WEAK);
    put("trip.toml", readFileSync(new URL("../../scenarios/stress_trip.toml", import.meta.url)));
    labMust("simulate", "--quiet", "y.toml", "--trace", "t.csv", "--events", "e", "--save-root", "root");
    labMust("simulate", "--quiet", "trip.toml", "--save-root", "other");
    const differing = ["diff", process.env.VORN_LAB, process.env.VORN_LAB, "y.toml"];
    const changed = ["--new-set", "phase.*.charger=wall"];
    const documents = {
        "run/1": ["simulate", "--json", "x.toml", "trip.toml"],
        "sweep/1": ["sweep", "--json", "y.toml", "--vary", "seed=1"],
        "diff/1": [...differing, "--json", ...changed],
        "yardstick/1": ["yardstick", "--json", "t.csv"],
        "story/1": ["story", "--json", "e"],
        "check/1": ["check", "--json", "t.csv"],
        "state/1": ["state", "show", "--json", "root"],
        "state-diff/1": ["state", "diff", "--json", "root", "other"],
    };
    const list = new URL("../cases/json_places.txt", import.meta.url);
    const promised = existsSync(list) ? readFileSync(list, "utf8").trimEnd().split("\n") : [];
    for (const [schema, words] of Object.entries(documents)) {
        const { status, stdout } = lab(...words);
        assert.ok(status <= 1);
        const document = [JSON.parse(stdout)].flat()[0];
        assert.equal(document.schema, `vorn-lab/${schema}`);
        const places = new Set(placesIn(document).map((place) => `${schema} ${place}`));
        const known = promised.filter((line) => line.startsWith(`${schema} `));
        if (process.env.VORN_UPDATE_CASES) promised.push(...[...places].filter((line) => !known.includes(line)));
        else assert.ok(known.length > 3, schema);
        assert.deepEqual(
            known.filter((line) => !places.has(line)),
            [],
            "places that went, or are of another kind",
        );
    }
    if (process.env.VORN_UPDATE_CASES) writeFileSync(list, `${promised.sort().join("\n")}\n`);
});

test("what an older or a newer build has kept is read", () => {
    put("x.toml", WEAK);
    const sweep = () => lab("sweep", "x.toml", "--csv", "--vary", "cell.soc_pct=20", "--keep", "kept");
    const { stdout } = sweep();
    const [name] = readdirSync(at("kept"));
    const document = JSON.parse(get(`kept/${name}`));
    document.later = document.runs[0].later = { more: [1] };
    delete document.runs[0].digests;
    put(`kept/${name}`, JSON.stringify(document));
    const again = sweep();
    assert.deepEqual([again.stdout, again.stderr], [stdout, "1 of 1 were known\n"]);
    put(`kept/${name}`, JSON.stringify({ ...document, schema: "vorn-lab/run/2" }));
    assert.match(labRefuses("sweep", "x.toml", "--csv", "--vary", "cell.soc_pct=20", "--keep", "kept"), /not a result of runs/);
});
