// One panel as a uPlot chart: for each channel a line of means in the envelope between its least and greatest value.

import uPlot from "uplot";
import { css } from "./colours.js";
import { make } from "./dom.js";
import { number } from "./format.js";

export const GUTTER = 52; // left of every chart, so that all charts align
export const RIGHT_EDGE = 10;
export const AXIS_HEIGHT = 38;
const TICK_PIXELS = 84;
const NARROW = 420; // pixels of a chart's width, from which on ticks stand closer
const NARROW_TICK_PIXELS = 58;
const LABEL_ROOM = 14; // a label needs this much to the right of its tick
const LEAST_DRAG = 4; // pixels; a shorter one is a click
const SERIES = 3; // of a channel: mean, greatest, least

/** Labels of the ticks; none where the right edge would cut it. */
function tickLabels(u, clock, moments) {
  const last = axisEnd(u) - LABEL_ROOM;
  return clock.labels(moments).map((label, i) => (u.valToPos(moments[i], "x") > last ? "" : label));
}

const axisEnd = (u) => u.bbox.width / devicePixelRatio;

function timeAxis(axis, clock, withLabels) {
  const spacing = (u) => (axis.span / Math.max(axisEnd(u), 1)) * (axisEnd(u) < NARROW ? NARROW_TICK_PIXELS : TICK_PIXELS);
  return {
    size: withLabels ? AXIS_HEIGHT : 0,
    font: "11px system-ui, sans-serif",
    gap: 4,
    stroke: () => css("--muted"),
    grid: { stroke: () => css("--grid"), width: 1 },
    ticks: { show: withLabels, stroke: () => css("--grid"), width: 1, size: 4 },
    splits: (u, i, min, max) => clock.ticks(min, max, spacing(u)),
    values: (u, moments) => (withLabels ? tickLabels(u, clock, moments) : moments.map(() => "")),
  };
}

/** The x scale, its axis and the cursor, the same in all charts. */
export function sharedOptions(axis, clock, withLabels) {
  return {
    scales: { x: { time: false, range: () => [axis.min, axis.max] } },
    /** @type {any[]} */
    axes: [timeAxis(axis, clock, withLabels)],
    legend: { show: false },
    cursor: {
      drag: { x: true, y: false, setScale: false },
      points: { show: false },
      y: false,
      bind: { dblclick: () => () => axis.whole() },
    },
    hooks: {
      // What the chart really shows, for whoever looks from outside.
      setScale: [(u, key) => key === "x" && (u.root.dataset.shown = `${u.scales.x.min} ${u.scales.x.max}`)],
      setSelect: [
        (u) => {
          const { left, width } = u.select;
          if (width === 0) return;
          u.setSelect({ left: 0, width: 0, top: 0, height: 0 }, false);
          if (width >= LEAST_DRAG) axis.set(u.posToVal(left, "x"), u.posToVal(left + width, "x"));
        },
      ],
    },
  };
}

/** A vertical line at a chosen moment. */
export function drawMark(u, t) {
  if (t === null || t < u.scales.x.min || t > u.scales.x.max) return;
  const x = Math.round(u.valToPos(t, "x", true));
  const { ctx, bbox } = u;
  ctx.save();
  ctx.strokeStyle = css("--mark");
  ctx.lineWidth = 2 * devicePixelRatio;
  ctx.setLineDash([]);
  ctx.beginPath();
  ctx.moveTo(x, bbox.top);
  ctx.lineTo(x, bbox.top + bbox.height);
  ctx.stroke();
  ctx.restore();
}

function seriesOf(channel) {
  const paths = channel.step ? uPlot.paths.stepped({ align: 1 }) : undefined;
  const edge = { width: 0, points: { show: false }, paths };
  const mean = { stroke: () => css(channel.colour), width: channel.width ?? 1.4, dash: channel.dash, points: { show: false }, paths };
  return [mean, { ...edge }, { ...edge }];
}

const OTHER_DASH = [1, 3];
const otherSeries = (channel) => ({ stroke: () => css(channel.colour), width: 1.6, dash: OTHER_DASH, points: { show: false } });

const bandOf = (channel, c) => ({ series: [SERIES * c + 2, SERIES * c + 3], fill: () => css(`${channel.colour}-fill`) });

/** Digits after the point that tell ticks at even distances apart. */
function decimals([first, second = first + 1]) {
  const step = second - first;
  let digits = 0;
  while (digits < 3 && Math.abs(step * 10 ** digits - Math.round(step * 10 ** digits)) > 1e-6) ++digits;
  return digits;
}

/** [least, greatest] of the sane values in rows of data, and whether there are others. */
function extent(rows, [low, high]) {
  let [least, greatest, isOff] = [Infinity, -Infinity, false];
  for (const row of rows) {
    for (const value of row) {
      if (value === null || value === undefined) continue;
      if (value < low || value > high) isOff = true;
      else {
        if (value < least) least = value;
        if (value > greatest) greatest = value;
      }
    }
  }
  return { least, greatest, isOff };
}

/** Some air above and below, never so close that noise looks like a signal, never below what cannot be. */
function valueRange({ least, greatest }, { leastSpan, floor = -Infinity }) {
  if (least > greatest) return [0, leastSpan];
  const middle = (least + greatest) / 2;
  const span = Math.max((greatest - least) * 1.12, leastSpan);
  const low = Math.max(middle - span / 2, floor);
  return [low, Math.max(middle + span / 2, low + leastSpan)];
}

const scaled = (row, scale) => row.map((value) => (value === null || value === undefined ? value : value * scale));

export class Chart {
  constructor(panel, samples, axis, clock) {
    this.panel = panel;
    this.samples = samples;
    this.axis = axis;
    this.channels = panel.channels.filter((channel) => samples.has(channel.name));
    this.hidden = new Set();
    this.values = this.channels.map(() => make("span", { className: "value" }, ""));
    this.holder = make("div", { className: "plot", role: "img" });
    this.element = make("div", { className: "panel" }, this.#legend(), this.holder);
    this.mark = null;
    this.other = null; // samples of a second run, drawn beside the first
    this.options = this.#options(sharedOptions(axis, clock, false));
  }

  #options(shared) {
    const { panel } = this;
    shared.axes.push({
      size: GUTTER,
      font: "11px system-ui, sans-serif",
      gap: 6,
      space: 28,
      stroke: () => css("--muted"),
      grid: { stroke: () => css("--grid"), width: 1 },
      ticks: { show: false },
      values: (u, values) => values.map((v) => number(v, decimals(values))),
    });
    return {
      ...shared,
      width: 100,
      height: panel.height,
      padding: [6, RIGHT_EDGE, 4, 0],
      scales: { ...shared.scales, y: { range: () => valueRange(this.extent, panel) } },
      series: [{}, ...this.channels.flatMap(seriesOf), ...this.channels.map(otherSeries)],
      bands: this.channels.map(bandOf),
      hooks: { ...shared.hooks, draw: [(u) => drawMark(u, this.mark)] },
    };
  }

  #legend() {
    const items = this.channels.map((channel, c) => {
      const key = make(
        "button",
        { type: "button", className: "key", "aria-pressed": "true", title: `Hide or show ${channel.label}` },
        swatch(channel),
        make("span", {}, channel.label),
      );
      key.addEventListener("click", () => this.#toggle(c, key));
      return make("span", { className: "entry" }, key, this.values[c]);
    });
    this.unit = make("span", { className: "unit" }, ` ${this.panel.unit}`);
    this.save = make(
      "button",
      { type: "button", className: "icon", title: "Save a picture of this panel", "aria-label": `Save a picture: ${this.panel.title}` },
      "⤓",
    );
    this.offNote = make("span", { className: "off-note", hidden: true }, "readings off the scale");
    return make("div", { className: "legend" }, make("h3", {}, this.panel.title, this.unit), ...items, this.offNote, this.save);
  }

  #toggle(c, key) {
    const { name } = this.channels[c];
    if (!this.hidden.delete(name)) this.hidden.add(name);
    key.setAttribute("aria-pressed", String(!this.hidden.has(name)));
    this.values[c].hidden = this.hidden.has(name);
    this.refresh();
  }

  /** Makes the chart once its place has a width. */
  open() {
    this.options.width = this.holder.clientWidth;
    this.plot = new uPlot(this.options, this.#data(), this.holder);
  }

  #data() {
    const pixels = Math.max(this.holder.clientWidth - GUTTER - RIGHT_EDGE, 50);
    const data = this.samples.envelopes(
      this.channels.map(({ name }) => name),
      this.axis.min,
      this.axis.max,
      pixels,
    );
    const none = data[0].map(() => null);
    this.channels.forEach(({ name, scale }, c) => {
      for (let row = SERIES * c + 1; row <= SERIES * (c + 1); ++row) data[row] = this.hidden.has(name) ? none : scaled(data[row], scale);
    });
    this.ranges = this.channels.map((channel, c) => extent(data.slice(SERIES * c + 2, SERIES * c + 4), this.panel.sane));
    for (const { name, scale } of this.channels) {
      const isDrawn = this.other?.has(name) && !this.hidden.has(name);
      data.push(isDrawn ? scaled(this.other.meansAt(name, data[0]), scale) : none);
    }
    this.extent = extent(data.slice(1), this.panel.sane);
    this.offNote.hidden = !this.extent.isOff;
    this.#describe();
    return data;
  }

  /** The chart in a sentence, for who cannot see it. */
  #describe() {
    const parts = this.channels.map(({ label, name }, c) => {
      const { least, greatest } = this.ranges[c];
      const digits = this.panel.digits;
      if (this.hidden.has(name)) return `${label} hidden`;
      return least > greatest ? `${label}: none` : `${label} ${number(least, digits)} to ${number(greatest, digits)}`;
    });
    this.holder.setAttribute("aria-label", `${this.panel.title}, ${this.panel.unit}: ${parts.join("; ")}`);
  }

  refresh() {
    const width = this.holder.clientWidth;
    if (width !== this.plot.width) this.plot.setSize({ width, height: this.plot.height });
    this.plot.setData(this.#data(), false);
    this.plot.setScale("x", { min: this.axis.min, max: this.axis.max });
  }

  redraw() {
    this.plot.redraw(false);
  }

  /** Values of row i beside the keys; nothing for i < 0. Gives them in words. */
  show(i) {
    const words = [];
    this.channels.forEach((channel, c) => {
      const text = this.#text(channel, this.samples.range(channel.name, i));
      this.values[c].textContent = text;
      if (text && !this.hidden.has(channel.name)) words.push(`${channel.label} ${text} ${this.panel.unit}`);
    });
    return words;
  }

  #text(channel, range) {
    if (!range) return "";
    const digits = Number.isInteger(channel.scale) && channel.scale === 1 && !channel.name.startsWith("error") ? 0 : this.panel.digits;
    const [least, greatest] = range.map((v) => number(v * channel.scale, digits));
    return least === greatest ? least : `${least} – ${greatest}`;
  }
}

/** The channel's line as it is drawn. */
export function swatch({ colour, dash = [], width = 1.6 }) {
  const box = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  const line = document.createElementNS("http://www.w3.org/2000/svg", "line");
  for (const [name, value] of Object.entries({ width: 26, height: 8, "aria-hidden": "true" })) box.setAttribute(name, String(value));
  for (const [name, value] of Object.entries({ x1: 0, x2: 26, y1: 4, y2: 4 })) line.setAttribute(name, String(value));
  // By properties: the page's policy lets no style attribute through.
  Object.assign(line.style, { stroke: `var(${colour})`, strokeWidth: String(Math.max(width, 2)), strokeDasharray: dash.join(" ") });
  box.append(line);
  return box;
}

/** The time axis alone, to stay in view above the charts. */
export class Ruler {
  constructor(axis, clock) {
    this.axis = axis;
    this.mark = null;
    this.holder = make("div", { className: "plot ruler", "aria-hidden": "true" });
    const shared = sharedOptions(axis, clock, true);
    shared.axes.push({ size: GUTTER, splits: () => [], values: () => [], grid: { show: false }, ticks: { show: false } });
    this.options = {
      ...shared,
      width: 100,
      height: AXIS_HEIGHT + 2,
      padding: [0, RIGHT_EDGE, 0, 0],
      scales: { ...shared.scales, y: { range: [0, 1] } },
      series: [{}, {}],
    };
  }

  open() {
    this.options.width = this.holder.clientWidth;
    this.plot = new uPlot(
      this.options,
      [
        [this.axis.min, this.axis.max],
        [null, null],
      ],
      this.holder,
    );
  }

  refresh() {
    const width = this.holder.clientWidth;
    if (width !== this.plot.width) this.plot.setSize({ width, height: this.plot.height });
    this.plot.setScale("x", { min: this.axis.min, max: this.axis.max });
  }

  redraw() {
    this.plot.redraw(false);
  }

  show() {
    return [];
  }
}
