// One panel as a uPlot chart: for each channel a line of means in the envelope between its least and greatest value.

import uPlot from "uplot";
import { css } from "./colours.js";
import { make } from "./dom.js";
import { number } from "./format.js";
import { FONT, GUTTER, RIGHT_EDGE, TimePlot } from "./plot.js";

const SERIES = 3; // of a channel: mean, greatest, least

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

export class Chart extends TimePlot {
  constructor(panel, samples, axis, clock, canCompare) {
    super(axis, clock, false);
    this.canCompare = canCompare; // a second run may come beside the first
    this.panel = panel;
    this.samples = samples;
    this.channels = panel.channels.filter((channel) => samples.has(channel.name));
    this.hidden = new Set();
    this.values = this.channels.map(() => make("span", { className: "value" }, ""));
    this.holder.setAttribute("role", "img");
    this.element = make("div", { className: "panel" }, this.#legend(), this.holder);
    /** @type {import("./samples.js").Samples|null} */
    this.other = null; // samples of a second run, drawn beside the first
  }

  own() {
    const { panel } = this;
    return {
      height: panel.height,
      padding: [6, RIGHT_EDGE, 4, 0],
      yAxis: {
        size: GUTTER,
        font: FONT,
        gap: 6,
        space: 28,
        stroke: () => css("--muted"),
        grid: { stroke: () => css("--grid"), width: 1 },
        ticks: { show: false },
        values: (u, values) => values.map((v) => number(v, decimals(values))),
      },
      yScale: { range: () => valueRange(this.extent, panel) },
      series: [{}, ...this.channels.flatMap(seriesOf), ...(this.canCompare ? this.channels.map(otherSeries) : [])],
      bands: this.channels.map(bandOf),
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

  data(width) {
    const pixels = Math.max(width - GUTTER - RIGHT_EDGE, 50);
    const points = this.samples.points(this.axis.min, this.axis.max, pixels);
    const none = points.moments.map(() => null);
    const isShown = (name) => !this.hidden.has(name);
    const envelopes = this.channels.map(({ name, scale }) =>
      isShown(name) ? this.samples.envelope(name, scale, points) : [none, none, none],
    );
    this.ranges = envelopes.map(([, greatest, least]) => extent([greatest, least], this.panel.sane));
    const othersOf = ({ name, scale }) =>
      this.other?.has(name) && isShown(name) ? scaled(this.other.meansAt(name, points.moments), scale) : none;
    const others = this.canCompare ? this.channels.map(othersOf) : [];
    this.extent = extent([...envelopes.flat(), ...others], this.panel.sane);
    this.offNote.hidden = !this.extent.isOff;
    this.#describe();
    return [points.moments, ...envelopes.flat(), ...others];
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
