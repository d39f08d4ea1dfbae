// A fleet as a user runs it: the same rows whatever way they came to be. node --test, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { spawn, spawnSync } from "node:child_process";
import { chmodSync, existsSync, readdirSync, readFileSync, writeFileSync } from "node:fs";
import { test } from "node:test";
import { setTimeout } from "node:timers/promises";
import { at, get, lab, labMust, labRefuses, put } from "../support/lab.mjs";

const POPULATION = `seed = 5
phones = 12
span = "2 d"
[weather]
[user]
screen_h = { draw = "lognormal", mean = 3.25, sigma_ln = 0.35, most = 16 }
[[group.climate]]
name = "hot"
share_pct = 30
weather.mean_c = 28
[[group.climate]]
name = "cold"
share_pct = 70
`;
const run = (...words) => labMust("fleet", "run", "p.toml", "--quiet", ...words);
const rows = (dir) => labMust("fleet", "export", dir);

test("rows are the same in parts of any order, after a kill, and with more phones later", async () => {
    put("p.toml", POPULATION);
    run("--out", "whole");
    const whole = rows("whole");
    for (const part of [3, 1, 2]) {
        assert.equal(lab("fleet", "gather", "parts").status, part === 3 ? 2 : 1);
        run("--out", "parts", "--part", `${part}`, "--parts", "3");
    }
    labMust("fleet", "gather", "parts");
    assert.equal(rows("parts"), whole);
    run("--out", "grown", "--phones", "5");
    const few = rows("grown");
    assert.ok(whole.startsWith(few));
    run("--out", "grown", "--phones", "12");
    assert.equal(rows("grown"), whole);
    assert.match(labRefuses("fleet", "run", "p.toml", "--out", "grown", "--phones", "4"), /can only raise/);

    put("p.toml", POPULATION.replace('"2 d"', '"20 d"'));
    run("--out", "long");
    const child = spawn(process.env.VORN_LAB, ["fleet", "run", "p.toml", "--out", "killed", "--jobs", "1"], { cwd: at(".") });
    const begun = () => existsSync(at("killed/parts/0-11.work"));
    while (!begun()) await setTimeout(5);
    await setTimeout(700);
    child.kill("SIGKILL");
    await new Promise((end) => child.once("exit", end));
    run("--out", "killed");
    assert.equal(rows("killed"), rows("long"));
});

test("each phone runs by itself to the same end, and a constant one is simulate's", () => {
    put("p.toml", POPULATION.replace(/\[\[group[^]*/, "").replace(/screen_h = .*/, "screen_h = 4"));
    run("--out", "dir", "--phones", "2");
    put("phone.toml", labMust("fleet", "phone", "dir", "1"));
    const [result] = JSON.parse(labMust("simulate", "--json", "phone.toml")).runs;
    const row = labMust("fleet", "sql", "dir", "SELECT events_digest, cycles_digest, stress_h, flash_bytes FROM phone WHERE number = 1");
    const { digests, end } = result;
    assert.equal(row.split("\n")[1], [digests.events, digests.cycles, end.stress_h, end.cost.file_bytes].join());
    assert.match(labRefuses("fleet", "phone", "dir", "2"), /phones 0 to 1, no 2/);
    put("by_hand.toml", 'seed = 5\nnumber = 1\n[user]\nscreen_h = 4\n[weather]\n[[phase]]\nfor = "2 d"\n');
    assert.deepEqual(JSON.parse(labMust("simulate", "--json", "by_hand.toml")).runs[0].digests, digests);
});

test("a directory is of one build and one population, and of whole parts", () => {
    put("p.toml", POPULATION);
    run("--out", "dir", "--part", "1", "--parts", "2");
    assert.match(labRefuses("fleet", "run", "p.toml", "--out", "dir", "--set", "cell.soc_pct=50"), /another population/);
    assert.match(labRefuses("fleet", "export", "dir"), /fleet gather dir/);
    const { status, stderr } = lab("fleet", "gather", "dir");
    assert.equal(status, 1);
    assert.match(stderr, /6 phones are missing: 6-11; --array=2\n$/);
    assert.match(lab("fleet", "gather", "dir", "--most-parts", "1").stderr, /6-11; --array=1 with 1 part before\n$/);
    // The other part from elsewhere; then the same phones by another build, and by a damaged file.
    run("--out", "other", "--part", "2", "--parts", "2");
    assert.equal(labMust("fleet", "add", "dir", "other"), "other: 1 part\n");
    assert.equal(rows("dir").split("\n").length, 14);
    const facts = get("other/fleet.json");
    put("other/fleet.json", facts.replace(/"daemon": "./, '"daemon": "x'));
    assert.match(labRefuses("fleet", "add", "dir", "other"), /another build/);
    assert.match(labRefuses("fleet", "run", "--out", "other"), /begun by another build/);
    put("other/fleet.json", facts);
    const [part] = readdirSync(at("other/parts"));
    const bytes = readFileSync(at(`other/parts/${part}`));
    const place = bytes.lastIndexOf("cold");
    bytes.write("hot!", place);
    writeFileSync(at(`other/parts/${part}`), bytes);
    assert.match(labRefuses("fleet", "gather", "other"), /not what was written/);
    put("other/population.toml", POPULATION.replace("28", "29"));
    assert.match(labRefuses("fleet", "gather", "other"), /has changed/);
});

/** Processes below one of ours, the youngest generation last. */
function offspring(pid) {
    const children = readFileSync(`/proc/${pid}/task/${pid}/children`, "utf8").trim().split(" ").filter(Boolean);
    return children.flatMap((each) => [each, ...offspring(each)]);
}

test("the files that a population names are frozen with it", () => {
    const hours = (celsius) => put("pop/hours/hot.csv", `ambient_c\n${`${celsius}\n`.repeat(24)}`);
    hours(35);
    put("pop/p.toml", POPULATION.replace("weather.mean_c = 28", 'weather.file = "hours/hot.csv"'));
    const start = (...words) => lab("fleet", "run", "pop/p.toml", "--out", "dir", "--quiet", ...words);
    assert.equal(start("--part", "1", "--parts", "2").stderr, "");
    hours(5);
    assert.match(start("--part", "2", "--parts", "2").stderr, /begun with another population/);
    labMust("fleet", "run", "--out", "dir", "--part", "2", "--parts", "2", "--quiet");
    labMust("fleet", "gather", "dir");
    const hot = labMust("fleet", "sql", "dir", "SELECT number, events_digest FROM phone WHERE climate = 'hot' LIMIT 1").split("\n")[1];
    const [number, digest] = hot.split(",");
    put("elsewhere/phone.toml", labMust("fleet", "phone", "dir", number));
    assert.equal(JSON.parse(labMust("simulate", "--json", "elsewhere/phone.toml")).runs[0].digests.events, digest);
    put("dir/files/0-hot.csv", "ambient_c\n5\n");
    assert.match(labRefuses("fleet", "report", "dir"), /it or a file that it names has changed/);
});

test("a daemon that crashes is a row that says where, and the others run on", async () => {
    put("p.toml", POPULATION.replace('"2 d"', '"20 years"'));
    const child = spawn(process.env.VORN_LAB, ["fleet", "run", "p.toml", "--out", "dir", "--phones", "1", "--prove", "0"], {
        cwd: at("."),
    });
    const ended = new Promise((end) => child.once("exit", end));
    while (offspring(child.pid).length < 2) await setTimeout(5);
    await setTimeout(200);
    process.kill(offspring(child.pid).at(-1), "SIGABRT");
    assert.equal(await ended, 0);
    const [, row] = labMust("fleet", "sql", "dir", "SELECT status, error, end_day > 0, first_trip_day FROM phone").split("\n");
    assert.match(row, /^crashed,the daemon crashed in boot 1 at elapsed \d+ s: killed by SIGABRT .*,1,$/);
    labMust("fleet", "report", "dir");
    assert.match(get("fleet.html"), /1 crashed<[^]*1 not ok[^]*crashed: the daemon crashed/);
});

test("a phone that hangs or cannot run is a row that says so; another build is held against it", () => {
    put("p.toml", `${POPULATION.replace('"2 d"', '"9 years"')}\n`);
    run("--out", "hung", "--phones", "2", "--limit", "1", "--prove", "0");
    assert.match(labMust("fleet", "sql", "hung", "SELECT status, error FROM phone"), /^status,error\nhung,took longer/);
    put(
        "p.toml",
        POPULATION.replace(
            "[user]",
            "[cell]\nsoc_pct = -2\n[phone]\npower_off_mv = 4400\nboot_at_mv = 4400\n[user]\nnight_pct = 0\ntopups_per_day = 0\nplug_below_pct = 0",
        ),
    );
    run("--out", "flat", "--phones", "1");
    assert.match(labMust("fleet", "sql", "flat", "SELECT status, error FROM phone"), /failed,.*never starts/);
    put("p.toml", POPULATION);
    run("--out", "also", "--phones", "2", "--also", process.env.VORN_LAB, "--also-every", "1");
    // A build that differs, one that fails, and what is no build.
    for (const [name, does, second] of [
        ["unlike", `exec "$VORN_LAB" "$@" --set cell.soc_pct=20`, /"events": "(?!$)/],
        ["broken", "echo 'runtime error: overflow' >&2; exit 9", /refuses: runtime error: overflow/],
    ]) {
        put(name, `#!/bin/sh\n[ "$1" = --version ] || { ${does}; }\nexec "$VORN_LAB" "$@"\n`);
        chmodSync(at(name), 0o755);
        const { status, stderr } = lab("fleet", "run", "p.toml", "--out", `of-${name}`, "--phones", "2", "--also", `./${name}`, "--quiet");
        assert.equal(status, 3);
        assert.match(stderr, new RegExp(`phone 0 ended differently under ./${name}; both are in of-${name}/differs`));
        assert.match(get(`of-${name}/differs/0.first.json`), /"events": "/);
        assert.match(get(`of-${name}/differs/0.second.json`), second);
        assert.match(get(`of-${name}/differs/0.toml`), /screen_h = /);
    }
    assert.match(labRefuses("fleet", "run", "p.toml", "--out", "none", "--also", "/bin/false"), /--also: \/bin\/false: is no vorn-lab/);
    assert.ok(!existsSync(at("none")));
});

test("two fleets are compared phone by phone; a fleet with itself is equal", () => {
    put("p.toml", POPULATION);
    run("--out", "a");
    run("--out", "b", "--set", "charger.cutoff_ma=900", "--phones", "8");
    const compared = (one, other) => JSON.parse(labMust("fleet", "compare", one, other, "--json"));
    const same = compared("a", "a");
    assert.deepEqual([same.phones, same.unequal, same.left_out], [12, 0, 0]);
    assert.ok(same.figures.every(({ difference }) => difference === 0));
    const { phones, left_out, figures } = compared("a", "b");
    assert.deepEqual([phones, left_out], [8, 4]);
    const high = figures.find(({ name }) => name === "high_h");
    assert.ok(high.low <= high.difference && high.difference <= high.high && high.worth_of_pairing > 1);
    assert.ok(Math.abs(high.b - high.a - high.difference) < 1e-9);
    put("p.toml", POPULATION.replace("seed = 5", "seed = 6"));
    run("--out", "c");
    assert.match(labRefuses("fleet", "compare", "a", "c"), /is another one: the fleets differ in their seed/);
});

test("the page holds all it needs, and its curves are data too", () => {
    put("p.toml", POPULATION.replace("[weather]", 'service_days = { draw = "uniform", from = 0.5, to = 1.5 }\n[weather]'));
    assert.match(labRefuses("fleet", "look", "p.toml", "--set", "nothing"), /not SECTION\.KEY=VALUE/);
    run("--out", "dir");
    labMust("fleet", "report", "dir");
    const page = get("fleet.html");
    assert.doesNotMatch(page, /<script|src=|url\(|https?:/);
    for (const words of ["Not yet lowered by climate", "Kaplan and Meier", "0 % (at most", "fleet phone dir "])
        assert.ok(page.includes(words), words);
    const [, ...points] = labMust("fleet", "report", "dir", "--csv").trimEnd().split("\n");
    assert.equal(points.length, 3 * 12);
    const [, , day, lowered, , , , at_risk, , censored] = points.at(-1).split(",").map(Number);
    assert.deepEqual([day, lowered, at_risk], [2, 0, 0]);
    assert.ok(censored > 0);
    assert.match(
        labMust("fleet", "plan", "p.toml", "--phones", "20000000", "--most-parts", "2", "--cores", "4"),
        /\nsbatch --array=1-2%200 --cpus-per-task=4 .* p\.toml DIR \d+ \d\n/,
    );
});

test("the document's questions are answered", () => {
    const document = readFileSync(new URL("../../docs/fleet.md", import.meta.url), "utf8");
    const asked = [...document.matchAll(/^ {4}vorn-lab fleet sql DIR "(.*)"$/gm)];
    assert.ok(asked.length >= 3);
    put("p.toml", POPULATION);
    run("--out", "dir", "--phones", "3");
    for (const [, question] of asked) assert.ok(labMust("fleet", "sql", "dir", question).split("\n").length >= 2, question);
    assert.match(labRefuses("fleet", "sql", "dir", "SELECT nowhere FROM phone"), /no such column/);
    assert.match(labRefuses("fleet", "sql", "dir", "SELECT 1; SELECT 2;"), /one command at a time.*SELECT 2/);
    const looked = labMust("fleet", "look", "p.toml", "--phones", "50");
    assert.match(looked, /user\.screen_h .* no source\n/);
    assert.equal(
        spawnSync(process.env.VORN_LAB, ["fleet", "look", new URL("../../scenarios/fleet/three_climates.toml", import.meta.url).pathname])
            .stdout.toString()
            .includes("no source"),
        false,
    );
});
