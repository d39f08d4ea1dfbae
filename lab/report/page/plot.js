// What all charts over time share: their axis, how they are opened, fitted and drawn again, and the mark of a moment.

import uPlot from "uplot";
import { css } from "./colours.js";
import { make } from "./dom.js";

export const GUTTER = 52; // left of every chart, so that all charts align
export const RIGHT_EDGE = 10;
export const AXIS_HEIGHT = 38;
export const FONT = "11px system-ui, sans-serif";
const TICK_PIXELS = 84;
const NARROW = 420; // pixels of a chart's width, from which on ticks stand closer
const NARROW_TICK_PIXELS = 58;
const LABEL_ROOM = 14; // a label needs this much to the right of its tick
const LEAST_DRAG = 4; // pixels; a shorter one is a click

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
    font: FONT,
    gap: 4,
    stroke: () => css("--muted"),
    grid: { stroke: () => css("--grid"), width: 1 },
    ticks: { show: withLabels, stroke: () => css("--grid"), width: 1, size: 4 },
    splits: (u, i, min, max) => clock.ticks(min, max, spacing(u)),
    values: (u, moments) => (withLabels ? tickLabels(u, clock, moments) : moments.map(() => "")),
  };
}

const NO_AXIS = { size: GUTTER, splits: () => [], values: () => [], grid: { show: false }, ticks: { show: false } };

/** A drag over the plot chooses a stretch of the axis. */
function takeSelection(u, axis) {
  const { left, width } = u.select;
  if (width === 0) return;
  u.setSelect({ left: 0, width: 0, top: 0, height: 0 }, false);
  if (width >= LEAST_DRAG) axis.set(u.posToVal(left, "x"), u.posToVal(left + width, "x"));
}

/** A vertical line at a chosen moment. */
function drawMark(u, t) {
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

/** A chart on the common axis. What it draws, and what it says of a moment, is its own. */
export class TimePlot {
  /**
   * @param {import("./axis.js").Axis} axis
   * @param {import("./clock.js").Clock} clock
   * @param {boolean} withLabels at the ticks of the time axis
   */
  constructor(axis, clock, withLabels) {
    this.axis = axis;
    this.clock = clock;
    this.withLabels = withLabels;
    /** @type {number|null} */
    this.mark = null;
    this.holder = make("div", { className: "plot" });
    /** @type {any} */
    this.plot = null;
    this.width = Infinity; // until it is open
  }

  /** @returns {any} what uPlot is told */
  #options({ yAxis = NO_AXIS, yScale = { range: [0, 1] }, series = [{}, {}], draw = (u) => void u, ...own }) {
    const { axis } = this;
    return {
      scales: { x: { time: false, range: () => [axis.min, axis.max] }, y: yScale },
      axes: [timeAxis(axis, this.clock, this.withLabels), yAxis],
      series,
      legend: { show: false },
      cursor: {
        drag: { x: true, y: false, setScale: false },
        points: { show: false },
        y: false,
        bind: { dblclick: () => () => axis.whole() },
      },
      hooks: {
        // What the chart really shows, for whoever looks from outside.
        setScale: [(u, key) => (u.root.dataset[key === "x" ? "shown" : "height"] = `${u.scales[key].min} ${u.scales[key].max}`)],
        setSelect: [(u) => takeSelection(u, axis)],
        draw: [(u) => (draw(u), drawMark(u, this.mark))],
      },
      ...own,
    };
  }

  /**
   * Its own part of the options: height and padding, and it may have a y axis, a y scale, series, bands and `draw`.
   * @returns {any}
   */
  own() {
    return {};
  }

  /**
   * uPlot's data for `width` pixels of the holder.
   * @returns {any}
   */
  data(width) {
    void width;
    return [
      [this.axis.min, this.axis.max],
      [null, null],
    ];
  }

  /** Keeps the room that the chart will take. */
  reserve() {
    this.holder.style.minHeight = `${this.own().height}px`;
  }

  /** Makes the chart, `width` pixels wide. */
  open(width) {
    this.width = width;
    this.plot = new uPlot(this.#options({ ...this.own(), width }), this.data(width), this.holder);
  }

  /** Draws what the axis now shows, in this width. */
  refresh(width = this.holder.clientWidth) {
    this.width = width;
    if (width !== this.plot.width) this.plot.setSize({ width, height: this.plot.height });
    this.plot.setData(this.data(width), false);
    this.plot.setScale("x", { min: this.axis.min, max: this.axis.max });
  }

  /** Draws the same again, in other colours or with another mark. */
  redraw() {
    this.plot.redraw(false);
  }

  /**
   * Shows what row i of the samples, -1 for none, and moment t say; gives it in words.
   * @returns {string[]}
   */
  show(i, t) {
    (void i, t);
    return [];
  }
}

/** The time axis alone, to stay in view above the charts. */
export class Ruler extends TimePlot {
  constructor(axis, clock) {
    super(axis, clock, true);
    this.holder.setAttribute("aria-hidden", "true");
  }

  own() {
    return { height: AXIS_HEIGHT + 2, padding: [0, RIGHT_EDGE, 0, 0] };
  }
}
