// What is made from the command line: help, completion, manual. The help says what the others must hold.
// node --test command_line_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { spawnSync } from "node:child_process";
import { test } from "node:test";
import { fileURLToPath } from "node:url";
import { at, labMust, put } from "../support/lab.mjs";

const PROJECT = fileURLToPath(new URL("../..", import.meta.url));
const SCREEN_LINES = 24;
const SCREEN_COLUMNS = 80;

const isThere = (program) => spawnSync("sh", ["-c", `command -v ${program}`]).status === 0;
const shell = (program, ...words) =>
    spawnSync(program, words, { cwd: at("."), encoding: "utf8" })
        .stdout.trimEnd()
        .split("\n");

/** Every command: {words, help, commands, options, operands}, as its help has them. */
function commandsBelow(words) {
    const help = labMust(...words, "--help");
    const lines = (heading) =>
        help
            .match(new RegExp(`\n${heading}:\n((?: .*\n)*)`))?.[1]
            .split("\n")
            .filter((line) => /^ {2}\S/.test(line)) ?? [];
    const commands = lines("Subcommands").map((line) => line.split(/ +/)[1]);
    const options = lines("Options").flatMap((line) => line.split(/ +/)[1].split(","));
    const operands = lines("Positionals").map((line) => line.split(/ +/)[1]);
    return [{ words, help, commands, options, operands }, ...commands.flatMap((each) => commandsBelow([...words, each]))];
}

test("help fits a screen for each command", () => {
    const all = commandsBelow([]);
    assert.ok(all.length >= 11);
    for (const { words, help } of all) {
        const lines = help.trimEnd().split("\n");
        assert.ok(lines.length <= SCREEN_LINES, help);
        for (const line of lines) assert.ok([...line].length <= SCREEN_COLUMNS, `${words}: ${line}`);
    }
});

test("the manual tells of every command and option", () => {
    const page = labMust("manual");
    for (const { words, commands, options, operands } of commandsBelow([])) {
        if (commands.length) continue;
        const section = page.split(`\n.Ss ${words.join(" ")}\n`)[1]?.split("\n.Ss ")[0];
        assert.ok(section, words);
        for (const option of options.filter((each) => each.startsWith("--") && each !== "--help")) {
            assert.ok(section.includes(`Fl -${option.slice(2)}`), option);
        }
        for (const operand of operands) assert.ok(section.includes(`Ar \\&${operand}`), operand);
    }
});

test("the pages are in order", { skip: !isThere("mandoc") && "no mandoc here" }, () => {
    put("vorn-lab.1", labMust("manual"));
    const complaints = shell("mandoc", "-Tlint", at("vorn-lab.1"), `${PROJECT}docs/man/vorn.8`);
    // The pages refer to each other before they are installed.
    assert.deepEqual(
        complaints.filter((line) => line && !line.includes("referenced manual not found")),
        [],
    );
});

test("bash completes what may follow", () => {
    put("completion", labMust("completion", "bash"));
    put("some.csv", "");
    put("some_dir/file", "");
    // Completes the last of the words.
    const complete = (words) =>
        shell(
            "bash",
            "-c",
            `. ./completion; COMP_WORDS=(${words}); COMP_CWORD=$((\${#COMP_WORDS[@]} - 1))
    _vorn_lab; printf '%s\\n' "\${COMPREPLY[@]}"`,
        );
    for (const { words, commands, options } of commandsBelow([])) {
        const start = ["vorn-lab", ...words].join(" ");
        assert.deepEqual(complete(`${start} -`).sort(), options.sort(), start);
        if (commands.length) assert.deepEqual(complete(`${start} ""`).sort(), commands.sort());
    }
    assert.ok(complete("vorn-lab rep").includes("replay"));
    for (const name of ["some.csv", "some_dir"]) assert.ok(complete("vorn-lab replay some").includes(name));
    assert.deepEqual(complete("vorn-lab replay --root some"), ["some_dir"]);
    assert.deepEqual(complete("vorn-lab metrics --record topoff"), ["topoff_set", "topoff_cleared"]);
    assert.deepEqual(complete("vorn-lab metrics --record = topoff"), ["topoff_set", "topoff_cleared"]);
    assert.ok(complete("vorn-lab metrics --record =").includes("topoff_set"));
    assert.deepEqual(complete("vorn-lab simulate --set phase.*.wake_f"), ["phase.*.wake_for="]);
    assert.deepEqual(complete("vorn-lab state set dir toc"), ["toc_clients="]);
    assert.deepEqual(complete("vorn-lab completion z"), ["zsh"]);
});

test("fish completes what may follow", { skip: !isThere("fish") && "no fish here" }, () => {
    put("vorn-lab.fish", labMust("completion", "fish"));
    put("some_dir/file", "");
    const complete = (words) => shell("fish", "-c", `source vorn-lab.fish; complete -C '${words}'`).map((line) => line.split("\t")[0]);
    for (const [words, expected] of [
        ["vorn-lab sta", ["state"]],
        ["vorn-lab state ", ["diff", "fields", "set", "show"]],
        ["vorn-lab state set some_dir toc", ["toc_clients="]],
        ["vorn-lab replay --root some", ["some_dir/"]],
        ["vorn-lab metrics --record topoff", ["topoff_cleared", "topoff_set"]],
    ]) {
        assert.deepEqual(complete(words), expected, words);
    }
});

// In a terminal: what stands there after the tabulator, and what is offered.
test("zsh completes what may follow", { skip: !isThere("zsh") && "no zsh here" }, () => {
    const script = labMust("completion", "zsh");
    for (const { words, options, commands } of commandsBelow([])) {
        const body = script.split(`\n_vorn-lab${words.map((word) => `_${word}`).join("")}() {\n`)[1]?.split("\n}\n")[0];
        for (const each of options) assert.ok(body.includes(`'*${each}[`), each);
        for (const each of commands) assert.ok(body.includes(`'${each}:`), each);
    }
    put("_vorn-lab", script);
    put("some.csv", "");
    put("some_dir/file", "");
    const cases = [
        ["vorn-lab sta", "vorn-lab state "],
        ["vorn-lab ", "replay  ", "simulate  ", "Print the battery curves"],
        ["vorn-lab state ", "diff ", "fields ", "set ", "show "],
        ["vorn-lab state set some_dir toc", "toc_clients=|"],
        ["vorn-lab replay --eve", "--events "],
        ["vorn-lab replay --root some", "some_dir/|"],
        ["vorn-lab replay some", "some.csv", "some_dir/"],
        ["vorn-lab metrics --record topoff_s", "topoff_set "],
        ["vorn-lab completion z", "zsh "],
    ];
    const shown = shell("zsh", "-f", `${PROJECT}tests/lab/zsh_complete.zsh`, ".", ...cases.map(([typed]) => typed));
    assert.equal(shown.length, cases.length, shown.join("\n"));
    cases.forEach(([typed, ...expected], i) => {
        for (const each of expected) assert.ok(shown[i].includes(each), `${typed}: ${shown[i]}`);
    });
});
