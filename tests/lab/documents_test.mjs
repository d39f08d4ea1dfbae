// The parts of the documents that the program makes are what it makes today, and their examples are read.
// node --test documents_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { test } from "node:test";
import { lab, labMust, put } from "../support/lab.mjs";

const document = (name) => readFileSync(new URL(`../../docs/${name}.md`, import.meta.url), "utf8");

for (const [name, marker, words] of [
    ["metrics", "<!-- made by: vorn-lab metrics --list -->\n", ["metrics", "--list"]],
    ["state-files", "<!-- made by: vorn-lab state fields -->\n", ["state", "fields"]],
    ["log", "<!-- made by: vorn-lab story --list -->\n", ["story", "--list"]],
    ["check", "<!-- made by: vorn-lab check --list -->\n", ["check", "--list"]],
    ["compare", "<!-- made by: vorn-lab diff --classes -->\n", ["diff", "--classes"]],
    ["fleet", "<!-- made by: vorn-lab fleet columns -->\n", ["fleet", "columns"]],
    ["scenarios", undefined, ["simulate", "--keys"]],
]) {
    test(`docs/${name}.md ends in what vorn-lab ${words.join(" ")} says`, () => {
        const text = document(name);
        const made = labMust(...words).trimEnd();
        assert.equal(marker ? text.split(marker)[1].trimEnd() : text.trimEnd().slice(-made.length), made);
    });
}

test("every scenario of the document is read", () => {
    const examples = document("scenarios")
        .split("```toml\n")
        .slice(1)
        .map((part) => part.split("```")[0]);
    assert.ok(examples.length >= 5);
    for (const example of examples) {
        put("x.toml", example);
        assert.notEqual(lab("simulate", "--quiet", "x.toml").status, 2, example); // 1: an expectation does not hold
    }
});
