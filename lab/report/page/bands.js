// The battery status, the flags, what the scenario did and the decisions as rows under the charts.
//
// A row's height is the share of the pixel's time in which the state held, two pixels at least: nothing that
// happened is too short to be seen.

import { css } from "./colours.js";
import { make } from "./dom.js";
import { duration, number } from "./format.js";
import { FLAGS, STACKS } from "./panels.js";
import { patternFill } from "./patterns.js";
import { AXIS_HEIGHT, FONT, GUTTER, RIGHT_EDGE, TimePlot } from "./plot.js";

const LABEL_HEIGHT = 16;
const BAR_HEIGHT = 14;
const GAP = 8;
const KEY_SIZE = 9; // of the square that shows a pattern
const KEY_GAP = 12;
const LEAST_BAR = 2;
const REACH = 8; // pixels within which a mark is pointed at

export class Bands extends TimePlot {
  /** @param {{samples: any, run: any, axis: any, clock: any, width: number}} parts width: of the chart when it is opened */
  constructor({ samples, run, axis, clock, width }) {
    super(axis, clock, true);
    this.samples = samples;
    this.decisions = run.story.decisions;
    this.happenings = run.happenings;
    this.gaps = run.gaps.gaps.map(([from, to, isOff]) => ({ from, to, isOff: isOff === 1 }));
    this.rows = this.#rows(width - GUTTER - RIGHT_EDGE);
    this.states = [...STACKS.flatMap(({ states }) => states), ...FLAGS].map(({ name }) => name).filter((name) => samples.hasState(name));
    this.text = make("span", { className: "value" }, "");
    this.holder.setAttribute("role", "img");
    this.element = make(
      "div",
      { className: "panel" },
      make("div", { className: "legend" }, make("h3", {}, "Status and decisions"), this.text),
      this.holder,
      this.#never(),
    );
  }

  #rows(width) {
    const rows = [];
    const on = document.createElement("canvas").getContext("2d");
    on.font = FONT;
    const add = (label, height, draw, keys = []) => rows.push({ height, draw, words: placeWords(on, width, label, keys) });
    for (const stack of STACKS) {
      const states = stack.states.filter(({ name }) => this.samples.hasState(name));
      if (states.length) add(stack.label, stack.height, (u, top) => this.#drawStack(u, top, stack.height, states), states);
    }
    if (this.gaps.some(({ isOff }) => isOff)) add("The daemon was not running", BAR_HEIGHT, (u, top) => this.#drawGaps(u, top, true));
    if (this.gaps.some(({ isOff }) => !isOff)) add("No sample", BAR_HEIGHT, (u, top) => this.#drawGaps(u, top, false));
    for (const flag of FLAGS) {
      if (this.samples.hasState(flag.name)) add(flag.label, BAR_HEIGHT, (u, top) => this.#drawFlag(u, top, flag));
    }
    if (this.happenings.length) add("What the scenario did", BAR_HEIGHT, (u, top) => this.#drawHappenings(u, top));
    if (this.decisions.length) add("Decisions", BAR_HEIGHT, (u, top) => this.#drawDecisions(u, top));
    let top = 0;
    for (const row of rows) {
      row.labelTop = top;
      row.top = top + row.words.at(-1).y + LABEL_HEIGHT;
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

  own() {
    return { height: this.height + AXIS_HEIGHT, padding: [0, RIGHT_EDGE, 0, 0], draw: (u) => this.#draw(u) };
  }

  /** Draws only these decisions, the ones that the list shows. */
  showDecisions(decisions) {
    const isSame = decisions.length === this.decisions.length; // filters of one list
    this.decisions = decisions;
    if (!isSame) this.plot?.redraw(false);
  }

  #draw(u) {
    this.shares = this.samples.shares(this.states, this.axis.min, this.axis.max, Math.max(Math.round(u.bbox.width), 1));
    u.ctx.save();
    u.ctx.textAlign = "left";
    u.ctx.textBaseline = "alphabetic";
    u.ctx.font = FONT.replace(/\d+/, (size) => String(Number(size) * devicePixelRatio));
    for (const row of this.rows) {
      const top = u.bbox.top + row.top * devicePixelRatio;
      this.#drawWords(u, row);
      u.ctx.fillStyle = css("--track");
      u.ctx.fillRect(u.bbox.left, top, u.bbox.width, row.height * devicePixelRatio);
      row.draw(u, top);
    }
    u.ctx.restore();
    this.#describe();
  }

  /** The row's name, and what its patterns mean. */
  #drawWords({ ctx, bbox }, row) {
    for (const word of row.words) {
      const x = bbox.left + word.x * devicePixelRatio;
      const y = bbox.top + (row.labelTop + word.y + LABEL_HEIGHT - 5) * devicePixelRatio;
      if (word.pattern) {
        const size = KEY_SIZE * devicePixelRatio;
        ctx.fillStyle = patternFill(ctx, word.pattern);
        ctx.fillRect(x - (KEY_SIZE + 4) * devicePixelRatio, y - size + devicePixelRatio, size, size);
      }
      ctx.fillStyle = css("--muted");
      ctx.fillText(word.text, x, y);
    }
  }

  /** Each state in one go, since to change what fills is dear; on top of the states before it. */
  #drawStack(u, top, height, states) {
    const { ctx, bbox } = u;
    const full = height * devicePixelRatio;
    const { known } = this.shares;
    const filled = new Float32Array(known.length);
    for (const { name, pattern } of states) {
      const share = this.shares[name];
      ctx.fillStyle = patternFill(ctx, pattern);
      ctx.beginPath();
      for (let x = 0; x < known.length; ++x) {
        if (share[x] === 0) continue;
        const bar = Math.min(Math.max((share[x] / known[x]) * full, devicePixelRatio), full - filled[x]);
        ctx.rect(bbox.left + x, top + filled[x], 1, bar);
        filled[x] += bar;
      }
      ctx.fill();
    }
  }

  #drawFlag({ ctx, bbox }, top, { name, colour }) {
    const full = BAR_HEIGHT * devicePixelRatio;
    const share = this.shares[name];
    ctx.fillStyle = css(colour);
    ctx.beginPath();
    for (let x = 0; x < share.length; ++x) {
      if (share[x] === 0) continue;
      const height = Math.max((share[x] / this.shares.known[x]) * full, LEAST_BAR * devicePixelRatio);
      ctx.rect(bbox.left + x, top + full - height, 1, height);
    }
    ctx.fill();
  }

  /** A bar from one moment to another, two pixels wide at least, as far as it is in view. */
  #drawBar(u, top, from, to) {
    if (to < this.axis.min || from > this.axis.max) return;
    const left = Math.max(u.valToPos(from, "x", true), u.bbox.left);
    const right = Math.min(u.valToPos(to, "x", true), u.bbox.left + u.bbox.width);
    u.ctx.fillRect(left, top, Math.max(right - left, LEAST_BAR * devicePixelRatio), BAR_HEIGHT * devicePixelRatio);
  }

  #drawGaps(u, top, isOff) {
    u.ctx.fillStyle = isOff ? css("--stop") : patternFill(u.ctx, "lines", "--muted");
    for (const gap of this.gaps) if (gap.isOff === isOff) this.#drawBar(u, top, gap.from, gap.to);
  }

  #drawHappenings(u, top) {
    u.ctx.fillStyle = css("--accent");
    for (const { t, for_s } of this.happenings) this.#drawBar(u, top, t, t + for_s);
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

  /** The rows in a sentence, for who cannot see them. */
  #describe() {
    const known = this.shares.known.reduce((sum, part) => sum + part, 0);
    const share = (name) => this.shares[name].reduce((sum, part) => sum + part, 0) / known;
    const words = [...STACKS.flatMap(({ states }) => states), ...FLAGS]
      .filter(({ name }) => this.states.includes(name) && known > 0 && share(name) > 0)
      .map(({ name, label }) => `${label} ${number(100 * share(name), share(name) < 0.1 ? 1 : 0)} %`);
    const [min, max] = [this.axis.min, this.axis.max];
    const count = this.decisions.filter(({ t }) => t >= min && t <= max).length;
    const gaps = this.gaps.filter(({ from, to }) => to >= min && from <= max).length;
    this.holder.setAttribute(
      "aria-label",
      `Share of time in each state: ${words.join("; ") || "none"}. Decisions: ${count}. Gaps: ${gaps}.`,
    );
  }

  /** The decision within reach of a moment, or null. */
  decisionNear(t) {
    const reach = this.#reach();
    let best = null;
    for (const each of this.decisions) {
      const distance = Math.abs(each.t - t);
      if (distance <= reach && (!best || distance < Math.abs(best.t - t))) best = each;
    }
    return best;
  }

  #reach() {
    return (this.axis.span / (this.width - GUTTER - RIGHT_EDGE)) * REACH;
  }

  /** In words, what row i says, what lies at t instead, and what the scenario did there. */
  show(i, t) {
    const of = (states) => states.filter(({ name }) => this.samples.share(name, i) > 0).map(({ label }) => label);
    const words = i < 0 ? [] : [...STACKS.flatMap(({ states }) => of(states)), ...of(FLAGS)];
    if (t !== null) {
      const reach = this.#reach();
      words.push(
        ...this.happenings
          .filter((each) => each.t - reach <= t && t <= each.t + each.for_s + reach)
          .slice(0, 3)
          .map(({ what }) => what),
      );
    }
    this.text.textContent = words.join(" · ");
    return words;
  }
}

/** Where the words above a row stand: its label and then its keys, as many to a line as fit into the width. */
function placeWords(on, width, label, keys) {
  const words = [{ text: label, x: 0, y: 0, pattern: null }];
  let [x, y] = [on.measureText(label).width, 0];
  for (const key of keys) {
    const long = KEY_SIZE + 4 + on.measureText(key.label).width;
    if (x + KEY_GAP + long > width) [x, y] = [-KEY_GAP, y + LABEL_HEIGHT];
    words.push({ text: key.label, x: x + KEY_GAP + KEY_SIZE + 4, y, pattern: key.pattern });
    x += KEY_GAP + long;
  }
  return words;
}

/** What to say of a moment without a sample. */
export function gapText(gap) {
  if (!gap) return "no sample";
  const length = duration(gap.to - gap.from);
  return gap.isOff ? `no sample for ${length}: the daemon was not running` : `no sample for ${length}`;
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
