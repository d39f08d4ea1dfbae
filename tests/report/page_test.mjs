// The report's page in a real browser: node --test page_test.mjs, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { mkdtempSync, readFileSync, readdirSync, rmSync, statSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { after, before, describe, test } from "node:test";
import { fileURLToPath } from "node:url";
import { Browser } from "./browser.mjs";

const { VORN_LAB } = process.env;
const SOURCE = fileURLToPath(new URL("../..", import.meta.url));
const AXE = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");
const EVIL = "</script><script>window.broken = 1</script><img src=x onerror='window.broken = 2'>";
const HOUR = 3600;
const DAY = 86400;

let folder;
let browser;
const pages = {};

const page = (name) => (pages[name] = join(folder, `${name}.html`));
const write = (name, text) => writeFileSync(join(folder, name), text);

function simulate(name, scenario, ...options) {
    write(`${name}.toml`, scenario);
    execFileSync(VORN_LAB, ["simulate", "--quiet", `${name}.toml`, "--report", page(name), ...options], { cwd: folder, stdio: "pipe" });
}

// A charger and nights asleep, a heater, a reboot of seven minutes, and an expectation that fails.
const TROUBLE = `title = "Trouble"
start = 2026-03-02T06:00:00
[[phase]]
for = "4 d"
ambient_c = 22
load_mw = 400
daily = [{ at = "06:00", charger = "none" }, { at = "20:00", charger = "wall" }, { at = "23:00", screen = "suspended", charger = "none" }]
[[event]]
do = "heater"
watt = 1
at = "30 h"
for = "2 h"
[[event]]
do = "power_cut"
at = "9 h"
for = "7 min"
[[expect]]
log = "no such line"
min = 1
`;
// Longer than any phone is used; a cycle every five minutes keeps the test short.
const DECADE = `title = "Ten years"
phone.cycle_s = 300
[[phase]]
for = "3652 d"
daily = [{ at = "07:00", charger = "none" }, { at = "19:00", screen = "on", load_mw = 1500 }, { at = "22:00", charger = "wall" }]
`;
const DECADE_BYTES = 200e6; // of memory, to make its page
const TRACE_WITHOUT_CLOCK =
    "boot,elapsed_s,voltage_now,current_now,temp,capacity,status\n" +
    Array.from({ length: 400 }, (_, i) => `1,${i * 10},${4000000 + i * 500},-300000,250,${i < 200 ? 90 : 10},Discharging\n`).join("");

function makePages() {
    const inFolder = { cwd: folder, stdio: "pipe" };
    execFileSync(VORN_LAB, ["simulate", "--quiet", join(SOURCE, "scenarios/ordinary_week.toml"), "--report", page("week")], inFolder);
    execFileSync(VORN_LAB, ["simulate", "--quiet", join(SOURCE, "scenarios/desk_charger.toml"), "--report", page("desk")], inFolder);
    assert.throws(() => simulate("trouble", TROUBLE), "its expectation fails");
    execFileSync(VORN_LAB, ["simulate", "--quiet", join(SOURCE, "scenarios/lying_gauge.toml"), "--report", page("lying")], inFolder);
    simulate("lowered", `[[phase]]\nfor = "11 d"\ncharger = "wall"\nambient_c = 24\n`);
    write("decade.toml", DECADE);
    const simulation = [VORN_LAB, "simulate", "--quiet", "decade.toml", "--report", page("decade")];
    execFileSync("prlimit", [`--data=${DECADE_BYTES}`, ...simulation], inFolder);
    write("clock.csv", TRACE_WITHOUT_CLOCK);
    execFileSync(VORN_LAB, ["replay", "clock.csv", "--report", page("clock")], inFolder);
    const header =
        "boot,elapsed_s,toc_mv,perm_step,temp_step,charge_timer_flag,thermal_flag,precharge_flag,dyn_soc_state,dcr,qmax," +
        "ocv,ocv_avg,soc_v,soc_c,soc_raw,soc_scal,soc_act,soc_smooth,soc_ui,landing_state,smoothing_active,i_avg_ma,i_targ_ma,soc_off\n";
    write("empty.csv", header);
    write("empty.jsonl", "");
    execFileSync(VORN_LAB, ["report", "empty.jsonl", "empty.csv", "-o", page("empty")], inFolder);
    const table = Buffer.alloc(396);
    const written = (elapsed, hours) => {
        table.writeFloatLE(hours, 4 * 3);
        table.writeFloatLE(7, 4 * 50);
        return `${JSON.stringify({ boot: 1, elapsed, event: "write", path: "/mnt/vendor/nvcfg/vorn/batt_stress", result: 396, data: table.toString("hex") })}\n`;
    };
    write("life.jsonl", written(10, 100) + written(3610, 103));
    execFileSync(VORN_LAB, ["report", "life.jsonl", "empty.csv", "-o", page("life")], inFolder);
    write("evil.jsonl", `${JSON.stringify({ boot: 1, elapsed: 0, event: "log", priority: 6, tag: "vorn", text: EVIL })}\n`);
    execFileSync(VORN_LAB, ["report", "evil.jsonl", "empty.csv", "-o", page("evil"), "--title", EVIL], inFolder);
}

before(async () => {
    folder = mkdtempSync(join(tmpdir(), "vorn-page-"));
    makePages();
    browser = await Browser.start();
});
after(async () => {
    await browser?.stop();
    rmSync(folder, { recursive: true, force: true });
});

async function openWide(file, hash = "") {
    await browser.resize(1440, 1000);
    await browser.theme("light");
    return browser.open(file, hash);
}

function assertQuiet(file) {
    assert.deepEqual(browser.errors, []);
    assert.deepEqual(browser.requests, [`file://${file}`]);
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
const shown = async () =>
    (await browser.run(`[...document.querySelectorAll("#charts .uplot")].map((chart) => chart.dataset.shown)`)).map((text) =>
        text.split(" ").map(Number),
    );
const text = (id) => browser.run(`document.getElementById("${id}").textContent`);
const click = async (selector) => {
    await browser.run(`document.querySelector(${JSON.stringify(selector)}).click()`);
    await browser.settle();
};
const middleOf = (selector) =>
    browser.run(`(({ left, top, width, height }) => [Math.round(left + width / 2), Math.round(top + height / 2), Math.round(width)])(
    document.querySelector(${JSON.stringify(selector)}).getBoundingClientRect())`);

/** Puts the pointer on a moment of the first chart; gives the read-out. */
async function pointAt(t) {
    const [[min, max]] = await shown();
    const { left, top, width } = await browser.run(`document.querySelector("#charts .u-over").getBoundingClientRect().toJSON()`);
    await browser.move([left + ((t - min) / (max - min)) * width, top + 20]);
    return text("moment");
}

/** Columns of a canvas in a stretch of time in which a colour, as [r, g, b], is drawn. */
function columnsWith(chart, [from, to], colour) {
    return browser.run(`(() => {
    const plot = document.querySelectorAll("#charts .uplot")[${chart}];
    const [min, max] = plot.dataset.shown.split(" ").map(Number);
    const over = plot.querySelector(".u-over");
    const canvas = plot.querySelector("canvas");
    const left = over.offsetLeft * devicePixelRatio, width = over.clientWidth * devicePixelRatio;
    const x = (t) => Math.round(left + ((t - min) / (max - min)) * width);
    let count = 0;
    for (let at = x(${from}); at <= x(${to}); ++at) {
      const { data } = canvas.getContext("2d").getImageData(at, 0, 1, canvas.height);
      for (let i = 0; i < data.length; i += 4) {
        if (data[i + 3] > 60 && ${JSON.stringify(colour)}.every((value, c) => Math.abs(data[i + c] - value) < 24)) { ++count; break; }
      }
    }
    return count;
  })()`);
}

/** Something of the panel with a title, as an expression on it. */
const panel = (title, expression, about = (found) => found) =>
    browser.run(
        about(
            `[...document.querySelectorAll("#charts .panel")].find((each) => each.querySelector("h3").firstChild.data === "${title}")${expression}`,
        ),
    );
const BLUE = [0x24, 0x60, 0xc0]; // --voltage

for (const name of ["week", "decade"]) {
    describe(`the page of a ${name}`, () => {
        test("opens without an error or a request, with every chart drawn", async () => {
            await openWide(pages[name]);
            const coloured = await browser.run(COLOURED);
            assert.ok(coloured.length >= 5, `only ${coloured.length} charts`);
            for (const count of coloured) assert.ok(count > 200, `pixels with a colour: ${coloured}`);
            assertQuiet(pages[name]);
        });

        test("zooms all charts when one is zoomed, and shows the whole run again", async () => {
            await openWide(pages[name]);
            const whole = await shown();
            const [x, y, width] = await middleOf("#charts .u-over");
            await browser.drag([x, y], [x + 3, y]);
            assert.deepEqual(await shown(), whole);
            assert.equal(await browser.run(`document.querySelector("#charts .u-select").clientWidth`), 0, "a short drag leaves no stripe");
            await browser.drag([x - Math.round(width / 8), y], [x + Math.round(width / 8), y]);
            const zoomed = await shown();
            const span = whole[0][1] - whole[0][0];
            for (const [from, to] of zoomed) {
                assert.ok(Math.abs(to - from - span / 4) < span / 50, `a quarter of ${span}: ${from} to ${to}`);
                assert.deepEqual([from, to], zoomed[0]);
            }
            for (const count of await browser.run(COLOURED)) assert.ok(count > 200);
            await click("[data-axis=whole]");
            assert.deepEqual(await shown(), whole);
        });

        test("moves the axis to the moment of a decision, which stays chosen through a zoom", async () => {
            await openWide(pages[name]);
            const whole = await shown();
            await click("#decisions li:last-of-type button");
            const there = await shown();
            assert.notDeepEqual(there, whole);
            for (const range of there) assert.deepEqual(range, there[0]);
            const when = await browser.run(`document.querySelector("#decisions .chosen time").textContent`);
            assert.ok((await text("moment")).startsWith(when), "the read-out is at that moment");
            await click("[data-axis=out]");
            assert.ok((await text("moment")).startsWith(when));
            assert.equal(await browser.run(`document.querySelectorAll("#decisions .chosen").length`), 1);
        });

        test("narrows the log by text, kind and feature", async () => {
            await openWide(pages[name]);
            const rows = () => browser.run(`[...document.querySelectorAll("#log-list .text")].map((each) => each.textContent)`);
            const count = async () => Number((await text("log-count")).split(" ")[0].replaceAll(",", ""));
            const set = (id, value, event) =>
                browser.run(`(() => { const box = document.getElementById("${id}"); box.value = "${value}";
        box.dispatchEvent(new Event("${event}")); })()`);
            const all = await count();
            assert.ok(all > 100);
            await set("log-text", "FLUSH", "input");
            await browser.until(`document.getElementById("log-count").textContent.includes(" of ")`);
            const found = await count();
            assert.ok(found > 0 && found < all);
            for (const row of await rows()) assert.match(row, /flush/i);
            await set("log-feature", "core", "change");
            assert.equal(await count(), 0);
            await browser.run(`document.getElementById("log-text").value = ""`);
            await set("log-feature", "stress", "change");
            await browser.run(
                `[...document.querySelectorAll("#log-kinds button")].filter((each) => each.textContent !== "Writes").forEach((each) => each.click())`,
            );
            assert.ok((await count()) > 0);
            for (const row of await rows()) assert.match(row, /batt_stress, 396 bytes/);
        });

        test("fits screens of 900 and of 390 px", async () => {
            for (const width of [900, 390]) {
                await browser.resize(width, 844, width === 390);
                await browser.open(pages[name]);
                assert.equal(await browser.run("document.documentElement.scrollWidth"), width);
                const wide =
                    await browser.run(`[...document.querySelectorAll("main *")].filter((each) => each.getBoundingClientRect().right > ${width + 1} &&
          !each.closest(".scroll, .list, .values")).map((each) => each.outerHTML.slice(0, 80))`);
                assert.deepEqual(wide, []);
            }
            const height = `document.getElementById("charts").offsetHeight`;
            const before = await browser.run(height);
            await browser.move(await middleOf("#charts .u-over"));
            assert.equal(await browser.run(height), before, "nothing moves when values are read out");
            for (const count of await browser.run(COLOURED)) assert.ok(count > 100);
        });
    });
}

describe("what the page says is so", () => {
    test("a gap is no line and no value", async () => {
        await openWide(pages.trouble);
        const night = [17.5 * HOUR, 23 * HOUR]; // asleep from 23:00 to 06:00, the run began at 06:00
        assert.equal(await columnsWith(0, night, BLUE), 0, "nothing is drawn in the night");
        assert.ok((await columnsWith(0, [2 * HOUR, 8 * HOUR], BLUE)) > 20, "and something by day");
        assert.match(await pointAt(20 * HOUR), /no sample for (7 h|6 h 59 min)/);
        const values = await browser.run(
            `[...document.querySelectorAll("#charts .entry .value")].map((each) => each.textContent).join("")`,
        );
        assert.equal(values, "");
        const cut = 9 * HOUR;
        await openWide(pages.trouble, `#t=${cut + 200}&span=3600`);
        await browser.settle();
        assert.equal(await columnsWith(0, [cut + 60, cut + 360], BLUE), 0);
        assert.match(await pointAt(cut + 200), /no sample for 7 min.*the daemon was not running/);
    });

    test("states of the landing, the charger, the screen and the scenario have their names", async () => {
        await openWide(pages.week);
        const label = await browser.run(`document.querySelector("#charts .panel:last-child .plot").getAttribute("aria-label")`);
        for (const name of ["Landed", "Stays full", "Wall charger", "Screen on", "Charging"])
            assert.match(label, new RegExp(`${name} [0-9.]+ %`));
        await openWide(pages.trouble);
        await pointAt(31 * HOUR);
        assert.match(
            await browser.run(`document.querySelector("#charts .panel:last-child .legend").textContent`),
            /heat from outside: 1 W/,
        );
        assert.match(await text("findings"), /1 of 1 expectation did not hold.*no such line.*found 0/);
    });

    test("runs that did the same are not judged", async () => {
        await openWide(pages.week);
        assert.match(await text("worth-body"), /Capacity left/);
        assert.equal(await browser.run(`document.querySelectorAll("#worth .good, #worth .bad").length`), 0);
        assert.match(await text("other"), /same in every cycle/);
        assert.match(await text("cost-body"), /batt_stress/);
    });

    test("the forecast takes the pace since the voltage last changed", async () => {
        await openWide(pages.desk);
        assert.match(await text("histogram-body"), /No forecast: less than a day/);
        await openWide(pages.week);
        assert.match(await text("histogram-body"), /at the pace of this run/);
        await openWide(pages.lowered);
        const said = (await browser.run(`[...document.querySelectorAll("#histogram-body p")].map((each) => each.textContent)`)).join("\n");
        const [, left] = said.match(/([\d,]+) stress hours to the next limit/);
        const pace = said.match(/since the top of charge last changed \(([^)]+)\), ([\d.]+) a day/);
        assert.ok(pace, said);
        const days = Number(left.replaceAll(",", "")) / Number(pace[2]);
        const years = said.match(/about (?:(\d+) y )?(?:(\d+) d)?/);
        assert.ok(Math.abs(Number(years[1] ?? 0) * 365.25 + Number(years[2] ?? 0) - days) < 0.02 * days + 1, said);
        assert.equal(await browser.run(`document.querySelectorAll(".forecast .ahead").length`), 1);
    });

    test("paper has the whole of every chart, every decision, and a word for the log", async () => {
        await openWide(pages.week);
        const decisions = await browser.run(`document.querySelectorAll("#decisions li").length`);
        const pdf = await browser.page.pdf({ preferCSSPageSize: true });
        assert.ok(pdf.length > 50000);
        await browser.theme("dark");
        await browser.run(`dispatchEvent(new Event("beforeprint"))`);
        const drawn = await browser.run(`[...document.querySelectorAll("#charts canvas")].map((each) => each.clientWidth)`);
        for (const width of drawn) assert.ok(width > 650, `drawn for the whole sheet: ${drawn}`);
        await browser.page.emulateMediaType("print");
        await browser.settle();
        assert.equal(await browser.run(`document.documentElement.dataset.theme`), "light");
        const paper = await browser.run("document.body.clientWidth");
        assert.ok(paper < 720, `${paper} px`);
        for (const width of await browser.run(
            `[...document.querySelectorAll("#charts canvas")].map((each) => each.getBoundingClientRect().right)`,
        ))
            assert.ok(width <= paper + 20);
        assert.deepEqual(
            await browser.run(`[document.querySelector("#decisions").scrollHeight - document.querySelector("#decisions").clientHeight,
      document.querySelectorAll("#decisions li").length >= ${decisions}]`),
            [0, true],
        );
        assert.match(
            await browser.run(`document.getElementById("log-print").checkVisibility() && document.getElementById("log-print").textContent`),
            /Not printed: [\d,]+ lines/,
        );
        await browser.page.emulateMediaType(null);
        await browser.run(`dispatchEvent(new Event("afterprint"))`);
    });

    test("ten years zoom no closer than their steps, and around an action to each cycle", async () => {
        await openWide(pages.decade);
        for (let i = 0; i < 20; ++i) await click("[data-axis=in]");
        const [[from, to]] = await shown();
        const said = await pointAt((from + to) / 2);
        const step = said.match(/a step of (?:(\d+) h )?(\d+) min/);
        assert.ok(step, said);
        assert.ok(to - from >= 15 * (Number(step[1] ?? 0) * 60 + Number(step[2])) * 60, `${to - from} s in steps: ${said}`);
        assert.match(await text("charts-note"), /steps of \d+/);
    });

    test("a wall clock that nobody read is not made up", async () => {
        await openWide(pages.clock);
        assert.match(await text("facts"), /wall clock not known/);
        for (const id of ["facts", "moment", "story", "log", "sessions", "findings"]) assert.doesNotMatch(await text(id), /2026|Jan/, id);
        assert.match(await text("findings"), /Displayed .* points (above|below) the gauge/);
    });

    test("counts have no room below zero, and hidden decisions no mark", async () => {
        await openWide(pages.week);
        for (const title of ["Stress hours", "Capacity left", "Equivalent full cycles", "Resistance", "True resistance"]) {
            const [low] = (await panel(title, `.querySelector(".uplot").dataset.height`)).split(" ").map(Number);
            assert.ok(low >= 0, `${title} from ${low}`);
        }
        const marks = () => browser.run(COLOURED).then((counts) => counts.at(-1));
        const before = await marks();
        await click("#story-filter button:first-child");
        assert.ok((await marks()) < before, "the mark of the finding is gone");
    });

    test("the errors are what stands above them, against the truth, and a hidden series is not read out", async () => {
        await openWide(pages.lying, `#t=${4 * HOUR}&span=${HOUR}`);
        await browser.settle();
        await pointAt(4 * HOUR);
        const values = async (title) =>
            Object.fromEntries(
                await panel(
                    title,
                    `.querySelectorAll(".entry")`,
                    (entries) =>
                        `[...${entries}].map((each) => [each.querySelector(".key").textContent, Number(each.querySelector(".value").textContent)])`,
                ),
            );
        const said = await values("State of charge");
        const errors = await values("Error of the state of charge");
        assert.ok(said.Gauge - said.True > 20, "a gauge that lies");
        for (const name of ["Estimated", "Displayed", "Gauge"])
            assert.ok(Math.abs(errors[name] - (said[name] - said.True)) < 0.11, `${name}: ${JSON.stringify([said, errors])}`);
        assert.match(await panel("Error of the state of charge", ".textContent"), /points against true/);
        assert.match(await text("values"), /Gauge/);
        await browser.run(
            `[...document.querySelectorAll("#charts .key")].filter((each) => /Gauge/.test(each.textContent)).forEach((each) => each.click())`,
        );
        await pointAt(4 * HOUR + 60);
        assert.doesNotMatch(await text("values"), /Gauge/);
        assert.match(await panel("Error of the state of charge", `.querySelector(".plot").getAttribute("aria-label")`), /Gauge hidden/);
    });

    test("the map tells the hours of this run from those of the life", async () => {
        await openWide(pages.life);
        const cells = () =>
            browser.run(`[...document.querySelectorAll(".heat .bucket")].map((each) => each.textContent).filter(Boolean).join(" ")`);
        const choose = (label) =>
            browser.run(`[...document.querySelectorAll("#histogram label")].find((each) => each.textContent === "${label}").click()`);
        assert.equal(await cells(), "7.0 103");
        await choose("Hours of this run");
        assert.equal(await cells(), "3.0");
        await choose("Hours");
        assert.equal(await cells(), "7.0 103");
    });
});

test("the page of a decade is small and opens fast", async () => {
    assert.ok(statSync(pages.decade).size < 4e6, `${statSync(pages.decade).size} bytes`);
    await openWide(pages.decade);
    const lines = await text("log-count");
    assert.ok(Number(lines.split(" ")[0].replaceAll(",", "")) > 50000, lines);
    assert.match(await text("log-left-out"), /lines are left out/);
});

test("the page of an empty run is small and says what there is not", async () => {
    assert.ok(statSync(pages.empty).size < 160e3, `${statSync(pages.empty).size} bytes`);
    await openWide(pages.empty);
    for (const id of ["charts", "story", "histogram", "worth", "cost", "log", "sessions"]) {
        assert.match(await text(id), /No |no |Nothing|Only/, id);
    }
    assertQuiet(pages.empty);
});

test("a page that cannot start says so", async () => {
    write("cut.html", readFileSync(pages.week, "utf8").replace(/(<script id="run"[^>]*>)[^<]{40}/, "$1"));
    await browser.page.goto(`file://${join(folder, "cut.html")}`);
    await browser.until(`document.documentElement.dataset.drawn === "never"`);
    assert.match(await text("cannot-start"), /cannot start/);
});

test("an address leads to a moment, a decision and a line, and back", async () => {
    await openWide(pages.week, `#t=${2 * DAY}&span=${6 * HOUR}`);
    assert.deepEqual((await shown())[0], [2 * DAY - 3 * HOUR, 2 * DAY + 3 * HOUR]);
    await click("#decisions li:nth-child(3) button");
    await browser.until(`location.hash.includes("d=2")`);
    const there = await shown();
    await click("[data-axis=whole]");
    await browser.until(`location.hash.includes("span=604")`);
    await browser.run("history.back()");
    await browser.until(`location.hash.includes("d=2")`);
    await browser.settle();
    assert.deepEqual(await shown(), there);
    assert.equal(await browser.run(`document.querySelector("#decisions .chosen").dataset.index`), "2");
    await openWide(pages.week, "#t=1000&span=3600&line=20");
    assert.equal(await browser.run(`document.querySelector("#log-list [aria-selected=true]").id`), "row-20");
});

test("what is shown can be saved", async () => {
    await openWide(pages.week, `#t=${DAY}&span=${HOUR}`);
    await browser.settle();
    const session = await browser.page.createCDPSession();
    await session.send("Browser.setDownloadBehavior", { behavior: "allow", downloadPath: folder });
    const saved = async (selector, ending) => {
        await click(selector);
        for (let i = 0; i < 100; ++i) {
            const found = readdirSync(folder).find((name) => name.endsWith(ending));
            if (found) return readFileSync(join(folder, found));
            await new Promise((resolve) => setTimeout(resolve, 50));
        }
        throw new Error(`nothing saved: ${ending}`);
    };
    const csv = String(await saved("#save-samples", "_samples.csv"))
        .trimEnd()
        .split("\n");
    assert.match(csv[0], /^t_s,length_s,utc,.*voltage_mv,/);
    assert.ok(Math.abs(csv.length - HOUR / 10) < 5, `${csv.length} lines`);
    assert.match(String(await saved("#log-save", "_log.txt")), /attempting to migrate/);
    assert.equal((await saved("#charts .icon", "_voltage.png")).subarray(1, 4).toString(), "PNG");
});

test("the figures of a stretch are those of its samples", async () => {
    await openWide(pages.week, `#t=${DAY}&span=${DAY}`);
    await click("#figures summary");
    await browser.until(`document.querySelector("#figures-body table")`);
    const said = await text("figures-body");
    const time = [...said.matchAll(/(\d+) h (?:(\d+) min)?(?=Charging|Full|Discharging)/g)].reduce(
        (sum, [, h, min]) => sum + Number(h) * 60 + Number(min ?? 0),
        0,
    );
    assert.ok(Math.abs(time - 24 * 60) < 5, `${time} minutes of states in a day: ${said}`);
    assert.match(said, /Into the cell|Ah/);
    assert.match(said, /Stress hours gained/);
});

test("keys and a reader's way: zoom, move, read out, one stop for the story", async () => {
    await openWide(pages.week);
    const [[from, to]] = await shown();
    await browser.run(`document.getElementById("charts").focus()`);
    await browser.keys("+");
    const [[nearFrom, nearTo]] = await shown();
    assert.ok(nearTo - nearFrom < 0.6 * (to - from));
    await browser.keys("ArrowRight");
    assert.doesNotMatch(await text("moment"), / – /);
    await browser.until(`/Cell [\\d.]+ V/.test(document.getElementById("live").textContent)`);
    await browser.keys("0");
    assert.deepEqual((await shown())[0], [from, to]);
    assert.equal(await browser.run(`document.querySelectorAll("#decisions button[tabindex='0']").length`), 1);
    await browser.run(`document.querySelector("#decisions button").focus()`);
    await browser.keys("ArrowDown");
    assert.equal(await browser.run(`document.activeElement.closest("li").dataset.index`), "1");
    assert.equal(await browser.run(`document.querySelectorAll("#decisions button.decision[tabindex='0']").length`), 1);
    await browser.run(`document.getElementById("log-list").focus()`);
    await browser.keys("ArrowDown", "ArrowDown");
    assert.equal(await browser.run(`document.querySelector("#log-list [aria-selected=true]").id`), "row-1");
});

test("the wheel zooms about the pointer, and a series can be hidden", async () => {
    await openWide(pages.week);
    const [[from, to]] = await shown();
    const { left, top, width } = await browser.run(`document.querySelector("#charts .u-over").getBoundingClientRect().toJSON()`);
    const wheel = (ctrlKey) =>
        browser.run(`document.querySelector("#charts .u-over").dispatchEvent(new WheelEvent("wheel", { deltaY: -120, ctrlKey: ${ctrlKey},
    clientX: ${left + width / 4}, clientY: ${top + 20}, bubbles: true, cancelable: true }))`);
    await wheel(false);
    await browser.settle();
    assert.deepEqual((await shown())[0], [from, to], "the page scrolls");
    await wheel(true);
    await browser.settle();
    const [[min, max]] = await shown();
    const about = from + (to - from) / 4;
    assert.ok(max - min < to - from && Math.abs((about - min) / (max - min) - 0.25) < 0.01);
    const before = (await browser.run(COLOURED))[0];
    await click("#charts .key");
    assert.ok((await browser.run(COLOURED))[0] < before);
});

test("the moment and the time axis stay in view, and a phone's fingers move and zoom the charts", async () => {
    const isInView = (selector) =>
        browser.run(
            `(({ top, bottom }) => top >= 0 && bottom <= innerHeight)(document.querySelector("${selector}").getBoundingClientRect())`,
        );
    for (const width of [1440, 390]) {
        await browser.resize(width, 844, width === 390);
        await browser.open(pages.week);
        await browser.run(`document.querySelector("#charts .panel:last-child").scrollIntoView({ behavior: "instant" })`);
        await browser.settle();
        for (const selector of ["#moment", "#values", "#ruler .uplot"]) assert.ok(await isInView(selector), `${selector} at ${width} px`);
    }
    const touch = await browser.page.createCDPSession();
    const fingers = (type, ...xs) => touch.send("Input.dispatchTouchEvent", { type, touchPoints: xs.map((x, id) => ({ x, y, id })) });
    await browser.run(`document.getElementById("time").scrollIntoView({ behavior: "instant" })`);
    const [x, y, plot] = await middleOf("#charts .u-over");
    const [[from, to]] = await shown();
    await fingers("touchStart", x - 30, x + 30);
    await fingers("touchMove", x - 60, x + 60);
    await fingers("touchEnd");
    await browser.settle();
    const [[min, max]] = await shown();
    assert.ok(Math.abs((max - min) / (to - from) - 0.5) < 0.05, "twice as far apart");
    assert.ok(Math.abs((min + max - from - to) / 2) < 0.05 * (to - from), "about the middle of the fingers");
    await fingers("touchStart", x);
    for (const moved of [10, 20, 30]) await fingers("touchMove", x - moved);
    await fingers("touchEnd");
    await browser.settle();
    const [[later]] = await shown();
    assert.ok(Math.abs(later - min - (30 / plot) * (max - min)) < (12 / plot) * (max - min), `${later - min} s later`);
    await click("#decisions button");
    assert.ok(await browser.run(`document.getElementById("back").checkVisibility()`));
    await browser.run(`document.documentElement.style.scrollBehavior = "auto"`);
    await click("#back");
    assert.ok(await isInView("#story-heading"), "the way back to the list");
});

test("a line of the log is explained, a decision shows its line, and a first start's missing files are one row", async () => {
    const START = "03-28 08:00:00.000   401   401 E vorn    : --- vorn ";
    const missing = ["last_datetime", "toc_clients", "batt_stress", "toc_clients"];
    write(
        "first_start.txt",
        [
            `${START}attempting to migrate persistent files`,
            ...missing.map((name) => `${START}file open error errno file /mnt/vendor/nvcfg/vorn/${name} ---`),
            `${START}No saved datetime ---`,
            "03-28 10:00:00.000   401   401 E vorn    : --- vorn CHG_MGR New ToC setting: v=4350 ---\n",
        ].join("\n"),
    );
    execFileSync(VORN_LAB, ["report", "first_start.txt", "-o", page("first_start")], { cwd: folder, stdio: "pipe" });
    await openWide(pages.first_start);
    const rows = () => browser.run(`[...document.querySelectorAll("#log-list .text")].map((each) => each.textContent)`);
    // What a log does not tell is not told for it.
    assert.match(await text("facts"), /^From what a device left · /);
    assert.match(await text("summary"), /^Time2 h1 boot/);
    assert.match(await text("cost-body"), /^(?!.*Cycles).*Log lines a day.*The log does not tell which state files were written\.$/);
    assert.doesNotMatch(await text("verdict"), /without a sample/);
    const folded = "3 files not found, in 4 lines: last_datetime toc_clients batt_stress";
    assert.equal((await rows())[1], folded);
    const count = (await rows()).length;
    assert.match(await text("log-count"), new RegExp(`^${count + 3} lines$`), "the count is of lines");
    await click("#log-list .row:nth-child(2)");
    assert.match(await text("log-detail"), /file\.not_opened a state file is not there.*What to do: on a later start/);
    await click("#log-detail button");
    assert.equal((await rows()).length, count + 3);
    assert.match(await browser.run(`document.querySelector("#log-list [aria-selected=true]").textContent`), /last_datetime/);
    await browser.run(`[...document.querySelectorAll("#decisions button")].find((each) => each.textContent.includes("4350")).click()`);
    await click("#decisions .link + .link");
    assert.match(await text("log-detail"), /New ToC setting: v=4350.*toc\.published the top-of-charge voltage is published/);
    assertQuiet(pages.first_start);
});

test("a decision and a line can be copied as links, with a clipboard and without", async () => {
    await openWide(pages.week);
    const copy = async (selector) => {
        await click(selector);
        return browser.run("window.copied");
    };
    await browser.run(`navigator.clipboard.writeText = (text) => ((window.copied = text), Promise.resolve())`);
    await click("#decisions li:nth-child(2) button");
    assert.match(await copy("#decisions .link"), /^file:.*#t=\d+&span=86400&d=1$/);
    assert.equal(await text("decisions").then((said) => /Copied/.test(said)), true);
    await click("#log-list .row:nth-child(5)");
    const link = await copy("#log-detail button:last-of-type");
    assert.match(link, /#t=\d+&span=86400&line=20$/); // the fifth row, behind one for all missing files
    await browser.run(`navigator.clipboard.writeText = () => Promise.reject(new Error("no"))`);
    await click("#log-detail button:last-of-type");
    assert.equal(await browser.run("location.href"), link);
});

// Of what is on the canvas, not of what the style sheet says: the pixel that stands out most in a part of it.
const CONTRAST = `((canvas, [left, top, width, height], background) => {
  const light = (rgb) => { const [r, g, b] = rgb.map((v) => (v <= 10 ? v / 3294.6 : ((v / 255 + 0.055) / 1.055) ** 2.4)); return 0.2126 * r + 0.7152 * g + 0.0722 * b; };
  const against = light(background);
  const { data } = canvas.getContext("2d").getImageData(left, top, width, height);
  let best = 1;
  for (let i = 0; i < data.length; i += 4) {
    if (data[i + 3] < 250) continue;
    const own = light([...data.subarray(i, i + 3)]);
    best = Math.max(best, (Math.max(own, against) + 0.05) / (Math.min(own, against) + 0.05));
  }
  return best;
})`;

test("what is drawn stands out: text by 4.5, lines and bars by 3", async () => {
    for (const theme of ["light", "dark"]) {
        await browser.resize(1440, 1000);
        await browser.theme(theme);
        await browser.open(pages.trouble);
        const colour = (name) =>
            browser.run(
                `getComputedStyle(document.documentElement).getPropertyValue("${name}").trim().slice(1).match(/../g).map((two) => parseInt(two, 16))`,
            );
        const [card, track] = [await colour("--card"), await colour("--track")];
        const measure = (of, place, background) =>
            browser.run(`${CONTRAST}(${of}, ${JSON.stringify(place)}, ${JSON.stringify(background)})`);
        const keys = await browser.run(`document.querySelectorAll("#charts .key").length`);
        for (let shownKey = 0; shownKey < keys; ++shownKey) {
            // Only this one of its panel.
            const name = await browser.run(`[...document.querySelectorAll("#charts .key")].forEach((key, i) => {
                if ((key.getAttribute("aria-pressed") === "true") !== (i === ${shownKey})) key.click(); }),
              document.querySelectorAll("#charts .key")[${shownKey}].closest(".legend").textContent`);
            await browser.settle();
            const canvas = `document.querySelectorAll("#charts .key")[${shownKey}].closest(".panel").querySelector("canvas")`;
            const [width, height] = await browser.run(`[${canvas}.width, ${canvas}.height]`);
            const line = await measure(canvas, [54, 8, width - 66, height - 14], card);
            assert.ok(line >= 3, `${theme}, line ${shownKey} of ${name}: ${line}`);
            const ticks = await measure(canvas, [0, 0, 46, height], card);
            assert.ok(ticks >= 4.5, `${theme}, ticks of ${name}: ${ticks}`);
        }
        const rows = "document.querySelector('#charts .panel:last-child canvas')";
        const [width, height] = await browser.run(`[${rows}.width, ${rows}.height]`);
        assert.ok((await measure(rows, [52, 0, 120, 16], card)) >= 4.5, `${theme}: the label of a row`);
        assert.ok((await measure(rows, [52, height - 36, width - 60, 36], card)) >= 4.5, `${theme}: dates`);
        assert.ok((await measure(rows, [60, 18, width - 120, 22], track)) >= 3, `${theme}: the battery status`);
    }
});

test("with forced colours the map keeps its numbers, and what was chosen before does not matter", async () => {
    await openWide(pages.week);
    await click("#theme");
    const session = await browser.page.createCDPSession();
    const features = [
        { name: "forced-colors", value: "active" },
        { name: "prefers-color-scheme", value: "light" },
    ];
    await session.send("Emulation.setEmulatedMedia", { features });
    await browser.open(pages.week);
    assert.equal(await browser.run("document.documentElement.dataset.theme"), "light");
    assert.ok(!(await browser.run(`document.getElementById("theme").checkVisibility()`)));
    const shades = await browser.run(
        `new Set([...document.querySelectorAll(".heat .bucket")].map((each) => getComputedStyle(each).backgroundColor)).size`,
    );
    assert.ok(shades > 3, `${shades} shades`);
    for (const count of await browser.run(COLOURED)) assert.ok(count > 200);
    await session.send("Emulation.setEmulatedMedia", { features: [] });
    await browser.run("localStorage.clear()");
});

test("two runs are drawn together, and what differs is told first", async () => {
    await openWide(pages.desk);
    const before = (await browser.run(COLOURED))[0];
    await click("#other-choice button");
    await browser.settle();
    assert.ok((await browser.run(COLOURED))[0] > before, "the second run's line");
    assert.match(await text("other"), /decisions? of one run alone|Both took the same/);
});

test("the theme is the system's until it is chosen, and the choice is kept", async () => {
    const background = () => browser.run("getComputedStyle(document.body).backgroundColor");
    await browser.theme("dark");
    await browser.open(pages.week);
    const dark = await background();
    await click("#theme");
    const light = await background();
    assert.notEqual(light, dark);
    await browser.open(pages.week);
    assert.equal(await background(), light);
    await browser.run("localStorage.clear()");
});

test("nothing jumps while the page opens", async () => {
    await browser.resize(1440, 1000);
    await browser.page.evaluateOnNewDocument(`window.shifted = 0; new PerformanceObserver((list) => {
    for (const entry of list.getEntries()) window.shifted += entry.value; }).observe({ type: "layout-shift", buffered: true });`);
    for (const name of ["week", "desk", "empty"]) {
        await browser.open(pages[name]);
        await browser.settle();
        assert.ok((await browser.run("window.shifted")) < 0.1, `${name}: ${await browser.run("window.shifted")}`);
    }
});

test("an audit finds nothing to mend", async () => {
    for (const [name, theme] of [
        ["week", "light"],
        ["week", "dark"],
        ["desk", "light"],
        ["trouble", "dark"],
        ["empty", "light"],
        ["clock", "light"],
    ]) {
        await browser.resize(1440, 1000);
        await browser.theme(theme);
        await browser.open(pages[name]);
        await browser.run(`document.querySelectorAll("details").forEach((each) => { each.open = true; })`);
        await click("#decisions button").catch(() => {});
        await browser.page.evaluate(AXE);
        const { violations } = await browser.run(`axe.run(document, { resultTypes: ["violations"] })`);
        const told = violations.map(
            ({ id, nodes }) =>
                `${name} ${theme} ${id}: ${nodes
                    .slice(0, 3)
                    .map(({ html, any }) => `${html.slice(0, 150)} ${any[0]?.message ?? ""}`)
                    .join(" | ")}`,
        );
        assert.deepEqual(told, []);
    }
});

test("no text gets out of its place", async () => {
    await openWide(pages.evil);
    assert.equal(await text("title"), EVIL);
    assert.equal(await browser.run(`document.querySelector("#log-list .text").textContent`), EVIL);
    assert.equal(await browser.run("window.broken ?? 0"), 0);
    assertQuiet(pages.evil);
    // And if one did, it would not run, nor would what is called or loaded by name.
    const escaped = `<script>window.broken = 3</script><p onclick="window.broken = 4" id="hit" style="color: red">x</p>`;
    write("escaped.html", readFileSync(pages.evil, "utf8").replace("<footer", `${escaped}<footer`));
    await browser.open(join(folder, "escaped.html"));
    await browser.run(`document.getElementById("hit").click()`);
    assert.equal(await browser.run("window.broken ?? 0"), 0);
    assert.ok(browser.errors.length >= 2 && browser.errors.every((each) => /Content Security Policy/.test(each)), browser.errors.join());
});
