// The metrics command, as an engineer meets it: logs of real runs and of made-up records, and bad ones.
// node --test metrics_command_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { spawn } from "node:child_process";
import { once } from "node:events";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { lab, labMust, labRefuses, put } from "../support/lab.mjs";

const SCENARIOS = fileURLToPath(new URL("../../scenarios/", import.meta.url));
const DEVICE = ["deviceId", "softwareVersion", "platform", "model", "deviceType", "countryOfResidence"]
    .map((name) => `_${name}=;SY,`)
    .join("");
// An extreme value of each type, as it is printed, and the code behind it.
const VALUES = {
    int32: ["-2147483648", "IN"],
    uint32: ["4294967295", "IN"],
    int64: ["-9223372036854775808", "IN"],
    uint64: ["18446744073709551615", "IN"],
    real: ["inf", "FL"],
    text: ["A=B:C", "SY"],
};

/** One record of every kind that the list has: {name, fields, text}. */
function sampleRecords() {
    return labMust("metrics", "--list")
        .split("### ")
        .slice(1)
        .map((section) => {
            const [, name, schema, version] = section.match(/^(.*)\n\n`(.*)`, version (\d+)/);
            const fields = [...section.matchAll(/^\| `(\w+)` \| (\w+) \|/gm)].map(([, field, type]) => [field, ...VALUES[type]]);
            const payload = fields.map(([field, value, code]) => `${field}=${value};${code},`).join("");
            return { name: name.toLowerCase(), fields, text: `lx6wwu6k:${schema}:100:${DEVICE}${payload}ver=${version};SY:NA` };
        });
}
function putSamples() {
    put(
        'a "b".log',
        sampleRecords()
            .map(({ text }) => `01-02 03:04:05.678 W/vorn    (  123): ${text}\n`)
            .join(""),
    );
    put("empty.log", ""); // with more than one log, each is named
}
/** What it printed; the exit status says whether all records are good. */
function lines(...words) {
    const { status, stdout, stderr } = lab("metrics", ...words);
    assert.equal(status, stderr.endsWith(" 0 problems\n") ? 0 : 1);
    return stdout.trimEnd().split("\n");
}

// Five scenarios and a device whose step is higher than its hours call for make the daemon emit every record.
test("reads back every record that the daemon leaves in a log", () => {
    const logs = ["refused_properties", "both_reasons", "soft_short", "thermal_runaway", "damaged_files"].map((name) => {
        labMust("simulate", "--quiet", `${SCENARIOS}${name}.toml`, "--events", `${name}.jsonl`);
        return `${name}.jsonl`;
    });
    put("t.csv", "elapsed_s,voltage_now,temp\n0,4000000,250\n");
    put("root/mnt/vendor/nvcfg/vorn/toc_clients", "\x09");
    labMust("replay", "t.csv", "--root", "root", "--events", "root.jsonl");
    const { status, stdout, stderr } = lab("metrics", "root.jsonl", ...logs);
    assert.equal(status, 0);
    assert.match(stderr, /^vorn-lab: \d+ records, 0 problems\n$/);
    const read = new Map(
        stdout
            .trimEnd()
            .split("\n")
            .map((line) => JSON.parse(line))
            .map((found) => [found.record, found]),
    );
    for (const { name, fields } of sampleRecords())
        assert.deepEqual(
            Object.keys(read.get(name).fields),
            fields.map(([field]) => field),
            name,
        );
});

test("writes every record as typed JSON", () => {
    putSamples();
    const found = lines('a "b".log', "empty.log");
    sampleRecords().forEach(({ name, fields }, i) => {
        assert.equal(JSON.parse(found[i]).record, name);
        for (const [field, value, code] of fields)
            assert.ok(found[i].includes(`"${field}":${code === "IN" ? value : `"${value}"`}`), found[i]);
    });
    assert.deepEqual(JSON.parse(found[1]), {
        file: 'a "b".log',
        line: 2,
        log_time: "01-02 03:04:05.678",
        pid: 123,
        record: "stress entry rejected",
        schema: "rsw5/2/03330401",
        version: "12",
        fields: { v: -2147483648, t: -2147483648, val: "inf" },
        units: { val: "h" },
    });
});

test("writes one CSV row per record with its fields in their columns", () => {
    putSamples();
    const [header, ...rows] = lines("--csv", 'a "b".log', "empty.log").map((line) => line.split(","));
    for (const column of ["record", "problem", "stress_hours [h]", "dcr [0.1 mΩ]", "vend"]) assert.ok(header.includes(column), column);
    sampleRecords().forEach(({ name, fields }, i) => {
        assert.equal(rows[i].length, header.length);
        const filled = rows[i]
            .flatMap((value, at) => (at > header.indexOf("text") && value ? [[header[at].split(" ")[0], value]] : []))
            .sort();
        assert.deepEqual(filled, fields.map(([field, value]) => [field, value]).sort(), name);
    });
    // Of some kinds of record, only their own columns; of what is not known, all is told.
    put("unknown.log", "lx6wwu6k:none/1/2:100:\n");
    const few = lines("--csv", "--record", "topoff_set", "--record", "topoff_cleared", 'a "b".log', "unknown.log");
    assert.equal(few.length, 4);
    assert.match(few[0], /,v_mv \[mV\],v_reset_mv \[mV\],dur_s \[s\]$/);
    assert.match(few[3], /unknown schema/);
});

test("tells problems and reads what it can", () => {
    const start = sampleRecords().find(({ name }) => name === "stress start").text;
    const cut = start.slice(0, start.indexOf(",stress_hours") + 12);
    put("good.log", `${start}\n`);
    put("bad.log", `${cut}\nlx6wwu6k:a"\xff:100:\n${start}\n`);
    // The name, by words or by schema, does not swallow the files after it.
    for (const name of ["stress start", "stress_start", "8ynv/2/03330401"])
        assert.equal(lines("--record", name, "good.log").length, 1, name);
    assert.equal(lab("metrics", "bad.log").stderr, "vorn-lab: 1 record, 2 problems\n");
    const [first, second] = lines("bad.log").map((line) => JSON.parse(line));
    assert.deepEqual([first.record, first.problem, first.fields, first.text], ["stress start", "cut", { table_valid: -2147483648 }, cut]);
    assert.deepEqual(
        [second.record, second.problem, second.schema, second.text],
        [undefined, "unknown schema", 'a"\ufffd', 'lx6wwu6k:a"\ufffd:100:'],
    );

    const some = lab("metrics", "good.log", "nowhere", ".", "bad.log");
    assert.equal(some.status, 2);
    assert.equal(some.stderr, "vorn-lab: nowhere: No such file or directory; .: Is a directory\n");
    assert.equal(some.stdout.trimEnd().split("\n").length, 4);
    assert.match(labRefuses("metrics", "--record", "nothing", "good.log"), /no record is called nothing.*--list/);
});

test("tells each record of a log that goes on, and all of it when the user has seen enough", async () => {
    const { text } = sampleRecords()[0];
    const lab = spawn(process.env.VORN_LAB, ["metrics"]);
    const ended = once(lab, "close");
    let said = "";
    lab.stderr.on("data", (more) => (said += more));
    for (let i = 0; i < 3; ++i) {
        lab.stdin.write(`${text}\n`);
        assert.equal(JSON.parse(String((await once(lab.stdout, "data"))[0])).line, i + 1);
    }
    lab.stdin.write(text); // no line end yet
    lab.kill("SIGINT");
    assert.equal(JSON.parse(String((await once(lab.stdout, "data"))[0])).line, 4);
    assert.deepEqual(await ended, [null, "SIGINT"]);
    assert.equal(said, "vorn-lab: 4 records, 0 problems\n");
});
