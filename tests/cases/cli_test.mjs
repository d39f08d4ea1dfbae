// What a person reads: each file of cases/cli holds commands with their whole output, in one folder of its own.
//
//     # Why.
//     @ t.csv                       a file and its content
//         elapsed_s
//     $ vorn-lab replay t.csv       a command for sh; ../scenarios is the project's folder of them
//         what it prints
//       ! what it says on standard error
//     ? 2                           its exit status, when that is not 0
//
// What a run took is shown as "...". VORN_UPDATE_CASES=1 in the environment writes what comes out today into them:
// read it before you keep it. node --test cli_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { mkdtempSync, readdirSync, readFileSync, rmSync, symlinkSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { test } from "node:test";
import { fileURLToPath } from "node:url";

const CASES = fileURLToPath(new URL("cli/", import.meta.url));
const SCENARIOS = fileURLToPath(new URL("../../scenarios", import.meta.url));

const steadied = (text) => text.replace(/^took .*/gm, "took ...");
const marked = (text, mark) =>
    text
        .split("\n")
        .slice(0, /(^|\n)$/.test(text) ? -1 : undefined)
        .map((line) => (mark + line).trimEnd());

/** The lines that a command gives, marked as in a case. */
function outcome(command, folder, env) {
    const { status, stdout, stderr } = spawnSync("sh", ["-c", command], { cwd: folder, encoding: "utf8", env });
    return [...marked(steadied(stdout), "    "), ...marked(steadied(stderr), "  ! "), ...(status ? [`? ${status}`] : [])];
}

/** The case with what comes out today. */
function rerun(text, folder, env) {
    const found = [];
    let file;
    for (const line of text.trimEnd().split("\n")) {
        if (file && line.startsWith("    ")) {
            writeFileSync(join(folder, file), `${line.slice(4)}\n`, { flag: "a" });
        } else if (/^(?: {4}| {2}!|\?|$)/.test(line)) {
            continue; // what a command gave
        } else {
            file = line.startsWith("@ ") ? line.slice(2) : undefined;
            if (file) writeFileSync(join(folder, file), "");
        }
        found.push(line);
        if (line.startsWith("$ ")) found.push(...outcome(line.slice(2), folder, env));
    }
    return `${found.join("\n")}\n`;
}

for (const name of readdirSync(CASES)) {
    test(name.replace(".txt", ""), () => {
        const place = mkdtempSync(join(tmpdir(), "vorn-lab-"));
        symlinkSync(process.env.VORN_LAB, join(place, "vorn-lab"));
        symlinkSync(SCENARIOS, join(place, "scenarios"));
        const folder = mkdtempSync(join(place, "case-"));
        const env = { PATH: `${place}:${process.env.PATH}`, TZ: "Europe/Berlin" };
        const text = readFileSync(CASES + name, "utf8");
        const found = rerun(text, folder, env);
        if (process.env.VORN_UPDATE_CASES) writeFileSync(CASES + name, found);
        else assert.equal(found, text, `cases/cli/${name}: not what it was (VORN_UPDATE_CASES=1 rewrites it); its files are in ${folder}`);
        rmSync(place, { recursive: true });
    });
}
