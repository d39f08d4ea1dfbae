// How fast a report answers in a browser: node bench/page_speed.mjs REPORT.html [RUNS]
//
// Prints, each as the median and the worst of some runs in a fresh browser: milliseconds until the charts stand and until
// all of the page is ready; from a zoom to its frame; the longest task of the page's script and of the zooms; frames a
// second while the axis is moved. What is called processor time is that of the page's thread, and the same on a busy
// machine; all else wants an idle one.

import { statSync } from "node:fs";
import { Browser } from "../tests/report/browser.mjs";

const [file, runs = "5"] = process.argv.slice(2);
if (!file) throw new Error("usage: node bench/page_speed.mjs REPORT.html [RUNS]");

const WATCH_TASKS = `window.longest = 0; new PerformanceObserver((list) => {
  for (const { duration } of list.getEntries()) window.longest = Math.max(window.longest, duration); }).observe({ type: "longtask", buffered: true });`;

const ZOOMS = 8;

// From the click to the frame after the charts in sight are drawn.
const ZOOM = `(async () => {
  const times = [];
  const frame = () => new Promise(requestAnimationFrame);
  const painted = async () => { await frame(); await new Promise((resolve) => { const { port1, port2 } = new MessageChannel(); port1.onmessage = resolve; port2.postMessage(0); }); };
  for (const name of ["in", "in", "in", "later", "out", "earlier", "out", "whole"]) {
    await new Promise((resolve) => setTimeout(resolve, 400));
    await frame();
    const begin = performance.now();
    document.querySelector("[data-axis=" + name + "]").click();
    await painted();
    times.push(performance.now() - begin);
  }
  return times;
})()`;

// A finger that moves the axis by some pixels in each frame, for a second.
const PAN = `(async () => {
  document.querySelector("[data-axis=in]").click();
  await new Promise((resolve) => setTimeout(resolve, 400));
  const charts = document.querySelector("#charts .u-over");
  let frames = 0;
  const begin = performance.now();
  while (performance.now() - begin < 1000) {
    charts.dispatchEvent(new WheelEvent("wheel", { deltaX: frames < 30 ? 6 : -6, bubbles: true, cancelable: true }));
    await new Promise(requestAnimationFrame);
    ++frames;
  }
  return frames / ((performance.now() - begin) / 1000);
})()`;

/** Milliseconds of processor time of the page's thread so far. */
const threadTime = async (session) => {
    const { metrics } = await session.send("Performance.getMetrics");
    return metrics.find(({ name }) => name === "TaskDuration").value * 1000;
};

const figures = {
    "processor time until ready, ms": [],
    "processor time of a zoom, ms": [],
    "charts stand, ms": [],
    "page ready, ms": [],
    "zoom to frame, ms": [],
    "longest task, ms": [],
    "frames a second": [],
};
for (let i = 0; i < Number(runs); ++i) {
    const browser = await Browser.start();
    try {
        await browser.resize(1440, 1000);
        await browser.page.evaluateOnNewDocument(WATCH_TASKS);
        const session = await browser.page.createCDPSession();
        await session.send("Performance.enable", { timeDomain: "threadTicks" });
        figures["page ready, ms"].push(await browser.open(file));
        const opened = await threadTime(session);
        figures["processor time until ready, ms"].push(opened);
        figures["charts stand, ms"].push(Number(await browser.run("document.documentElement.dataset.drawn")));
        figures["zoom to frame, ms"].push(Math.max(...(await browser.run(ZOOM))));
        figures["processor time of a zoom, ms"].push(((await threadTime(session)) - opened) / ZOOMS);
        figures["frames a second"].push(await browser.run(PAN));
        figures["longest task, ms"].push(await browser.run("window.longest"));
    } finally {
        await browser.stop();
    }
}
console.log(`${(statSync(file).size / 1000).toFixed(0)} kB`);
for (const [name, values] of Object.entries(figures)) {
    values.sort((a, b) => a - b);
    const worst = name.startsWith("frames") ? values[0] : values.at(-1);
    console.log(`${name}: ${values[Math.floor(values.length / 2)].toFixed(0)}, at worst ${worst.toFixed(0)}`);
}
