// Runs vorn-lab, the program in VORN_LAB, as a user would: each test in a folder of its own. A test that fails tells
// its last command with all that came out of it, and leaves its folder.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { dirname, join } from "node:path";
import { afterEach, beforeEach } from "node:test";

let folder;
let last; // command of the test
beforeEach(() => {
    folder = mkdtempSync(join(tmpdir(), "vorn-lab-"));
    last = undefined;
});
afterEach((ended) => {
    if (ended?.passed !== false) return rmSync(folder, { recursive: true });
    console.error(`${ended.name}: its files are in ${folder}`);
    if (last) console.error(`$ vorn-lab ${last.words.join(" ")}\n${last.stdout}  ! ${last.stderr}\n  ? ${last.status ?? last.signal}`);
});

export const at = (name) => join(folder, name);
export const get = (name) => readFileSync(at(name), "latin1");

/** Writes a file, with the directories it needs; a text as one byte a letter. */
export function put(name, content) {
    mkdirSync(dirname(at(name)), { recursive: true });
    writeFileSync(at(name), content, "latin1");
}

/** {status, stdout, stderr} of the command; labWith gives it a standard input. */
export function labWith(input, ...words) {
    const done = spawnSync(process.env.VORN_LAB, words, {
        input,
        cwd: folder,
        encoding: "utf8",
        env: { ...process.env, TZ: "Europe/Berlin" },
    });
    last = { words, ...done };
    return done;
}
export const lab = (...words) => labWith("", ...words);

/** The output of a command that must succeed. */
export function labMust(...words) {
    const done = lab(...words);
    assert.equal(done.status, 0, done.stderr);
    return done.stdout;
}

/** What a command says, in one line, that must be refused and print nothing. */
export function labRefuses(...words) {
    const { status, stdout, stderr } = lab(...words);
    assert.equal(status, 2, words.join(" "));
    assert.equal(stdout, "");
    assert.match(stderr, /^vorn-lab: [^\n]+\n$/, words.join(" "));
    return stderr;
}

/** What the document's jq lines for a command make of what that command printed, which is to be something each. */
export function askAsDocumented(command, json) {
    const document = readFileSync(new URL("../../docs/formats.md", import.meta.url), "utf8");
    const lines = [...document.matchAll(new RegExp(`^ {4}vorn-lab ${command} .* \\| (jq .*)$`, "gm"))];
    assert.ok(lines.length > 0, command);
    return lines.map(([, filter]) => {
        const { status, stdout, stderr } = spawnSync("sh", ["-c", filter], { input: json, encoding: "utf8" });
        assert.equal(status, 0, stderr);
        assert.ok(stdout.trim() !== "" && !stdout.includes("null"), `${filter}: ${stdout}`);
        return stdout;
    });
}
