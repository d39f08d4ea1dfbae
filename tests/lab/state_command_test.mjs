// The state command on every field, and on every file in all conditions; what a person reads of it: cases/cli.
// node --test state_command_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { mkdirSync, rmSync, symlinkSync } from "node:fs";
import { test } from "node:test";
import { at, lab, labMust, put } from "../support/lab.mjs";

const NVCFG = "root/mnt/vendor/nvcfg/vorn/";

const set = (...assignments) => labMust("state", "set", "root", ...assignments);
// The exit status says whether a file is damaged; what is shown is so either way.
const text = () => lab("state", "show", "root").stdout;
const show = (root = "root") => JSON.parse(lab("state", "show", "--json", root).stdout)[0];
const file = (name, root) => show(root).files.find((each) => each.name === name);

// No two alike where the daemon takes more than one: a field that is shown in another's stead is found out.
function someValue(name, i) {
    const parameter = { dcr_num: 9000, dcr_den: 10000, qmax_num: 2000, qmax_den: 740 }[name.split(".")[1]];
    if (name.startsWith("batt_stress")) return 100.125 + i;
    if (parameter) return parameter + i;
    return { toc_clients: 7, batt_precharge_ubootflag: 200, "dyn_soc_params.version": 1 }[name] ?? 1000 + i;
}

test("shows what was set in every field", () => {
    const first = [
        "batt_stress[0][0]",
        "dyn_soc_params.version",
        "toc_clients",
        "charge_failures",
        "last_datetime",
        "last_battvolt",
        "batt_precharge_timer",
        "batt_precharge_counter",
        "batt_precharge_uboottimer",
        "batt_precharge_ubootflag",
    ];
    set(...first.map((name) => `${name}=1`));
    const fields = () => show().files.flatMap((each) => each.fields);
    const names = fields().map(({ name }) => name);
    assert.equal(new Set(names).size, 112);
    const given = names.map((name, i) => [name, someValue(name, i)]);
    set(...given.map(([name, number]) => `${name}=${number}`));
    assert.deepEqual(
        fields().map((each) => [each.name, each.value]),
        given,
    );
    const shown = text();
    for (const [name, number] of given.filter(([name]) => !name.startsWith("batt_stress"))) {
        assert.match(shown, new RegExp(`\n  ${name} +${number}[ ,\n]`));
    }
    for (let row = 0; row < 9; ++row) {
        const hours = given.slice(11 * row, 11 * row + 11).map(([, number]) => number.toFixed(1));
        assert.match(shown, new RegExp(`\n  ${row} \\S+ +${hours.join(" +")} `));
    }
    const ends = {
        last_datetime: ["-9223372036854775808", "9223372036854775807"],
        toc_clients: ["0", "255"],
        batt_precharge_ubootflag: ["0", "255"],
    };
    for (const end of [0, 1]) {
        const whole = names
            .filter((name) => !name.startsWith("batt_stress"))
            .map((name) => [name, (ends[name] ?? ["-2147483648", "2147483647"])[end]]);
        set("--force", ...whole.map((each) => each.join("=")));
        const json = lab("state", "show", "--json", "root").stdout;
        for (const [name, number] of whole) assert.match(json, new RegExp(`"name": "${name}",\\s*"value": ${number},`));
    }
});

// Every file in every condition: what is said of it is what the document says, and the others are shown all the same.
test("shows damaged files as such", () => {
    put(`${NVCFG}toc_clients`, "\x03");
    const reference = labMust("state", "fields");
    const { files } = show();
    for (const { name, path, whole_size: size } of files) {
        const expect = (condition, bytes) => {
            const shown = file(name);
            assert.equal(shown.condition, condition, name);
            if (bytes === undefined) return shown;
            assert.equal(shown.size, bytes.length);
            const all = text();
            assert.ok(all.includes(`\n  ${condition} (${bytes.length} of `), name);
            for (const other of files) assert.ok(all.includes(`\n${other.name}: `));
            return shown;
        };
        for (const [condition, bytes] of [
            ["too short", ""],
            ["too short", "\x01".repeat(size - 1)],
            ["too long", "\x01".repeat(size + 1)],
        ]) {
            put(path, bytes);
            const { daemon } = expect(condition, bytes);
            const isSaid =
                condition === "too long"
                    ? daemon.includes("reads and writes the first")
                    : reference.includes(daemon.split(", and so reads")[0]);
            assert.ok(isSaid, daemon);
        }
        rmSync(at(path));
        const { daemon } = expect("missing");
        assert.ok(reference.includes(daemon), daemon);
        mkdirSync(at(path)); // a directory opens and cannot be read
        const unread = expect("cannot be read");
        assert.equal(unread.error, "Is a directory");
        if (name === "batt_stress") assert.match(unread.daemon, /writes the empty table over the life's record/);
        rmSync(at(path), { recursive: true });
        symlinkSync(name, at(path)); // a loop of links cannot be opened
        assert.equal(expect("cannot be opened").daemon, daemon);
        rmSync(at(path));
    }
});
