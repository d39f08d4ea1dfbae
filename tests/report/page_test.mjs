// The report's page in a real browser: node --test page_test.mjs, with VORN_LAB and MAKE_TEN_YEARS as the two programs.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, rmSync, statSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, describe, test } from "node:test";
import { fileURLToPath } from "node:url";
import { Browser } from "./browser.mjs";

const { VORN_LAB, MAKE_TEN_YEARS } = process.env;
const SOURCE = fileURLToPath(new URL("../..", import.meta.url));

let folder;
let browser;
const pages = {};

function makePages() {
  const page = (name) => (pages[name] = join(folder, `${name}.html`));
  const inFolder = { cwd: folder };
  execFileSync(VORN_LAB, ["simulate", join(SOURCE, "scenarios/ordinary_week.toml"), "--report", page("week")], inFolder);
  pages.memoryMb = Number(execFileSync(MAKE_TEN_YEARS, [page("decade")], inFolder));
  const header = "boot,elapsed_s,toc_mv,perm_step,temp_step,charge_timer_flag,thermal_flag,precharge_flag,dyn_soc_state,dcr,qmax," +
    "ocv,ocv_avg,soc_v,soc_c,soc_raw,soc_scal,soc_act,soc_smooth,soc_ui,landing_state,smoothing_active,i_avg_ma,i_targ_ma,soc_off\n";
  writeFileSync(join(folder, "empty.csv"), header);
  writeFileSync(join(folder, "empty.jsonl"), "");
  execFileSync(VORN_LAB, ["report", "empty.jsonl", "empty.csv", "-o", page("empty")], inFolder);
  const evil = { boot: 1, elapsed: 0, event: "log", priority: 6, tag: "vorn", text: EVIL };
  writeFileSync(join(folder, "evil.jsonl"), `${JSON.stringify(evil)}\n`);
  execFileSync(VORN_LAB, ["report", "evil.jsonl", "empty.csv", "-o", page("evil"), "--title", EVIL], inFolder);
}

const EVIL = "</script><script>window.broken = 1</script><img src=x onerror='window.broken = 2'>";

before(async () => {
  folder = mkdtempSync(join(tmpdir(), "vorn-page-"));
  makePages();
  browser = await Browser.start();
});
after(async () => {
  await browser?.stop();
  rmSync(folder, { recursive: true, force: true });
});

async function openWide(page) {
  await browser.resize(1440, 1000);
  await browser.theme("light");
  return browser.open(page);
}

async function assertQuiet(page) {
  const { errors, requests } = await browser.told();
  assert.deepEqual(errors, []);
  assert.deepEqual(requests, [`file://${page}`]);
}

/** For each chart, how many of its pixels have a colour: the grid and the labels are grey. */
const COLOURED = `[...document.querySelectorAll("#charts canvas")].map((canvas) => {
  const { data } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
  let count = 0;
  for (let i = 0; i < data.length; i += 4) {
    const [r, g, b] = data.subarray(i, i + 3);
    if (data[i + 3] > 100 && Math.max(r, g, b) - Math.min(r, g, b) > 40) ++count;
  }
  return count;
})`;
const SHOWN = `[...document.querySelectorAll("#charts .uplot")].map((chart) => chart.dataset.shown)`;
const shown = async () => (await browser.run(SHOWN)).map((text) => text.split(" ").map(Number));
const text = (id) => browser.run(`document.getElementById("${id}").textContent`);
const middleOf = (selector) =>
  browser.run(`(({ left, top, width, height }) => [Math.round(left + width / 2), Math.round(top + height / 2), Math.round(width)])(
    document.querySelector(${JSON.stringify(selector)}).getBoundingClientRect())`);

for (const name of ["week", "decade"]) {
  describe(`the page of a ${name}`, () => {
    test("opens without an error or a request, with every chart drawn", async () => {
      await openWide(pages[name]);
      const coloured = await browser.run(COLOURED);
      assert.ok(coloured.length >= 5, `only ${coloured.length} charts`);
      for (const count of coloured) assert.ok(count > 200, `pixels with a colour: ${coloured}`);
      await assertQuiet(pages[name]);
    });

    test("zooms all charts when one is zoomed, and shows the whole run again", async () => {
      await openWide(pages[name]);
      const whole = await shown();
      const [x, y, width] = await middleOf("#charts .u-over");
      await browser.drag([x - Math.round(width / 8), y], [x + Math.round(width / 8), y]);
      const zoomed = await shown();
      const span = whole[0][1] - whole[0][0];
      for (const [from, to] of zoomed) {
        assert.ok(Math.abs(to - from - span / 4) < span / 50, `a quarter of ${span}: ${from} to ${to}`);
        assert.deepEqual([from, to], zoomed[0]);
      }
      for (const count of await browser.run(COLOURED)) assert.ok(count > 200);
      await browser.run(`document.querySelector("[data-axis=whole]").click()`);
      assert.deepEqual(await shown(), whole);
    });

    test("reads out all charts at the pointer", async () => {
      await openWide(pages[name]);
      const [x, y] = await middleOf("#charts .u-over");
      await browser.move([x, y]);
      const values = await browser.run(`[...document.querySelectorAll("#charts .legend .value")].map((each) => each.textContent)`);
      assert.ok(values.length >= 6);
      for (const value of values) assert.notEqual(value, "");
      const lines = await browser.run(`[...document.querySelectorAll("#charts .u-cursor-x")].map((each) => each.style.transform)`);
      assert.equal(new Set(lines).size, 1, "the same moment in every chart");
    });

    test("moves the axis to the moment of a decision", async () => {
      await openWide(pages[name]);
      const whole = await shown();
      await browser.run(`document.querySelector("#decisions li:last-of-type button").click()`);
      const there = await shown();
      assert.notDeepEqual(there, whole);
      for (const range of there) assert.deepEqual(range, there[0]);
      assert.ok(there[0][1] - there[0][0] <= 86400);
      const when = await browser.run(`document.querySelector("#decisions .chosen time").textContent`);
      assert.ok((await text("moment")).startsWith(when), "the read-out is at that moment");
    });

    test("narrows the log by text, kind and feature", async () => {
      await openWide(pages[name]);
      const rows = () => browser.run(`[...document.querySelectorAll("#log-list .text")].map((each) => each.textContent)`);
      const count = async () => Number((await text("log-count")).split(" ")[0].replaceAll(",", ""));
      const all = await count();
      assert.ok(all > 100);
      await browser.run(`(() => { const box = document.getElementById("log-text"); box.value = "FLUSH";
        box.dispatchEvent(new Event("input")); })()`);
      await browser.until(`document.getElementById("log-count").textContent.includes(" of ")`);
      const found = await count();
      assert.ok(found > 0 && found < all);
      for (const row of await rows()) assert.match(row, /flush/i);
      await browser.run(`(() => { const box = document.getElementById("log-feature"); box.value = "core";
        box.dispatchEvent(new Event("change")); })()`);
      assert.equal(await count(), 0);
      await browser.run(`(() => { document.getElementById("log-text").value = ""; const box = document.getElementById("log-feature");
        box.value = "stress"; box.dispatchEvent(new Event("change"));
        [...document.querySelectorAll("#log-kinds button")].filter((each) => each.textContent !== "Writes").forEach((each) => each.click()); })()`);
      assert.ok((await count()) > 0);
      for (const row of await rows()) assert.match(row, /batt_stress, 396 bytes/);
    });

    test("fits a screen of 390 px", async () => {
      await browser.resize(390, 844, true);
      await browser.open(pages[name]);
      assert.equal(await browser.run("document.documentElement.scrollWidth"), 390);
      const wide = await browser.run(`[...document.querySelectorAll("main *")].filter((each) => each.getBoundingClientRect().right > 391 &&
        !each.closest(".scroll, .list")).map((each) => each.outerHTML.slice(0, 80))`);
      assert.deepEqual(wide, []);
      const height = `document.getElementById("charts").offsetHeight`;
      const before = await browser.run(height);
      await browser.move(await middleOf("#charts .u-over"));
      assert.equal(await browser.run(height), before, "nothing moves when values are read out");
      for (const count of await browser.run(COLOURED)) assert.ok(count > 100);
    });
  });
}

test("the page of a decade is small, opens fast, and took a bounded memory to make", async () => {
  assert.ok(statSync(pages.decade).size < 4e6, `${statSync(pages.decade).size} bytes`);
  assert.ok(pages.memoryMb < 200, `${pages.memoryMb} MB`);
  const times = [];
  for (let i = 0; i < 3; ++i) times.push(await openWide(pages.decade));
  assert.ok(Math.min(...times) < 2000, `milliseconds: ${times}`);
  const lines = await text("log-count");
  assert.ok(Number(lines.split(" ")[0].replaceAll(",", "")) > 50000, lines);
  assert.match(await text("log-left-out"), /lines are left out/);
});

test("the page of a week compares the daemon with none", async () => {
  await openWide(pages.week);
  assert.match(await text("worth-body"), /Capacity left/);
  assert.match(await text("cost-body"), /batt_stress/);
});

test("the page of an empty run says what there is not", async () => {
  await openWide(pages.empty);
  for (const id of ["charts", "story", "histogram", "worth", "cost", "log"]) {
    assert.match(await text(id), /No |no |Nothing|Only/, id);
  }
  await assertQuiet(pages.empty);
  await browser.resize(390, 844, true);
  assert.equal(await browser.run("document.documentElement.scrollWidth"), 390);
});

test("keys zoom, move and read out", async () => {
  await openWide(pages.week);
  const [[from, to]] = await shown();
  await browser.run(`document.getElementById("charts").focus()`);
  await browser.keys("+");
  const [[nearFrom, nearTo]] = await shown();
  assert.ok(nearTo - nearFrom < 0.6 * (to - from));
  await browser.keys("\uE014"); // arrow right
  assert.doesNotMatch(await text("moment"), / – /);
  await browser.keys("0");
  assert.deepEqual((await shown())[0], [from, to]);
  await browser.run(`document.querySelector("#decisions button").focus()`);
  await browser.keys("\uE015"); // arrow down
  assert.equal(await browser.run(`document.activeElement.closest("li").dataset.index`), "1");
  await browser.run(`document.getElementById("log-list").focus()`);
  await browser.keys("\uE015\uE015");
  assert.equal(await browser.run(`document.querySelector("#log-list [aria-selected=true]").id`), "row-1");
});

test("the theme is the system's until it is chosen", async () => {
  const background = () => browser.run("getComputedStyle(document.body).backgroundColor");
  await browser.theme("dark");
  await browser.open(pages.week);
  const dark = await background();
  await browser.run(`document.getElementById("theme").click()`);
  const light = await background();
  assert.notEqual(light, dark);
  await browser.theme("light");
  assert.equal(await background(), light);
});

test("no text gets out of its place", async () => {
  await openWide(pages.evil);
  assert.equal(await text("title"), EVIL);
  assert.equal(await browser.run(`document.querySelector("#log-list .text").textContent`), EVIL);
  assert.equal(await browser.run("window.broken ?? 0"), 0);
  await assertQuiet(pages.evil);
});
