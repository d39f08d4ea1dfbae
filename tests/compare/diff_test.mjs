// Two builds compared: vorn-lab diff. The other build is a script around vorn-lab that does something else in one place.
// node --test, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { chmodSync, readdirSync } from "node:fs";
import { tmpdir } from "node:os";
import { test } from "node:test";
import { inflateSync } from "node:zlib";
import { askAsDocumented, at, get, lab, labMust, labRefuses, put } from "../support/lab.mjs";

const LAB = process.env.VORN_LAB;
const WEAK = 'seed = 9\n[[phase]]\nfor = "26 h"\ncharger = "usb"\nload_mw = 1700\n[cell]\nsoc_pct = 40\n';
const OTHER_DAEMON = '--version) "$lab" --version | sed "s/^daemon .*/daemon 00000000000000ff/" ;;';
const OTHER_PHONE = 'simulate) exec "$lab" "$@" --set phase.*.charger=wall ;;';
// As if the log called itself otherwise and the timer stopped a charge ten minutes later.
const OTHER_WORDS = `replay)
    "$lab" "$@" | sed -e '/"events": "[0-9a-f]/s/: "/: "0/' -e 's/"t_s": 72010.0/"t_s": 72610.0/'
    while [ $# -gt 1 ]; do [ "$1" = --events ] && sed -i 's/--- vorn/--- VORN/' "$2"; shift; done ;;
simulate) "$lab" "$@" | sed '/"events": "[0-9a-f]/s/: "/: "0/' ;;`;

function build(name, ...branches) {
    put(name, `#!/bin/sh\nlab='${LAB}'\ncase $1 in\n${branches.join("\n")}\n*) exec "$lab" "$@" ;;\nesac\n`);
    chmodSync(at(name), 0o755);
    return at(name);
}
const HISTOGRAM = "mnt/vendor/nvcfg/vorn/batt_stress";

test("a build does nothing else than itself, whether it had to run or not", () => {
    put("in/weak.toml", WEAK);
    put("in/files.toml", '[[phase]]\nfor = "1 h"\n[files]\ntoc_clients = { step = 3 }\n[[event]]\nat = "30 min"\ndo = "reboot"\n');
    labMust("simulate", "--quiet", "in/weak.toml", "--trace", "in/t.csv");
    assert.match(labMust("diff", LAB, LAB, "in"), /same daemon code/);
    const wrapped = build("new", OTHER_DAEMON); // says that it is another one, and is not
    const all = JSON.parse(labMust("diff", LAB, wrapped, "in", "--exact", "--json", "-j", "8"));
    assert.deepEqual(
        [all.schema, all.verdict, all.compared, all.failed, all.same_daemon, all.same_lab],
        ["vorn-lab/diff/1", "same", 3, 0, false, true],
    );
    assert.match(labMust("diff", LAB, LAB, "in", "--always", "--only-traces"), /same: 3 compared, nothing differs/);
});

test("the code and the phone are told apart", () => {
    put("weak.toml", WEAK);
    const other = build("new", OTHER_DAEMON, OTHER_PHONE);
    const { status, stdout } = lab("diff", LAB, other, "weak.toml");
    assert.equal(status, 1);
    const [open, closed] = stdout.split("What becomes of the phone");
    assert.match(open, /\ndiffers: 1 of 1 \(exact.*\n\nWhat the code decides differently.*\n {2}nothing\n/);
    assert.match(closed, /charge timer +only in old: Stopped charging: weak\n/);
    assert.match(closed, /the cell +hours above 4\.3 V \+[\d.]+ h \(big\); .*: weak\n/);
    assert.ok(labMust("diff", LAB, other, "weak.toml", "--only-traces").includes("same: 1 compared"));
    // The same from one build with another value.
    const set = lab("diff", LAB, LAB, "weak.toml", "--new-set", "phase.*.charger=wall");
    assert.deepEqual(set.stdout.split("What becomes of the phone")[1].split("\n\n")[0], closed.split("\n\n")[0]);

    const all = JSON.parse(lab("diff", LAB, other, "weak.toml", "--json").stdout);
    const before = JSON.parse(labMust("simulate", "weak.toml", "--json")).runs[0];
    const cycles = all.inputs[0].closed.quantities.find(({ key }) => key === "end.high_h");
    assert.equal(cycles.before, before.end.high_h);
    assert.equal(lab("diff", LAB, other, "weak.toml", "--report", "page.html").status, 1);
    const packed = get("page.html").match(/<script[^>]*id="run"[^>]*>([^<]*)</)[1];
    assert.equal(JSON.parse(inflateSync(Buffer.from(packed, "base64"))).other.title, "The new build");
});

test("what is said in other words, and later, is told at its first moment", () => {
    put("weak.toml", WEAK);
    const other = build("new", OTHER_DAEMON, OTHER_WORDS);
    const { status, stdout } = lab("diff", LAB, other, "weak.toml");
    assert.equal(status, 1);
    const [rows] = askAsDocumented("diff", lab("diff", "--json", LAB, other, "weak.toml").stdout);
    assert.match(rows, /^charge timer\tStopped charging, later by 10 min 0 s\t1\n/);
    const lines = stdout.split("\n");
    assert.match(lines[4], /^ {2}charge timer +Stopped charging, later by 10 min 0 s: weak$/);
    assert.ok(
        lines.slice(0, 10).some((line) => /in other words, 1 time: "--- vorn .*" is "--- VORN/.test(line)),
        stdout,
    );
    assert.match(stdout, /The first effect that differs: weak\.toml, boot 1, 0:00:00 after its start\n/);
    assert.match(stdout, /\n {2}- 0:00:00 {2}--- vorn .*\n(.*\n)* {2}\+ 0:00:00 {2}--- VORN /);
});

test("differences that are meant are listed, with their reason; others fail, and so do those that stay away", () => {
    put("weak.toml", WEAK);
    const other = build("new", OTHER_DAEMON, OTHER_PHONE);
    const hold = (...more) => lab("diff", LAB, other, "weak.toml", "--expect", "meant.toml", ...more);
    assert.match(labRefuses("diff", LAB, other, "weak.toml", "--expect", "meant.toml"), /meant\.toml/);
    const accepted = hold("--accept", "the wall charger");
    assert.equal(accepted.status, 0, accepted.stderr);
    assert.match(accepted.stderr, /^accepted: closed: decision only the old: charge timer: Stopped charging/m);
    const list = get("meant.toml");
    assert.match(hold().stdout, /All of it is expected\.\n$/);
    const [first, ...rest] = list.split("\n\n[[difference]]").slice(1);
    put("meant.toml", `[[difference]]${rest.join("\n[[difference]]")}`);
    const short = hold();
    assert.equal(short.status, 1);
    assert.equal(short.stdout.match(/\nnot expected: /g).length, 1);
    put("meant.toml", `${list}\n[[difference]]\nkey = "open: nothing"\nreason = "it was"\n`);
    const long = hold();
    assert.deepEqual([long.status, long.stdout.includes("expected, but not there: open: nothing (it was)")], [1, true]);
    assert.ok(first.includes("the wall charger"));
    put("meant.toml", '[[difference]]\nkey = "x"\n');
    assert.match(hold().stderr, /^vorn-lab: meant\.toml:1:1: \[\[difference\]\]: needs reason\n$/);
});

test("what did not run is no success", () => {
    put("weak.toml", WEAK);
    put("empty/readme", "");
    const shared = tmpdir();
    put("tmp/readme", ""); // temporary files of its own: others compare in the shared folder, at the same time
    process.env.TMPDIR = at("tmp");
    const noAnswer = (why, ...words) => {
        const { status, stdout, stderr } = lab("diff", LAB, ...words);
        assert.equal(status, 3, stdout);
        assert.match(stdout, why);
        assert.match(stderr, /^vorn-lab: no answer: [^\n]+\n$/);
    };
    noAnswer(/nothing to compare/, build("new", OTHER_DAEMON), "empty");
    noAnswer(/weak\.toml: NEW \(.*\) was ended by a signal/, build("dies", OTHER_DAEMON, "simulate) kill -9 $$ ;;"), "weak.toml");
    noAnswer(
        /refuses: .*--json: no such flag/,
        build("old", OTHER_DAEMON, 'simulate) echo "vorn-lab: --json: no such flag" >&2; exit 2 ;;'),
        "weak.toml",
    );
    noAnswer(
        /NEW \(.*\) refuses: .*knows no plasma/,
        build("key", OTHER_DAEMON, 'simulate) exec "$lab" "$@" --set phase[0].plasma=1 ;;'),
        "weak.toml",
    );
    noAnswer(/NEW's result: /, build("mute", OTHER_DAEMON, "simulate) echo no ;;"), "weak.toml");
    for (const [words, why] of [
        [[], /needs OLD, NEW and at least one/],
        [[LAB, LAB], /needs OLD, NEW/],
        [[LAB, LAB, "gone.toml"], /gone\.toml: No such file/],
        [[at("gone"), LAB, "weak.toml"], /OLD: .*gone: No such file/],
        [[LAB, "/bin/true", "weak.toml"], /NEW: \/bin\/true: is no vorn-lab/],
        [[LAB, build("early", "--version) echo vorn-lab 1.0 ;;"), "weak.toml"], /NEW: .*too old: --version tells no digests/],
        [[LAB, LAB, "weak.toml", "--accept", "why"], /--accept needs --expect/],
        [[LAB, LAB, "weak.toml", "weak.toml", "--report", "x"], /--report takes one input/],
        [[LAB, LAB, "weak.toml", "--json", "--report", "-"], /standard output is taken/],
        [[LAB, LAB, "weak.toml", "--seeds", "0"], /--seeds/],
        [[LAB, LAB, "weak.toml", "--seeds", "3", "--only-traces"], /--seeds: with --only-traces/],
        [[LAB, LAB, "weak.toml", "-j", "0"], /-j/],
        [[LAB, LAB, "weak.toml", "--expect", "weak.toml", "--accept", ""], /--accept: is empty/],
        [[LAB, LAB, "weak.toml", "--changed-only"], /--changed-only needs --keep DIR/],
        [[LAB, LAB, "weak.toml", "--keep", "weak.toml"], /--keep: weak\.toml: /],
    ])
        assert.match(labRefuses("diff", ...words), why);
    assert.deepEqual(readdirSync(at("tmp")), ["readme"]);
    process.env.TMPDIR = shared;
});

test("what both builds have run to the same end is skipped by name, until anything about it changes", () => {
    put("in/weak.toml", WEAK);
    put("in/aged.toml", `${WEAK}[weather]\nfile = "hours.csv"\n`);
    labMust("simulate", "--quiet", "in/weak.toml", "--trace", "t.csv");
    const hours = (celsius) => put("in/hours.csv", `ambient_c\n${celsius}\n`);
    hours(20);
    const other = build("new", OTHER_DAEMON);
    const gate = (...more) => {
        const files = ["in/weak.toml", "in/aged.toml", "t.csv", "--keep", "kept"];
        const { status, stdout } = lab("diff", LAB, other, ...files, "--changed-only", "--json", ...more);
        const { compared, skipped, inputs } = JSON.parse(stdout);
        assert.equal(compared + skipped, 3);
        return [status, inputs.filter((each) => each.skipped === "").map((each) => each.input)];
    };
    assert.deepEqual(gate(), [0, ["in/weak.toml", "in/aged.toml", "t.csv"]]);
    assert.deepEqual(gate(), [3, []]); // nothing was compared: no success
    hours(30);
    assert.deepEqual(gate(), [0, ["in/aged.toml"]]);
    put("in/weak.toml", WEAK.replace("1700", "1600"));
    assert.deepEqual(gate(), [0, ["in/weak.toml"]]);
    put("t.csv", get("t.csv").replace(/[^\n]*\n$/, ""));
    assert.deepEqual(gate(), [0, ["t.csv"]]);
    const worse = ["diff", LAB, build("new", OTHER_DAEMON.replace("ff/", "fe/"), OTHER_PHONE), "in/weak.toml", "t.csv", "--keep", "kept"];
    const [first, again] = [lab(...worse), lab(...worse, "--changed-only")];
    assert.equal(again.stdout.replace(/ of 1 /, " of 2 ").replace(/skipped: 1 of 2.*\n|\nSkipped, as [^]*/g, ""), first.stdout);
    assert.match(again.stdout, /\nskipped: 1 of 2, named below\n[^]*\nSkipped, as both builds' .* same\n {2}\.:\n {4}t\.csv\n$/);
});

test("another build's daemon runs in this lab as in its own", () => {
    put(
        "weak.toml",
        `${WEAK}[[event]]\nat = "9 h"\ndo = "reboot"\n[[event]]\nat = "10 h"\ndo = "fail"\ncall = "write"\ntarget = "batt_stress"\nfor = "1 h"\n`,
    );
    const outputs = (name) => [
        "--events",
        `${name}.jsonl`,
        "--series",
        `${name}.csv`,
        "--samples",
        "--trace",
        `${name}.t`,
        "--save-root",
        name,
    ];
    const other = build("old", OTHER_DAEMON, OTHER_PHONE);
    labMust("simulate", "--quiet", "weak.toml", ...outputs("here"));
    labMust("simulate", "--quiet", "weak.toml", ...outputs("there"), "--daemon", other);
    for (const end of [".jsonl", ".csv", ".t", `/${HISTOGRAM}`]) assert.ok(get(`here${end}`) === get(`there${end}`), end);
    assert.equal(JSON.parse(labMust("replay", "here.t", "--json", "--daemon", other)).build.daemon, "00000000000000ff");
    const apart = lab("diff", "--daemon", other, LAB, "weak.toml");
    assert.equal(apart.status, 0, apart.stdout);
    assert.match(apart.stdout, /^daemon 00000000000000ff -> .*, lab same \(OLD's daemon in NEW's lab\)\n/);
    const version = (line) => `--version) "$lab" --version | sed -e "${line}" -e "s/^daemon .*/daemon 00000000000000fe/" ;;`;
    for (const [line, why] of [
        ["s/^wire .*/wire 2/", /OLD: .*it has wire 2, this vorn-lab wire 1 \(diff --only-traces/],
        ["/^wire/d", /OLD: .*it has no wire, this vorn-lab wire 1/],
    ])
        assert.match(labRefuses("diff", "--daemon", build("wire", version(line)), LAB, "weak.toml"), why);
    const mute = build("mute", OTHER_DAEMON, "daemon-wire) exit 0 ;;");
    assert.match(labRefuses("simulate", "--quiet", "weak.toml", "--daemon", mute), /mute: its daemon cannot be run in another lab/);
    const dies = build("dies", OTHER_DAEMON, String.raw`daemon-wire) printf 'vorn\1\0\0\0' >&$2; kill -SEGV $$ ;;`);
    const died = lab("simulate", "weak.toml", "--daemon", dies);
    assert.equal(died.status, 1);
    assert.match(died.stdout + died.stderr, /daemon crashed|SIGSEGV/i);
    assert.match(labRefuses("daemon-wire", "77"), /is for another vorn-lab to start/);
});

test("over seeds the pairs are compared, and few pairs show nothing", () => {
    put("short.toml", '[[phase]]\nfor = "5 h"\ncharger = "usb"\nload_mw = 900\nburst_mw = 3000\nburst_pct = 30\n[cell]\nsoc_pct = 60\n');
    const over = (seeds) => lab("diff", LAB, LAB, "short.toml", "--new-set", "phase[0].load_mw=600", "--seeds", seeds).stdout;
    const seven = over("7");
    assert.match(seven, /New less old over 7 seeds/);
    assert.match(seven, /\n {2}records +-\d+ {2}-\d+ to -\d+: short\.toml\n/);
    assert.match(seven, /\n {2}estimate off on average +[-+]0\.0\d % {2}~: short\.toml\n/);
    const few = over("2");
    assert.match(few, /fewer than 6 seeds show nothing\n/);
    assert.match(few, / {2}~: short\.toml\n/);
});
