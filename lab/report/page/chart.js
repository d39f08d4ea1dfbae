// One panel as a uPlot chart: each channel an envelope between its least and its greatest value.

import { make } from "./dom.js";
import { number } from "./format.js";

export const GUTTER = 52; // left of every chart, so that all charts align
export const RIGHT_EDGE = 10;
export const AXIS_HEIGHT = 38;
const TICK_PIXELS = 84;
const NARROW = 420; // pixels of a chart's width, from which on ticks stand closer
const NARROW_TICK_PIXELS = 58;
const LABEL_ROOM = 14; // a label needs this much to the right of its tick

export const css = (name) => getComputedStyle(document.documentElement).getPropertyValue(name).trim();

/** Labels of the ticks; none where the right edge would cut it. */
function tickLabels(u, clock, moments) {
  const last = axisEnd(u) - LABEL_ROOM;
  return clock.labels(moments).map((label, i) => (u.valToPos(moments[i], "x") > last ? "" : label));
}

const axisEnd = (u) => u.bbox.width / devicePixelRatio;

/** The x scale, its axis and the cursor, the same in all charts. */
export function sharedOptions(axis, clock, withLabels) {
  const spacing = (u) => (axis.span / Math.max(axisEnd(u), 1)) * (axisEnd(u) < NARROW ? NARROW_TICK_PIXELS : TICK_PIXELS);
  return {
    scales: { x: { time: false, range: () => [axis.min, axis.max] } },
    axes: [{
      size: withLabels ? AXIS_HEIGHT : 0,
      font: "11px system-ui, sans-serif",
      gap: 4,
      stroke: () => css("--muted"),
      grid: { stroke: () => css("--grid"), width: 1 },
      ticks: { show: withLabels, stroke: () => css("--grid"), width: 1, size: 4 },
      splits: (u, i, min, max) => clock.ticks(min, max, spacing(u)),
      values: (u, moments) => (withLabels ? tickLabels(u, clock, moments) : moments.map(() => "")),
    }],
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
      setSelect: [(u) => {
        if (u.select.width < 4) return;
        axis.set(u.posToVal(u.select.left, "x"), u.posToVal(u.select.left + u.select.width, "x"));
        u.setSelect({ left: 0, width: 0, top: 0, height: 0 }, false);
      }],
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
  const line = {
    stroke: () => css(channel.colour),
    width: channel.width ?? 1.4,
    dash: channel.dash,
    points: { show: false },
    paths: channel.step ? uPlot.paths.stepped({ align: 1 }) : undefined,
  };
  return [line, { ...line }];
}

/** Only the first channel is filled: several fills on each other say nothing. */
function bandsOf(channels) {
  return channels.slice(0, 1).map((channel) => ({
    series: [1, 2],
    fill: () => css(`${channel.colour}-fill`),
  }));
}

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
      if (value === null) continue;
      if (value < low || value > high) isOff = true;
      else [least, greatest] = [Math.min(least, value), Math.max(greatest, value)];
    }
  }
  return { least, greatest, isOff };
}

/** Some air above and below, and never so close that noise looks like a signal. */
function valueRange({ least, greatest }, leastSpan) {
  if (least > greatest) return [0, leastSpan];
  const middle = (least + greatest) / 2;
  const span = Math.max((greatest - least) * 1.12, leastSpan);
  return [middle - span / 2, middle + span / 2];
}

export class Chart {
  constructor(panel, samples, axis, clock, withLabels) {
    Object.assign(this, { panel, samples, axis });
    this.channels = panel.channels.filter((channel) => samples.has(channel.name));
    this.values = this.channels.map(() => make("span", { className: "value" }, ""));
    this.holder = make("div", { className: "plot" });
    this.element = make("div", { className: "panel" }, this.#legend(), this.holder);
    this.mark = null;
    this.options = this.#options(sharedOptions(axis, clock, withLabels), withLabels);
  }

  #options(shared, withLabels) {
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
      height: panel.height + (withLabels ? AXIS_HEIGHT : 0),
      padding: [6, RIGHT_EDGE, withLabels ? 0 : 4, 0],
      scales: { ...shared.scales, y: { range: () => valueRange(this.extent, panel.leastSpan) } },
      series: [{}, ...this.channels.flatMap(seriesOf)],
      bands: bandsOf(this.channels),
      hooks: { ...shared.hooks, draw: [(u) => drawMark(u, this.mark)] },
    };
  }

  #legend() {
    const items = this.channels.map((channel, i) =>
      make("span", { className: "key" }, swatch(channel), make("span", {}, channel.label), this.values[i]));
    const title = make("h3", {}, this.panel.title, make("span", { className: "unit" }, ` ${this.panel.unit}`));
    this.offNote = make("span", { className: "off-note", hidden: true }, "readings off the scale");
    return make("div", { className: "legend" }, title, ...items, this.offNote);
  }

  /** Makes the chart once its place has a width. */
  open() {
    this.options.width = this.holder.clientWidth;
    this.plot = new uPlot(this.options, this.#data(), this.holder);
  }

  #data() {
    const pixels = Math.max(this.holder.clientWidth - GUTTER - RIGHT_EDGE, 50);
    const names = this.channels.map((channel) => channel.name);
    const data = this.samples.envelopes(names, this.axis.min, this.axis.max, pixels);
    this.channels.forEach(({ scale }, c) => {
      for (const row of [2 * c + 1, 2 * c + 2]) data[row] = data[row].map((v) => (v === null ? null : v * scale));
    });
    this.extent = extent(data.slice(1), this.panel.sane);
    this.offNote.hidden = !this.extent.isOff;
    return data;
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

  /** Values of bucket i beside the keys; nothing for i < 0. */
  show(i) {
    this.channels.forEach((channel, c) => {
      this.values[c].textContent = this.#text(channel, this.samples.range(channel.name, i));
    });
  }

  #text(channel, range) {
    if (!range) return "";
    const digits = Number.isInteger(channel.scale) ? 0 : this.panel.digits;
    const [least, greatest] = range.map((v) => number(v * channel.scale, digits));
    return least === greatest ? least : `${least} – ${greatest}`;
  }
}

/** The channel's line as it is drawn. */
function swatch({ colour, dash = [], width = 1.6 }) {
  const box = document.createElementNS("http://www.w3.org/2000/svg", "svg");
  const line = document.createElementNS("http://www.w3.org/2000/svg", "line");
  for (const [name, value] of Object.entries({ width: 26, height: 8, "aria-hidden": "true" })) box.setAttribute(name, value);
  const style = `stroke: var(${colour}); stroke-width: ${Math.max(width, 2)}; stroke-dasharray: ${dash.join(" ")}`;
  for (const [name, value] of Object.entries({ x1: 0, x2: 26, y1: 4, y2: 4, style })) line.setAttribute(name, value);
  box.append(line);
  return box;
}
