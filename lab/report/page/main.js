// Puts the page together from the run's data.

import { Axis } from "./axis.js";
import { Bands } from "./bands.js";
import { Chart, GUTTER, RIGHT_EDGE } from "./chart.js";
import { Clock } from "./clock.js";
import { readColumns, readLog, unpack } from "./data.js";
import { $, make } from "./dom.js";
import { DAY, HOUR, duration, number } from "./format.js";
import { startGestures } from "./gestures.js";
import { fillHistogram } from "./heatmap.js";
import { Log } from "./log.js";
import { PANELS } from "./panels.js";
import { Samples } from "./samples.js";
import { Story } from "./story.js";
import { fillSummary } from "./summary.js";
import { fillCost, fillWorth } from "./tables.js";
import { startTheme } from "./theme.js";

const CLOSE_S = DAY;    // a chosen moment is shown with at most this much around it
const LINE_CLOSE_S = HOUR;
const KEY_STEP = 1 / 100; // of the axis, for each key that moves the read-out

const ORIGINS = { simulation: "Simulated phone", replay: "Replayed trace", files: "From files of an earlier run" };

async function load() {
  const run = JSON.parse(new TextDecoder().decode(await unpack($("run").textContent)));
  const { columns, buckets } = run.samples;
  const bytes = await unpack($("samples").textContent);
  return { run, samples: new Samples(readColumns(bytes, columns, buckets), buckets) };
}

/** The charts, one above the other, and everything that moves them. */
class Charts {
  constructor(run, samples, clock) {
    Object.assign(this, { samples, clock });
    this.axis = new Axis(run.span_s);
    const panels = PANELS.filter(({ channels }) => channels.some(({ name }) => samples.has(name)));
    this.charts = panels.map((panel) => new Chart(panel, samples, this.axis, clock, false));
    this.bands = new Bands(samples, run.story.decisions, this.axis, clock);
    this.all = [...this.charts, this.bands];
    this.cursor = null;
    this.onDecision = () => {};
    this.#place(samples.count > 0);
    this.#listen();
  }

  #place(hasCycles) {
    if (!hasCycles) {
      $("charts").append(make("p", { className: "empty" }, "No cycle of the daemon is in this run, so there is nothing to draw."));
      $("charts").removeAttribute("tabindex");
      $("zoom").hidden = true;
      this.all = [];
      return;
    }
    $("charts").append(...this.all.map(({ element }) => element));
    for (const each of this.all) each.open();
  }

  #listen() {
    this.axis.listen(() => this.refresh());
    for (const { plot } of this.all) {
      plot.over.addEventListener("mousemove", () => this.point(plot.posToVal(plot.cursor.left, "x")));
      plot.over.addEventListener("mouseleave", () => this.point(null));
    }
    this.bands.plot?.over.addEventListener("click", () => {
      const decision = this.cursor === null ? null : this.bands.decisionNear(this.cursor);
      if (decision) this.onDecision(decision);
    });
    const moves = { earlier: () => this.axis.pan(-0.5), later: () => this.axis.pan(0.5), in: () => this.axis.zoom(0.5),
      out: () => this.axis.zoom(2), whole: () => this.axis.whole() };
    for (const [name, move] of Object.entries(moves)) document.querySelector(`[data-axis=${name}]`).addEventListener("click", move);
    $("charts").addEventListener("keydown", (event) => this.#key(event));
    startGestures($("charts"), this.axis, GUTTER + RIGHT_EDGE);
    this.width = $("charts").clientWidth;
    new ResizeObserver(() => this.#fit()).observe($("charts"));
    this.point(null);
  }

  /** Only a change of width matters; the heights follow from what is shown. */
  #fit() {
    const width = $("charts").clientWidth;
    if (width === this.width) return;
    this.width = width;
    this.refresh();
  }

  #key(event) {
    const around = this.cursor ?? (this.axis.min + this.axis.max) / 2;
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    if (step && event.shiftKey) this.axis.pan(step / 4);
    else if (step) this.point(Math.min(Math.max(around + step * this.axis.span * KEY_STEP, this.axis.min), this.axis.max));
    else if (event.key === "+" || event.key === "=") this.axis.zoom(0.5, around);
    else if (event.key === "-") this.axis.zoom(2, around);
    else if (event.key === "0" || event.key === "Home") this.axis.whole();
    else return;
    event.preventDefault();
  }

  /** Shows a line and all values at moment t; with null none, and the stretch of time that is shown. */
  point(t) {
    if (!this.all.length) return;
    this.cursor = t;
    const i = t === null ? -1 : this.samples.at(t);
    for (const each of this.all) {
      each.plot.setCursor({ left: t === null ? -10 : each.plot.valToPos(t, "x"), top: 0 }, false);
      each.show(i);
    }
    const { min, max } = this.axis;
    const decision = t === null ? null : this.bands.decisionNear(t);
    const parts = t === null ? [this.clock.stretch(min, max), duration(Math.round(max - min))]
      : [this.clock.full(t), this.clock.deviation(t), decision ? `▲ ${decision.feature}` : ""];
    $("moment").textContent = parts.filter(Boolean).join(" · ");
  }

  refresh() {
    for (const each of this.all) each.refresh();
    this.point(null);
  }

  redraw() {
    for (const each of this.all) each.redraw();
  }

  /** Moves the axis to a moment and marks it in every chart. */
  show(t, span) {
    for (const each of this.all) each.mark = t;
    this.axis.show(t, span);
    this.point(t);
  }
}

function fillHead(run, clock, samples) {
  document.title = `${run.title || "Run"} – battery report`;
  $("title").textContent = run.title || "Battery report";
  const from = clock.isKnown ? clock.stretch(0, run.span_s) : `${duration(run.span_s)}, wall clock not known`;
  $("facts").textContent = [ORIGINS[run.origin] ?? run.origin, from].join(" · ");
  const { cycles, cycles_per_bucket: per } = run.samples;
  $("charts-note").textContent = per > 1
    ? `${number(cycles)} cycles are drawn from ${number(samples.count)} buckets of ${number(per)}, each with its least and greatest value: no peak is lost.`
    : "";
}

async function main() {
  const { run, samples } = await load();
  const clock = new Clock(run.clock);
  startTheme(() => charts.redraw());
  fillHead(run, clock, samples);
  fillSummary($("summary"), run, samples);
  const charts = new Charts(run, samples, clock);
  const choose = (decision) => {
    charts.show(decision.t, CLOSE_S);
    story.mark(decision);
    if (matchMedia("(max-width: 1099px)").matches) $("time").scrollIntoView({ block: "start" });
  };
  const story = new Story(run.story, clock, choose);
  charts.onDecision = choose;
  fillHistogram($("histogram-body"), run.stress, run.span_s);
  fillWorth($("worth-body"), run.worth, run.origin);
  fillCost($("cost-body"), run.cost);
  new Log(run.log, readLog(run.log), run.features, clock, (t) => {
    charts.show(t, LINE_CLOSE_S);
    $("time").scrollIntoView({ block: "start" });
  });
  document.documentElement.dataset.ready = Math.ceil(performance.now()); // milliseconds since the page was asked for
}

main();
