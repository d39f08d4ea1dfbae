// Every command of vorn-lab that README.md, the documents and the manual page show, run as it stands there.
// node --test commands_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { execFileSync, spawnSync } from "node:child_process";
import { cpSync, readFileSync, readdirSync, symlinkSync } from "node:fs";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { at, labMust, put } from "../support/lab.mjs";

const PROJECT = fileURLToPath(new URL("../..", import.meta.url));
const SCENARIO = `${PROJECT}scenarios/both_reasons.toml`;

/** The commands that stand set in, in the documents and in the manual; but for benchmarks, what
 *  compares two builds, and fleets, whose own test runs them. */
function commands() {
    const documents = readdirSync(`${PROJECT}docs`).filter((name) => name.endsWith(".md") && name !== "performance.md");
    const shown = ["README.md", ...documents.map((name) => `docs/${name}`)].flatMap((name) =>
        readFileSync(PROJECT + name, "utf8")
            .split("\n")
            .filter((line) => /^ {4}(adb .*)?vorn-lab (?!  |diff |fleet |.*\.\.\. )/.test(line))
            .map((line) => ({ from: name, command: line.trim() })),
    );
    const manual = labMust("manual")
        .split("\n")
        .filter((line) => line.startsWith(".Dl ") && /vorn-lab (?!diff |fleet )/.test(line))
        .map((line) => ({ from: "vorn-lab.1", command: line.slice(4).replaceAll("\\&", "").replaceAll("\\(dq", '"') }));
    return [...shown, ...manual];
}

/** What the commands name: a device's evidence, under each of its names. */
function furnish() {
    execFileSync(`${PROJECT}tests/evidence/make_bug_report.py`, [process.env.VORN_LAB, SCENARIO, at("made"), "--others", "1"]);
    labMust("simulate", "--quiet", SCENARIO, "--trace", "trace.csv", "--events", "events.jsonl", "--series", "series.csv", "--samples");
    for (const name of ["a", "b"]) {
        cpSync(at("events.jsonl"), at(`${name}.jsonl`));
        cpSync(at("series.csv"), at(`${name}.csv`));
    }
    for (const name of ["report.zip", "bugreport.zip"]) cpSync(at("made/report.zip"), at(name));
    for (const name of ["report.txt", "bugreport.txt", "big.log"]) cpSync(at("made/report.txt"), at(name));
    for (const name of ["pulled_folder", "DEVICE", "DIR", "device", "vorn", "AFTER"])
        cpSync(at("made/root"), at(name), { recursive: true });
    labMust("state", "set", "BEFORE", "toc_clients=0");
    put("getprop.txt", "[persist.sys.timezone]: [Europe/Berlin]\n");
    for (const name of ["FILE", "week.toml", "phone.toml"]) cpSync(SCENARIO, at(name));
    for (const name of ["both_reasons", "desk_charger"])
        cpSync(`${PROJECT}scenarios/${name}.toml`, at(`scenarios/${name}.toml`), { recursive: true });
    symlinkSync(process.env.VORN_LAB, at("vorn-lab"));
    put("adb", '#!/bin/sh\n[ "$1" != logcat ] || cat report.txt\n');
    spawnSync("chmod", ["+x", at("adb")]);
}

test("every command that is shown does what it says", () => {
    furnish();
    const all = commands();
    assert.ok(all.length >= 15, "they are found");
    for (const { from, command } of all) {
        const { status, stderr } = spawnSync("sh", ["-c", command], {
            cwd: at("."),
            encoding: "utf8",
            env: { ...process.env, PATH: `${at(".")}:${process.env.PATH}` },
        });
        // A difference, or something wrong with the wiring, is an answer.
        const isAnswer = status === 0 || (status === 1 && /^vorn-lab (check|state diff)/.test(command));
        assert.ok(isAnswer, `${from}: ${command}: ${status} ${stderr}`);
    }
});
