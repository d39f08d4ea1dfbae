// The battery status, the flags and the decisions as bands under the charts.
//
// A band's height is the share of the pixel's time in which the state held, two pixels at least: nothing that
// happened is too short to be seen.

import { make } from "./dom.js";
import { AXIS_HEIGHT, GUTTER, RIGHT_EDGE, css, drawMark, sharedOptions } from "./chart.js";
import { FLAGS, STATUSES } from "./panels.js";

const LABEL_HEIGHT = 16;
const BAR_HEIGHT = 14;
const STATUS_HEIGHT = 26;
const GAP = 8;
const LEAST_BAR = 2;
const REACH = 8; // pixels within which a mark is pointed at

export class Bands {
  constructor(samples, decisions, axis, clock) {
    Object.assign(this, { samples, decisions, axis });
    this.mark = null;
    this.rows = this.#rows();
    this.text = make("span", { className: "value" }, "");
    this.holder = make("div", { className: "plot" });
    const title = make("h3", {}, "Status and decisions");
    const keys = STATUSES.filter((status) => samples.hasState(status.name)).map((status) => this.#key(status));
    // The words at the pointer take the place of the keys, so that nothing moves.
    this.stack = make("span", { className: "stack" }, make("span", { className: "keys" }, ...keys), this.text);
    this.element = make("div", { className: "panel" },
      make("div", { className: "legend" }, title, this.stack), this.holder, this.#never());
    this.options = this.#options(sharedOptions(axis, clock, true));
  }

  #rows() {
    const rows = [];
    const hasStatus = STATUSES.some(({ name }) => this.samples.hasState(name));
    if (hasStatus) rows.push({ label: "Battery status", height: STATUS_HEIGHT, draw: this.#drawStatus });
    for (const flag of FLAGS) {
      if (!this.samples.hasState(flag.name)) continue;
      rows.push({ label: flag.label, height: BAR_HEIGHT, draw: (u, top) => this.#drawFlag(u, top, flag) });
    }
    if (this.decisions.length) rows.push({ label: "Decisions", height: BAR_HEIGHT, draw: this.#drawDecisions });
    let top = 0;
    for (const row of rows) {
      row.top = top + LABEL_HEIGHT;
      top = row.top + row.height + GAP;
    }
    this.height = top;
    return rows;
  }

  #never() {
    const names = FLAGS.filter((flag) => !this.samples.hasState(flag.name)).map((flag) => flag.label.toLowerCase());
    const text = names.length ? `Never in this run: ${names.join("; ")}.` : "";
    return make("p", { className: "muted small never" }, text);
  }

  #key({ label, pattern }) {
    return make("span", { className: "key" }, make("span", { className: `tile ${pattern}`, "aria-hidden": "true" }), label);
  }

  #options(shared) {
    shared.axes.push({ size: GUTTER, splits: () => [], values: () => [], grid: { show: false }, ticks: { show: false } });
    return {
      ...shared,
      width: 100,
      height: this.height + AXIS_HEIGHT,
      padding: [0, RIGHT_EDGE, 0, 0],
      scales: { ...shared.scales, y: { range: [0, 1] } },
      series: [{}, {}],
      hooks: { ...shared.hooks, draw: [(u) => this.#draw(u)] },
    };
  }

  open() {
    this.options.width = this.holder.clientWidth;
    this.plot = new uPlot(this.options, [[this.axis.min, this.axis.max], [null, null]], this.holder);
  }

  refresh() {
    const width = this.holder.clientWidth;
    if (width !== this.plot.width) this.plot.setSize({ width, height: this.plot.height });
    this.plot.setData([[this.axis.min, this.axis.max], [null, null]], false);
    this.plot.setScale("x", { min: this.axis.min, max: this.axis.max });
  }

  redraw() {
    this.plot.redraw(false);
  }

  #draw(u) {
    const states = [...STATUSES, ...FLAGS].map(({ name }) => name).filter((name) => this.samples.hasState(name));
    this.shares = this.samples.shares(states, this.axis.min, this.axis.max, Math.max(Math.round(u.bbox.width), 1));
    u.ctx.save();
    u.ctx.textAlign = "left";
    u.ctx.textBaseline = "alphabetic";
    u.ctx.font = `${11 * devicePixelRatio}px system-ui, sans-serif`;
    for (const row of this.rows) {
      const top = u.bbox.top + row.top * devicePixelRatio;
      u.ctx.fillStyle = css("--muted");
      u.ctx.fillText(row.label, u.bbox.left, top - 5 * devicePixelRatio);
      u.ctx.fillStyle = css("--track");
      u.ctx.fillRect(u.bbox.left, top, u.bbox.width, row.height * devicePixelRatio);
      row.draw.call(this, u, top);
    }
    u.ctx.restore();
    drawMark(u, this.mark);
  }

  #drawStatus(u, top) {
    const full = STATUS_HEIGHT * devicePixelRatio;
    const paints = STATUSES.map(({ pattern }) => paint(u.ctx, pattern));
    const { known } = this.shares;
    for (let x = 0; x < known.length; ++x) {
      if (known[x] === 0) continue;
      let y = top;
      STATUSES.forEach(({ name }, s) => {
        const part = this.shares[name]?.[x] ?? 0;
        if (part === 0) return;
        const height = Math.min(Math.max((part / known[x]) * full, devicePixelRatio), top + full - y);
        u.ctx.fillStyle = paints[s];
        u.ctx.fillRect(u.bbox.left + x, y, 1, height);
        y += height;
      });
    }
  }

  #drawFlag(u, top, { name, colour }) {
    const full = BAR_HEIGHT * devicePixelRatio;
    const share = this.shares[name];
    u.ctx.fillStyle = css(colour);
    for (let x = 0; x < share.length; ++x) {
      if (share[x] === 0) continue;
      const height = Math.max((share[x] / this.shares.known[x]) * full, LEAST_BAR * devicePixelRatio);
      u.ctx.fillRect(u.bbox.left + x, top + full - height, 1, height);
    }
  }

  #drawDecisions(u, top) {
    const middle = top + (BAR_HEIGHT / 2) * devicePixelRatio;
    const last = {};
    for (const { t, weight } of this.decisions) {
      if (t < this.axis.min || t > this.axis.max) continue;
      const x = Math.round(u.valToPos(t, "x", true));
      if (last[weight] === x) continue;
      last[weight] = x;
      drawGlyph(u.ctx, weight, x, middle, 5 * devicePixelRatio);
    }
  }

  /** The decision within reach of a moment, or null. */
  decisionNear(t) {
    const reach = (this.axis.span / this.plot.bbox.width) * devicePixelRatio * REACH;
    let best = null;
    for (const each of this.decisions) {
      const distance = Math.abs(each.t - t);
      if (distance <= reach && (!best || distance < Math.abs(best.t - t))) best = each;
    }
    return best;
  }

  /** In words, what bucket i says. */
  show(i) {
    const words = STATUSES.filter(({ name }) => this.samples.share(name, i) > 0).map(({ label }) => label);
    const flags = FLAGS.filter(({ name }) => this.samples.share(name, i) > 0).map(({ label }) => label.toLowerCase());
    this.text.textContent = i < 0 ? "" : [words.join(", "), ...flags].filter(Boolean).join(" · ");
    this.stack.classList.toggle("tells", i >= 0);
  }
}

function drawGlyph(ctx, weight, x, y, r) {
  ctx.beginPath();
  ctx.strokeStyle = ctx.fillStyle = css(weight === "routine" ? "--muted" : "--mark");
  ctx.lineWidth = 1.5 * devicePixelRatio;
  ctx.setLineDash([]);
  if (weight === "action") {
    ctx.moveTo(x - r, y + r);
    ctx.lineTo(x, y - r);
    ctx.lineTo(x + r, y + r);
    ctx.closePath();
    ctx.fill();
  } else if (weight === "finding") {
    ctx.arc(x, y, r * 0.8, 0, 2 * Math.PI);
    ctx.stroke();
  } else {
    ctx.moveTo(x, y - r);
    ctx.lineTo(x, y + r);
    ctx.stroke();
  }
}

const SIZE = 6; // of a pattern's tile in CSS pixels

/** A fill that can be told from the others without its colour. The keys' tiles are the same, in the style sheet. */
function paint(ctx, pattern) {
  if (pattern === "solid") return css("--status");
  if (pattern === "pale") return css("--status-pale");
  const size = SIZE * devicePixelRatio;
  const tile = Object.assign(document.createElement("canvas"), { width: size, height: size });
  const on = tile.getContext("2d");
  on.fillStyle = css("--status-pale");
  on.fillRect(0, 0, size, size);
  on.fillStyle = on.strokeStyle = css("--status");
  on.lineWidth = 1.5 * devicePixelRatio;
  const line = (x1, y1, x2, y2) => (on.moveTo(x1, y1), on.lineTo(x2, y2));
  on.beginPath();
  if (pattern === "dots") on.arc(size / 2, size / 2, size / 5, 0, 2 * Math.PI);
  else line(0, size, size, 0), line(-size / 2, size / 2, size / 2, -size / 2), line(size / 2, size * 1.5, size * 1.5, size / 2);
  if (pattern === "cross") line(0, 0, size, size);
  pattern === "dots" ? on.fill() : on.stroke();
  return ctx.createPattern(tile, "repeat");
}
