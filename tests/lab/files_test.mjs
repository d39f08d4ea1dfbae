// What the lab does to files, shown by replays: it changes what it should, wholly or not at all.
// node --test files_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { spawn, spawnSync } from "node:child_process";
import { once } from "node:events";
import { chmodSync, existsSync, lstatSync, mkdirSync, readdirSync, readlinkSync, realpathSync, statSync, symlinkSync } from "node:fs";
import { test } from "node:test";
import { inflateSync } from "node:zlib";
import { at, get, lab, labMust, labRefuses, labWith, put } from "../support/lab.mjs";

const TRACE = 'elapsed_s,boot,status\n0,1,Full\n10,1,"Not\ncharging"\n0,2,Full\n';
const NVCFG = "mnt/vendor/nvcfg/vorn/";
const DATA = "data/vendor/vorn/";

test("a device root is made where there is none, and taken over where there is one", () => {
    put("t.csv", TRACE);
    labMust("replay", "t.csv", "--save-root", "a/b", "--events", "e");
    assert.equal(get(`a/b/${NVCFG}last_datetime`).length, 8);
    assert.match(get("a/b/properties"), /^persist\.vendor\.vorn\.toc=4450$/m);

    put(`a/b/${NVCFG}toc_clients`, "\x02longer than what follows");
    put(`a/b/${DATA}odd`, "\0\xff\n");
    put(`a/b/${DATA}empty`, "");
    put(`a/b/${DATA}sub/dir`, "not the device's");
    put("a/b/other", "not the device's");
    put("a/b/properties", "persist.x=a=b\n\npersist.y=\nvolatile=1"); // an empty line, no line end
    labMust("replay", "t.csv", "--root", "a/b", "--save-root", "a/b", "--events", "e");
    const properties = get("a/b/properties").split("\n");
    for (const line of ["persist.x=a=b", "persist.y=", "persist.vendor.vorn.toc=4350"]) assert.ok(properties.includes(line), line);
    assert.ok(!properties.includes("volatile=1"));
    assert.equal(get(`a/b/${NVCFG}toc_clients`), "\x02longer than what follows");
    assert.equal(get(`a/b/${DATA}odd`), "\0\xff\n");
    assert.equal(get(`a/b/${DATA}empty`), "");
    assert.equal(get(`a/b/${DATA}sub/dir`), "not the device's");
    assert.equal(get("a/b/other"), "not the device's");
});

test("what is gone from the device goes from its root, and all stays when one file cannot be written", () => {
    put("t.csv", "elapsed_s,mock_batt_stress_offset\n0,\n10,<missing>\n");
    put(`root/${DATA}mock_batt_stress_offset`, "5\n");
    put(`root/${DATA}toc_clients`, "\x02");
    labMust("replay", "t.csv", "--root", "root", "--save-root", "root", "--events", "e");
    assert.ok(!existsSync(at(`root/${DATA}mock_batt_stress_offset`)));
    assert.equal(get(`root/${DATA}toc_clients`), "\x02");

    put(`broken/${DATA}toc_clients`, "\x0b");
    mkdirSync(at("broken/properties"));
    assert.match(labRefuses("replay", "t.csv", "--save-root", "broken", "--events", "e"), /broken\/properties: Is a directory/);
    assert.equal(get(`broken/${DATA}toc_clients`), "\x0b");
    assert.ok(!existsSync(at("broken/mnt")));
});

test("a device root that cannot be read is named", () => {
    put("t.csv", TRACE);
    put("file", "");
    put("root/properties", "a=1\nnonsense\n");
    put("broken/data/vendor/vorn", "a file in place of the directory");
    mkdirSync(at(`dangling/${DATA}`), { recursive: true });
    put("flat/toc_clients", "\x02");
    mkdirSync(at(`folder/${DATA}toc_clients`), { recursive: true });
    symlinkSync("nowhere", at(`dangling/${DATA}link`));
    for (const [root, message] of [
        ["file", "file: Not a directory"],
        ["file/", "file/: Not a directory"],
        ["file/not/there", "file/not/there: Not a directory"],
        ["root", "root/properties:2:1: not a property (name=value): nonsense"],
        ["broken", "broken/data/vendor/vorn: Not a directory"],
        ["dangling", `dangling/${DATA}link: a symbolic link, which a device root must not hold`],
        ["folder", `folder/${DATA}toc_clients: Is a directory`],
        ["nowhere", "nowhere: No such file or directory"],
        ["flat", "flat: not a device root: none of mnt/vendor/nvcfg/vorn, data/vendor/vorn and properties is in it"],
    ]) {
        assert.equal(labRefuses("replay", "t.csv", "--root", root, "--events", "e"), `vorn-lab: ${message}\n`);
    }
});

test("an output appears whole or not at all, through links too, with the mode that was there", () => {
    put("t.csv", TRACE);
    put("bad.csv", `${TRACE}soon,2,\n`);
    put("target", "old");
    chmodSync(at("target"), 0o640);
    symlinkSync("target", at("link"));
    const entries = readdirSync(at("."));
    labRefuses("replay", "bad.csv", "--events", "link");
    assert.equal(get("target"), "old");
    labMust("replay", "t.csv", "--events", "link");
    assert.match(get("target"), /^\{"boot":1/);
    assert.ok(lstatSync(at("link")).isSymbolicLink());
    assert.equal(statSync(at("target")).mode & 0o777, 0o640);
    assert.deepEqual(readdirSync(at(".")), entries);
    for (const [path, message] of [
        ["no/such/dir", "No such file or directory"],
        [".", "Is a directory"],
        ["/dev/full", "No space left on device"],
    ]) {
        assert.equal(lab("replay", "t.csv", "--events", path).stderr, `vorn-lab: ${path}: ${message}\n`);
    }
});

/** A page but for where it says that it comes from: a pipe has no name and no digest. */
function withoutOrigin(output) {
    return output.replace(/(?<=<script id="run" type="text\/plain">)[^<]+/, (packed) => {
        const run = JSON.parse(inflateSync(Buffer.from(packed, "base64")));
        delete run.about;
        return JSON.stringify(run);
    });
}

// The second boot reads the trace again from its own row on, and a report its events twice, which what only flows does
// not offer.
test("what works with a file works with a pipe", () => {
    put("t.csv", TRACE);
    put("x.toml", '[[phase]]\nfor = "1 h"\nload_mw = 300\n');
    labMust("replay", "t.csv", "--events", "e", "--series", "s");
    const piped = (script) =>
        spawnSync("bash", ["-c", script, process.env.VORN_LAB], {
            cwd: at("."),
            encoding: "utf8",
            env: { ...process.env, TZ: "Europe/Berlin" },
        }).stdout;
    for (const [words, script] of [
        [["replay", "t.csv", "--events", "-"], 'cat t.csv | "$0" replay - --events -'],
        [["replay", "t.csv", "--events", "-"], '"$0" replay <(cat t.csv) --events >(cat)  | cat'],
        [["simulate", "x.toml", "--series", "-"], '"$0" simulate <(cat x.toml) --series -'],
        [["report", "e", "s", "--title", "x", "-o", "-"], '"$0" report <(cat e) s --title x -o -'],
        [["report", "e", "s", "--title", "x", "-o", "-"], 'cat s | "$0" report e - --title x -o -'],
        [["metrics", "e"], '"$0" metrics <(cat e)'],
    ]) {
        const fromFile = labMust(...words);
        assert.ok(fromFile.length > 100, words);
        assert.equal(withoutOrigin(piped(script)), withoutOrigin(fromFile), script);
    }
    assert.equal(labRefuses("replay", "none", "--events", "-"), "vorn-lab: none: No such file or directory\n");
    assert.equal(labRefuses("replay", ".", "--events", "-"), "vorn-lab: .: Is a directory\n");
});

test("when one file of a run cannot be kept, the root is as it was", () => {
    put("t.csv", TRACE);
    put("x.toml", '[[phase]]\nfor = "1 h"\nload_mw = 300\n');
    put(`root/${DATA}toc_clients`, "\x02");
    for (const words of [
        ["replay", "t.csv"],
        ["simulate", "x.toml"],
    ]) {
        assert.match(lab(...words, "--save-root", "root", "--events", "/dev/full", "--series", "s").stderr, /full: No space left/);
        assert.ok(!existsSync(at("s")) && !existsSync(at("root/properties")), words);
        assert.deepEqual(readdirSync(at(`root/${DATA}`)), ["toc_clients"]);
    }
});

/** Processes of this program that work in the folder. */
function running() {
    return readdirSync("/proc").filter((id) => {
        try {
            return (
                /^\d+$/.test(id) &&
                readlinkSync(`/proc/${id}/cwd`) === realpathSync(at(".")) &&
                readlinkSync(`/proc/${id}/exe`).endsWith("vorn-lab")
            );
        } catch {
            return false; // it ended meanwhile
        }
    });
}
const until = async (holds, what) => {
    for (let i = 0; !holds(); ++i) {
        assert.ok(i < 500, what);
        await new Promise((done) => setTimeout(done, 20));
    }
};

test("who is killed leaves neither files nor children", async () => {
    put("x.toml", '[[phase]]\nfor = "20 years"\nload_mw = 300\n');
    const before = readdirSync(at("."));
    for (const signal of ["SIGINT", "SIGTERM", "SIGHUP", "SIGKILL"]) {
        const lab = spawn(process.env.VORN_LAB, ["simulate", "x.toml", "--events", "e", "--report", "r"], {
            cwd: at("."),
            stdio: "ignore",
        });
        const ended = once(lab, "exit");
        await until(() => running().length === 2 && readdirSync(at(".")).length > 2, "the run is under way");
        lab.kill(signal);
        assert.equal((await ended)[1], signal);
        await until(() => running().length === 0, `${signal} leaves a child`);
        if (signal !== "SIGKILL") assert.deepEqual(readdirSync(at(".")), before);
    }
});

test("who is killed leaves no bar on the terminal's line", () => {
    put("x.toml", '[[phase]]\nfor = "90 years"\nload_mw = 300\ncharger = "wall"\n');
    const script = `
import os, pty, signal, sys
child, terminal = pty.fork()
if child == 0: os.execv(sys.argv[1], ["vorn-lab", "simulate", "--quiet", "x.toml"])
shown = b""
try:
    while more := os.read(terminal, 1000):
        if b"%" in more and b"%" not in shown: os.kill(child, signal.SIGTERM)
        shown += more
except OSError: pass # it ended
sys.stdout.buffer.write(shown)`;
    const done = spawnSync("python3", ["-c", script, process.env.VORN_LAB], { cwd: at("."), encoding: "utf8", env: { TERM: "xterm" } });
    assert.match(done.stdout, /%\r\x1b\[K$/);
});

test("what goes to standard output flows while the run goes on", async () => {
    put("x.toml", '[[phase]]\nfor = "20 years"\nload_mw = 300\n');
    const lab = spawn(process.env.VORN_LAB, ["simulate", "x.toml", "--series", "-"], { cwd: at("."), stdio: ["ignore", "pipe", "ignore"] });
    const ended = once(lab, "exit");
    const [first] = await once(lab.stdout, "data");
    assert.match(first.toString(), /^boot,elapsed_s,toc_mv,/);
    assert.equal(lab.exitCode, null, "it runs on");
    lab.stdout.destroy();
    assert.notEqual((await ended)[0], 0, "nobody reads it");
});
