// Inputs made by somebody who means harm: each ends soon, in one line that names the limit, and nothing foreign changes.
// node --test hostile_inputs_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { existsSync, lstatSync, mkdirSync, readdirSync, symlinkSync, truncateSync } from "node:fs";
import { test } from "node:test";
import { at, get, lab, labMust, labRefuses, put } from "../support/lab.mjs";

const TRACE = "elapsed_s,boot,status\n0,1,Full\n10,1,Full\n";
const NVCFG = "mnt/vendor/nvcfg/vorn";
const DATA = "data/vendor/vorn";

/** A shell command in the test's folder, with vorn-lab as $0: its {status, stdout, stderr}. */
const shell = (script) => spawnSync("bash", ["-c", script, process.env.VORN_LAB], { cwd: at("."), encoding: "utf8", timeout: 120_000 });

/** A trace, t.csv, and what its replay writes, e and s. */
function putRun() {
    put("t.csv", TRACE);
    labMust("replay", "t.csv", "--events", "e", "--series", "s");
}

/** A file of zeros that is larger than any memory and takes no room. */
function putSparse(name) {
    put(name, "");
    truncateSync(at(name), 40 * 2 ** 30);
}

test("a FIFO or a device is an error where a file is expected, and not a wait", () => {
    putRun();
    assert.equal(shell("mkfifo fifo").status, 0);
    mkdirSync(at("root/" + DATA), { recursive: true });
    assert.equal(shell(`mkfifo root/${DATA}/toc_clients`).status, 0);
    for (const words of [
        "replay %",
        "simulate %",
        "report % s -o p",
        "report e % -o p",
        "metrics %",
        "check %",
        "story %",
        "simulate w.toml",
    ]) {
        for (const name of ["fifo", "/dev/zero"]) {
            put("w.toml", `[weather]\nfile = "${name}"\n[[phase]]\nfor = "1 h"\nload_mw = 300\n`);
            const path = words.includes("w.toml") && name === "fifo" ? "./fifo" : name;
            const done = shell(`"$0" ${words.replace("%", name)} </dev/null`);
            assert.deepEqual([done.status, done.stderr], [2, `vorn-lab: ${path}: not a regular file; - reads standard input\n`], words);
        }
    }
    for (const option of ["--root", "--save-root"]) {
        assert.match(
            labRefuses("replay", "t.csv", option, "root", "--events", "-"),
            /toc_clients: not a regular file, which a device root must not hold/,
        );
    }
    assert.match(lab("state", "show", "root").stdout, /toc_clients\n  cannot be opened \(not a regular file\)/);
});

test("a pipe is read as far as it is needed, and what never ends has a limit", () => {
    putRun();
    for (const [script, message] of [
        [
            'yes elapsed | "$0" replay - 2>&1 >/dev/null | tail -n 1 >&2; exit 2',
            "standard input:1:1: no column elapsed_s in the header row",
        ],
        ['"$0" replay - </dev/zero', "standard input:1:1: a row longer than 1048576 bytes"],
        ['yes | "$0" simulate -', "standard input: larger than 16 MiB, the most that is read at once"],
        ['(printf "{"; yes x | tr -d "\\n") | "$0" report - s -o p', "standard input:1:1: a line longer than 1048576 bytes"],
        [
            '"$0" report e <(printf boot,elapsed_s,toc_mv,; yes x | tr -d "\\n") -o p',
            /^\/dev\/fd\/\d+:1:1: a row longer than 1048576 bytes$/,
        ],
    ]) {
        const { status, stderr } = shell(script);
        assert.equal(status, 2, script + stderr);
        if (message instanceof RegExp) assert.match(stderr.slice("vorn-lab: ".length, -1), message, script);
        else assert.equal(stderr, `vorn-lab: ${message}\n`, script);
    }
    // What a limit must not forbid: the metrics of a log that goes on for ever.
    assert.equal(shell(`head -c 100000000 /dev/zero | "$0" metrics -`).status, 0);
});

test("a file of 40 GB that takes no room is refused, or read in little memory", () => {
    for (const name of ["big", `root/${DATA}/odd`, `root/${NVCFG}/toc_clients`, "props/properties"]) putSparse(name);
    putRun();
    put("w.toml", '[weather]\nfile = "big"\n[[phase]]\nfor = "1 h"\nload_mw = 300\n');
    for (const [words, limit] of [
        ["replay big", "big:1:1: a row longer than 1048576 bytes"],
        ["simulate w.toml", "./big:1:1: a row longer than 1048576 bytes"],
        ["simulate big", "big: larger than 16 MiB, the most that is read at once"],
        ["replay t.csv --root root --events -", `root/${DATA}/odd: larger than 16 MiB, the most that is read at once`],
        ["replay t.csv --root props --events -", "props/properties: larger than 16 MiB, the most that is read at once"],
        [`state set root toc_clients=2`, `root/${NVCFG}/toc_clients: larger than 16 MiB, the most that is read at once`],
    ]) {
        assert.equal(labRefuses(...words.split(" ")), `vorn-lab: ${limit}\n`, words);
    }
    assert.match(lab("state", "show", "root").stdout, /toc_clients/);
});

test("more files than a device has are no device", () => {
    put("t.csv", TRACE);
    for (let i = 0; i <= 1000; ++i) put(`root/${DATA}/${i}`, "");
    for (const option of ["--root", "--save-root"]) {
        const refused = labRefuses("replay", "t.csv", option, "root", "--events", "-");
        assert.equal(refused, `vorn-lab: root/${DATA}/: more than 1000 files, the most that a device root may hold there\n`);
    }
    for (let i = 0; i < 5; ++i) {
        put(`heavy/${DATA}/${i}`, "");
        truncateSync(at(`heavy/${DATA}/${i}`), 15 * 2 ** 20);
    }
    assert.match(labRefuses("replay", "t.csv", "--root", "heavy", "--events", "-"), /heavy: its files are larger than 64 MiB/);
});

test("a link in a root leads nowhere, neither to read nor to write", () => {
    put("t.csv", TRACE);
    put("foreign/toc_clients", "\x02");
    put("foreign/properties", "mine=1\n");
    for (const [root, link, target] of [
        ["a", `${NVCFG}/toc_clients`, "../../../../../foreign/toc_clients"],
        ["b", "properties", "../foreign/properties"],
        ["c", NVCFG, "../../../../foreign"],
        ["d", "mnt", "../foreign"],
        ["e", `${DATA}/loop`, "loop"],
    ]) {
        put(`${root}/${link}`, "");
        assert.equal(shell(`rm -r ${root}/${link}`).status, 0);
        symlinkSync(target, at(`${root}/${link}`));
        for (const words of [`--root ${root}`, `--save-root ${root}`, `--root ${root} --save-root ${root}`]) {
            const refused = labRefuses("replay", "t.csv", ...words.split(" "), "--events", "-");
            assert.match(refused, /a symbolic link, which a device root must not hold|not a device root/, `${root}: ${refused}`);
        }
        const words = ["state", "set", root, "toc_clients=3", "batt_precharge_ubootflag=1"];
        if (!["b", "e"].includes(root)) assert.match(labRefuses(...words), /: a symbolic link/);
        assert.ok(lstatSync(at(`${root}/${link}`)).isSymbolicLink());
        assert.deepEqual(readdirSync(at("foreign")).sort(), ["properties", "toc_clients"]);
        assert.deepEqual([get("foreign/toc_clients"), get("foreign/properties")], ["\x02", "mine=1\n"]);
    }
    // The root itself may be one: the user names it.
    symlinkSync("real", at("named"));
    mkdirSync(at("real"));
    labMust("replay", "t.csv", "--save-root", "named", "--events", "written");
    assert.ok(existsSync(at(`real/${NVCFG}/last_datetime`)) && lstatSync(at("named")).isSymbolicLink());
});

test("a scenario of 200 000 phases is run phase by phase", () => {
    put("x.toml", '[[phase]]\nfor = "1 s"\nload_mw = 300\n'.repeat(200_000));
    assert.match(labMust("simulate", "x.toml"), /0 of 0 expectations hold/);
    put("y.toml", '[[phase]]\nfor = "1 h"\nload_mw = 300\n' + '[[event]]\nat = "1 min"\nboot = true\n'.repeat(10_001));
    assert.match(labRefuses("simulate", "y.toml"), /more than 10000 tables, the most that \[\[event\]\] may have/);
});

// The library that reads TOML would fall over the first two, with no word.
test("a key of a million parts or a population of a million values is refused where it goes too far", () => {
    const head = 'span = "1 d"\nphones = 2\n';
    const many = (count, text) => Array.from({ length: count }, (_, i) => text.replaceAll("#", i)).join("\n") + "\n";
    const deep = "a.".repeat(500_000) + "a";
    const kinds = '[[group.g#]]\nname = "x"\nshare_pct = 100';
    for (const [command, text, place] of [
        ["simulate", `[cell]\n${deep} = 1\n`, "2:64: a key of more than 32 parts, the most that one may have"],
        ["simulate", `x = """'#"""" # "\n[${deep}]\n`, "2:65: a key of more than 32 parts, the most that one may have"],
        ["simulate", `[properties]\n${many(1001, "a# = 1")}`, "1:1: [properties]: more than 1000 properties, the most that are read"],
        ["fleet look", `${head}[cell]\n${deep} = 1\n`, "4:64: a key of more than 32 parts, the most that one may have"],
        ["fleet look", `${head}[properties]\n${many(1001, "a# = 1")}`, /:\d+:\d+: more than 1000 keys, the most of a population$/],
        [
            "fleet look",
            `${head}[cell]\nsoc_pct = { draw = "choice", of = [${"50, ".repeat(1001)}] }\n`,
            "4:35: more than 1000 values, the most to choose from",
        ],
        ["fleet look", head + many(101, kinds), /more than 100 groups, the most of a population$/],
    ]) {
        put("x.toml", text);
        const refused = labRefuses(...command.split(" "), "x.toml").trimEnd();
        if (place instanceof RegExp) assert.match(refused, place);
        else assert.equal(refused, `vorn-lab: x.toml:${place}`);
    }
    // What looks like a deep key and is none.
    put("x.toml", `title = "${".".repeat(99)}" # ${"a.".repeat(99)}\n[[phase]]\nfor = "1 h"\nload_mw = 300\n`);
    labMust("simulate", "x.toml");
});

test("a fleet from somebody else is no wait, and no formula in its table", () => {
    put("p.toml", 'span = "1 h"\nphones = 1\n[[group.kind]]\nname = "=cmd()"\nshare_pct = 100\n');
    labMust("fleet", "run", "p.toml", "--out", "f", "--quiet");
    assert.match(labMust("fleet", "export", "f"), /\n0,1,ok,,'=cmd\(\),/);
    assert.equal(shell("rm f/fleet.sqlite; mkfifo f/fleet.sqlite").status, 0);
    assert.equal(labRefuses("fleet", "export", "f"), "vorn-lab: f/fleet.sqlite: not a regular file\n");
});

// JSON escapes what is below a space, but a C1 or bidirectional control stands in it as it is.
test("what goes to a terminal is harmless, what goes into a file keeps its bytes", () => {
    const title = "x\u009b31m\u202etxt";
    put("t.csv", Buffer.from(`elapsed_s,boot,status\n0,1,"${title}"\n`).toString("latin1"));
    put("x.toml", Buffer.from(`title = "${title}\\u001b]0;y"\n[[phase]]\nfor = "1 h"\nload_mw = 300\n`).toString("latin1"));
    put(`r/${NVCFG}/${Buffer.from(title).toString("latin1")}`, "");
    const onTerminal = (words) => shell(`python3 -c 'import pty, sys; pty.spawn(sys.argv[1:])' "$0" ${words}`).stdout;
    for (const words of [
        "replay t.csv --events -",
        "replay t.csv --events /dev/stdout",
        "replay t.csv --series /dev/tty --samples",
        "replay t.csv --events e && cat e >/dev/null",
        "simulate x.toml --events -",
        "simulate x.toml",
        "simulate x.toml --report -",
        "story x.toml",
        "state show r",
        `metrics $'no\\e]0;x\\a\\u202efile'`,
    ]) {
        const shown = onTerminal(words);
        assert.ok(shown.length > 20 || words.includes("--events e"), words);
        assert.doesNotMatch(shown, /[\x00-\x06\x0b\x0c\x0e-\x1f\x7f-\x9f\u061c\u200e\u200f\u202a-\u202e\u2066-\u2069]/, words);
    }
    labMust("replay", "t.csv", "--events", "e");
});
