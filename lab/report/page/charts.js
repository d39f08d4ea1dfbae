// The charts, one above the other, and everything that moves them.

import { Axis } from "./axis.js";
import { Bands, gapText } from "./bands.js";
import { Chart } from "./chart.js";
import { $, make } from "./dom.js";
import { duration } from "./format.js";
import { startGestures } from "./gestures.js";
import { PANELS } from "./panels.js";
import { GUTTER, RIGHT_EDGE, Ruler } from "./plot.js";
import { breathe } from "./start.js";

const KEY_STEP = 1 / 100; // of the axis, for each key that moves the read-out
const LATER_MS = 60; // charts out of sight follow so long after those in sight
const SAY_MS = 250; // after the last key the values are said

export class Charts {
  constructor(run, samples, clock, errorsAgainst) {
    this.samples = samples;
    this.clock = clock;
    this.axis = new Axis(run.span_s, (t) => samples.leastSpan(t));
    const panels = PANELS.filter(({ channels }) => channels.some(({ name }) => samples.has(name)));
    this.charts = panels.map((panel) => new Chart(panel, samples, this.axis, clock, run.other !== null));
    for (const { panel, unit } of this.charts) if (panel.title.startsWith("Error")) unit.textContent = ` ${panel.unit} ${errorsAgainst}`;
    this.bands = new Bands({ samples, run, axis: this.axis, clock, width: $("charts").clientWidth });
    this.ruler = new Ruler(this.axis, clock);
    /** @type {import("./plot.js").TimePlot[]} */
    this.all = []; // that are open
    this.cursor = null; // where the pointer is
    this.chosen = null; // a moment that was chosen and stays marked
    this.onDecision = (decision) => void decision;
    this.onView = () => {}; // the axis or the chosen moment has changed
    this.seen = new Set();
    /** @type {IntersectionObserver|null} */
    this.observer = null;
    this.width = 0; // of every chart: to measure is dear once one of them was drawn
    /** @type {import("./plot.js").TimePlot[]} */
    this.closed = []; // still to be opened
    this.#place(samples.count > 0);
    this.#listen();
  }

  #place(hasCycles) {
    if (!hasCycles) {
      $("charts").append(make("p", { className: "empty" }, "No cycle of the daemon is in this run, so there is nothing to draw."));
      $("charts").removeAttribute("tabindex");
      $("zoom").hidden = $("ruler").hidden = true;
      return;
    }
    $("ruler").append(this.ruler.holder);
    $("charts").append(...this.charts.map(({ element }) => element), this.bands.element);
    const plots = [this.ruler, ...this.charts, this.bands];
    for (const each of plots) each.reserve();
    const isInSight = plots.map(({ holder }) => holder.getBoundingClientRect().top < innerHeight);
    this.width = this.ruler.holder.clientWidth;
    this.closed = plots.filter((each, i) => !isInSight[i]);
    for (const each of plots.filter((each, i) => isInSight[i])) this.#open(each);
  }

  #open(each) {
    each.open(this.width);
    each.mark = this.chosen;
    this.all.push(each);
    this.seen.add(each);
    this.#listenTo(each);
  }

  /** The charts further down, one after the other. */
  async openRest() {
    for (const each of this.closed) {
      await breathe();
      this.#open(each);
    }
    this.closed = [];
    this.point(null);
  }

  #listen() {
    this.axis.listen(() => this.refresh());
    this.bands.holder.addEventListener("click", () => {
      const decision = this.cursor === null ? null : this.bands.decisionNear(this.cursor);
      if (decision) this.onDecision(decision);
    });
    const moves = {
      earlier: () => this.axis.pan(-0.5),
      later: () => this.axis.pan(0.5),
      in: () => this.axis.zoom(0.5, this.#middle()),
      out: () => this.axis.zoom(2, this.#middle()),
      whole: () => this.axis.whole(),
    };
    for (const [name, move] of Object.entries(moves)) document.querySelector(`[data-axis=${name}]`).addEventListener("click", move);
    $("charts").addEventListener("keydown", (event) => this.#key(event));
    startGestures($("charts"), this.axis, GUTTER, RIGHT_EDGE);
    new ResizeObserver(() => this.#fit()).observe($("charts"));
    this.point(null);
  }

  #listenTo(each) {
    const { plot, holder } = each;
    plot.over.addEventListener("mousemove", () => this.point(plot.posToVal(plot.cursor.left, "x")));
    plot.over.addEventListener("mouseleave", () => this.point(null));
    this.observer ??= new IntersectionObserver((entries) => {
      for (const { target, isIntersecting } of entries) {
        const chart = this.all.find((one) => one.holder === target);
        if (isIntersecting) this.seen.add(chart);
        else this.seen.delete(chart);
      }
    });
    this.observer.observe(holder);
  }

  /** What a key or a button zooms about: the chosen moment while it is in view. */
  #middle() {
    const { min, max } = this.axis;
    const t = this.cursor ?? this.chosen;
    return t !== null && t >= min && t <= max ? t : (min + max) / 2;
  }

  /** Only a change of width matters; the heights follow from what is shown. */
  #fit() {
    const width = this.ruler.holder.clientWidth;
    if (width === this.width) return;
    this.width = width;
    this.refresh();
  }

  #key(event) {
    const around = this.#middle();
    const step = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    if (step && event.shiftKey) this.axis.pan(step / 4);
    else if (step) this.#step(around + step * this.axis.span * KEY_STEP);
    else if (event.key === "+" || event.key === "=") this.axis.zoom(0.5, around);
    else if (event.key === "-") this.axis.zoom(2, around);
    else if (event.key === "0" || event.key === "Home") this.axis.whole();
    else return;
    event.preventDefault();
  }

  #step(t) {
    const words = this.point(Math.min(Math.max(t, this.axis.min), this.axis.max));
    clearTimeout(this.saying);
    this.saying = setTimeout(() => ($("live").textContent = [$("moment").textContent, ...words].join("; ")), SAY_MS);
  }

  /** Shows a line and all values at moment t; with null at the chosen one, or the stretch of time that is shown. */
  point(t) {
    if (!this.all.length) return [];
    this.cursor = t;
    const at = t ?? this.chosen;
    const i = at === null ? -1 : this.samples.holding(at);
    const words = [];
    for (const each of this.all) {
      each.plot.setCursor({ left: at === null ? -10 : each.plot.valToPos(at, "x"), top: 0 }, false);
      words.push(...each.show(i, at));
    }
    $("moment").textContent = (at === null ? this.#stretchText() : this.#momentText(at, i)).filter(Boolean).join(" · ");
    $("values").textContent = words.slice(0, 8).join("   ");
    return words;
  }

  #stretchText() {
    const { min, max } = this.axis;
    return [this.clock.stretch(min, max), duration(Math.round(max - min))];
  }

  #momentText(t, i) {
    const decision = this.bands.decisionNear(t);
    const step = i < 0 ? 0 : this.samples.end[i] - this.samples.first[i];
    return [
      this.clock.full(t),
      i < 0 ? gapText(this.samples.gapAt(t)) : "",
      step > 0 ? `a step of ${duration(step)}` : "",
      this.clock.deviation(t),
      decision ? `▲ ${decision.feature}` : "",
    ];
  }

  /** Draws all charts anew: those in sight in the next frame, the others soon after. */
  refresh() {
    if (this.frame) return;
    this.frame = requestAnimationFrame(() => {
      this.frame = 0;
      this.#refreshThose((each) => this.seen.has(each));
      this.point(this.cursor);
      clearTimeout(this.rest);
      this.rest = setTimeout(() => this.#refreshRest(), LATER_MS);
      this.onView();
    });
  }

  #refreshRest() {
    this.#refreshThose((each) => !this.seen.has(each));
    this.point(this.cursor);
    $("charts").dataset.drawn = String(Number($("charts").dataset.drawn ?? 0) + 1);
  }

  /** All at once and now, for paper. */
  refreshNow() {
    this.width = this.ruler.holder.clientWidth;
    this.#refreshThose(() => true);
  }

  #refreshThose(isWanted) {
    for (const each of this.all) if (isWanted(each)) each.refresh(this.width);
  }

  redraw() {
    for (const each of this.all) each.redraw();
  }

  /** Moves the axis to a moment and marks it in every chart. */
  show(t, span) {
    this.mark(t);
    this.axis.show(t, span);
  }

  mark(t) {
    this.chosen = t;
    for (const each of this.all) each.mark = t;
  }

  /** Draws a second run beside the first; null: not any more. */
  showOther(samples) {
    for (const each of this.charts) each.other = samples;
    this.refresh();
  }
}
