// The page of a fleet in a real browser: node --test page_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { createRequire } from "node:module";
import { test } from "node:test";
import { pathToFileURL } from "node:url";
import { Browser } from "../report/browser.mjs";
import { at, labMust, put } from "../support/lab.mjs";

const AXE = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const POPULATION = `title = "A <b>fleet</b>"
phones = 8
span = "2 d"
[weather]
[user]
screen_h = { draw = "uniform", from = 2, to = 5 }
[[group.climate]]
name = "cool"
share_pct = 60
[[group.climate]]
name = "a climate of a rather long name, in which it is hot"
share_pct = 40
weather.mean_c = 30
`;

test("nothing is cut or pale in three widths and two themes", async (t) => {
    put("p.toml", POPULATION);
    labMust("fleet", "run", "p.toml", "--out", "dir", "--quiet");
    labMust("fleet", "report", "dir");
    const browser = await Browser.start();
    t.after(() => browser.stop());
    for (const [width, theme] of [360, 900, 1400].flatMap((each) => [
        [each, "light"],
        [each, "dark"],
    ])) {
        await browser.resize(width, 900);
        await browser.theme(theme);
        await browser.page.goto(pathToFileURL(at("fleet.html")).href);
        assert.equal(await browser.run("document.querySelector('h1').textContent"), "A <b>fleet</b>");
        const cut = `[...document.querySelectorAll("section, th, td, code, h1")].filter((each) => each.scrollWidth > each.clientWidth + 1 ||
            !each.closest(".scroll") && each.getBoundingClientRect().right > innerWidth).map((each) => each.outerHTML.slice(0, 200))`;
        assert.deepEqual(await browser.run(cut), [], `${width} ${theme}`);
        const letters = `[...document.querySelectorAll("svg text")].map((each) => each.getBoundingClientRect().height)`;
        assert.ok(Math.min(...(await browser.run(letters))) > 10, `${width}: labels of charts are small`);
        await browser.page.evaluate(AXE);
        const { violations } = await browser.run(`axe.run(document, { resultTypes: ["violations"] })`);
        assert.deepEqual(
            violations.map(({ id, nodes }) => `${width} ${theme} ${id}: ${nodes[0].html.slice(0, 200)} ${nodes[0].any[0]?.message}`),
            [],
        );
        assert.deepEqual(browser.errors, []);
    }
});
