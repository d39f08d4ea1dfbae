// The run's rows over time (least, mean and greatest value, share of time in a state), looked up and thinned to pixels.
//
//   rows    [ . . . ][ . . . ]          gap          [ . . . ]      a row lasts from first[i] to end[i]; `after` says
//   after       0        0                               1          what lies before it: 0 nothing, 1 a gap, 2 the
//                                                                   daemon was not running

const WHOLE_SHARE = 255;
const WHOLE_MEAN = 15;
const COARSE_STEPS = 20; // of a coarse row are shown at least

export const AFTER_GAP = 1;
export const AFTER_OFF = 2;

/** A channel's values by row; `has` is 0 where there is none. */
class Channel {
  /** @param {Record<string, Float64Array>} parts */
  constructor({ least, spread, mean, has }) {
    const count = least.length;
    this.has = Uint8Array.from(has);
    this.least = least;
    this.greatest = least;
    this.mean = least;
    if (!spread) return;
    this.greatest = new Float64Array(count);
    this.mean = new Float64Array(count);
    for (let i = 0; i < count; ++i) {
      this.greatest[i] = least[i] + spread[i];
      this.mean[i] = least[i] + spread[i] * (mean ? mean[i] / WHOLE_MEAN : 0.5);
    }
  }

  /** The difference of the means of two channels, one value a row. */
  static difference(a, aScale, b, bScale) {
    const count = a.mean.length;
    const least = new Float64Array(count);
    const has = new Float64Array(count);
    for (let i = 0; i < count; ++i) {
      has[i] = a.has[i] & b.has[i];
      least[i] = has[i] ? a.mean[i] * aScale - b.mean[i] * bScale : 0;
    }
    return new Channel({ least, has });
  }
}

export class Samples {
  /**
   * @param {Record<string, Float64Array>} columns
   * @param {number} count
   * @param {{usual_s: number, above_s: number}} gaps
   */
  constructor(columns, count, gaps) {
    this.count = count;
    this.usual = Math.max(gaps.usual_s, 1);
    this.longestUsual = gaps.above_s;
    this.first = columns.first_t;
    this.end = columns.first_t.map((t, i) => t + columns.length_s[i]);
    this.after = columns.after;
    /** @type {Record<string, Channel>} */
    this.channels = {};
    /** @type {Record<string, Float64Array>} */
    this.states = {};
    const parts = {};
    for (const [name, values] of Object.entries(columns)) {
      const [channel, part] = name.split(".");
      if (part) (parts[channel] ??= {})[part] = values;
      else if (!["first_t", "length_s", "after"].includes(name)) this.states[name] = values;
    }
    for (const name in parts) this.channels[name] = new Channel(parts[name]);
  }

  /** Adds a channel that is how far one is above another. */
  addDifference(name, [a, aScale], [b, bScale]) {
    if (this.has(a) && this.has(b)) this.channels[name] = Channel.difference(this.channels[a], aScale, this.channels[b], bScale);
  }

  has(channel) {
    return channel in this.channels;
  }

  hasState(state) {
    return state in this.states;
  }

  /** The last row that begins at or before t; -1 before the first. */
  at(t) {
    let low = 0;
    let high = this.count;
    while (low < high) {
      const middle = (low + high) >> 1;
      if (this.first[middle] <= t) low = middle + 1;
      else high = middle;
    }
    return low - 1;
  }

  /** The row that holds at t; -1 in a gap and outside the run. */
  holding(t) {
    const i = this.at(t);
    return i >= 0 && t < this.holdsUntil(i) ? i : -1;
  }

  /** Until when what a row says holds: to the next one, unless a gap lies between. */
  holdsUntil(i) {
    const isLast = i + 1 >= this.count;
    return isLast || this.after[i + 1] ? this.end[i] + this.usual : this.first[i + 1];
  }

  /** What lies at t when no row holds there: {from, to, isOff}, or null outside the run. */
  gapAt(t) {
    const i = this.at(t);
    if (i < 0 || i + 1 >= this.count || t < this.holdsUntil(i)) return null;
    return { from: this.end[i], to: this.first[i + 1], isOff: this.after[i + 1] === AFTER_OFF };
  }

  /** Seconds of the step at t: of a row that stands for many cycles; 0 for a single cycle. */
  stepAt(t) {
    const i = Math.max(this.at(t), 0);
    return this.count ? this.end[i] - this.first[i] : 0;
  }

  /** The shortest stretch worth showing around t. */
  leastSpan(t) {
    return COARSE_STEPS * this.stepAt(t);
  }

  /** [least, greatest] of a channel in a row, or null. */
  range(channel, i) {
    const values = this.channels[channel];
    return values && i >= 0 && values.has[i] ? [values.least[i], values.greatest[i]] : null;
  }

  share(state, i) {
    return i < 0 || !this.hasState(state) ? 0 : this.states[state][i] / WHOLE_SHARE;
  }

  /** The rows that touch min to max, and one more on each side for the lines to the edge. */
  visible(min, max) {
    return [Math.max(this.at(min) - 1, 0), Math.min(this.at(max) + 2, this.count)];
  }

  /**
   * What a chart draws: [moments, mean, greatest, least, mean ...], three for each channel, at most some points a
   * pixel. null where nothing was sampled, undefined where only this channel was not.
   * @param {string[]} names
   */
  envelopes(names, min, max, pixels) {
    const [from, to] = this.visible(min, max);
    const out = new Envelopes(
      names.map((name) => this.channels[name]),
      (max - min) / pixels,
      min,
      this.longestUsual,
    );
    for (let i = from; i < to; ++i) {
      if (this.after[i] && i > from) out.gap(this.end[i - 1], this.first[i]);
      out.add(i, this.first[i], this.end[i]);
    }
    return out.done();
  }

  /** A channel's mean at each of some moments in order: null in gaps. */
  meansAt(name, moments) {
    const { mean, has } = this.channels[name];
    return moments.map((t) => {
      const i = this.holding(t);
      return i >= 0 && has[i] ? mean[i] : null;
    });
  }

  /** For each pixel the share of its time in each state, and under "known" in any: {state: Float32Array}. */
  shares(states, min, max, pixels) {
    const known = new Float32Array(pixels);
    const rows = states.map((state) => this.states[state]);
    const shares = states.map(() => new Float32Array(pixels));
    const perPixel = (max - min) / pixels;
    const [from, to] = this.visible(min, max);
    for (let i = from; i < to; ++i) {
      const left = Math.max((this.first[i] - min) / perPixel, 0);
      const right = Math.min((this.holdsUntil(i) - min) / perPixel, pixels);
      for (let p = Math.floor(left); p < right; ++p) {
        const part = Math.min(right, p + 1) - Math.max(left, p);
        known[p] += part;
        for (let s = 0; s < rows.length; ++s) {
          const value = rows[s][i];
          if (value) shares[s][p] += (part * value) / WHOLE_SHARE;
        }
      }
    }
    return { known, ...Object.fromEntries(states.map((state, s) => [state, shares[s]])) };
  }
}

/** Gathers rows into points, one a pixel; a row wider than a pixel gives its two ends. */
class Envelopes {
  constructor(channels, perPixel, min, longestUsual) {
    this.channels = channels;
    this.perPixel = perPixel;
    this.min = min;
    this.longestUsual = longestUsual;
    this.moments = [];
    this.rows = channels.flatMap(() => [[], [], []]);
    this.sums = new Float64Array(channels.length);
    this.counts = new Float64Array(channels.length);
    this.least = new Float64Array(channels.length);
    this.greatest = new Float64Array(channels.length);
    this.lastSeen = new Float64Array(channels.length).fill(NaN);
    this.pixel = NaN;
    this.begin = this.last = 0;
    this.isAlone = true; // the point before the open one is behind a gap
  }

  add(i, first, end) {
    const pixel = Math.floor((first - this.min) / this.perPixel);
    if (pixel !== this.pixel) this.#flush();
    if (Number.isNaN(this.pixel)) {
      this.begin = first;
      this.pixel = pixel;
      this.counts.fill(0);
      this.sums.fill(0);
    }
    for (let c = 0; c < this.channels.length; ++c) this.#take(c, this.channels[c], i);
    this.last = end;
    if (end - first > this.perPixel) this.#flush();
  }

  #take(c, { has, least, greatest, mean }, i) {
    if (!has[i]) return;
    if (!this.counts[c] || least[i] < this.least[c]) this.least[c] = least[i];
    if (!this.counts[c] || greatest[i] > this.greatest[c]) this.greatest[c] = greatest[i];
    this.sums[c] += mean[i];
    ++this.counts[c];
  }

  #flush() {
    if (Number.isNaN(this.pixel)) return;
    this.#push(this.begin);
    if (this.last - this.begin > this.perPixel) this.#push(this.last);
    this.pixel = NaN;
  }

  #push(t) {
    this.moments.push(t);
    for (let c = 0; c < this.channels.length; ++c) {
      const isKnown = this.counts[c] > 0;
      // Not a moment's silence but a reading that was missing for long: the line ends.
      if (isKnown && t - this.lastSeen[c] > this.longestUsual) this.#cut(c);
      if (isKnown) this.lastSeen[c] = Math.max(t, this.last);
      this.rows[3 * c].push(isKnown ? this.sums[c] / this.counts[c] : undefined);
      this.rows[3 * c + 1].push(isKnown ? this.greatest[c] : undefined);
      this.rows[3 * c + 2].push(isKnown ? this.least[c] : undefined);
    }
  }

  #cut(c) {
    const before = this.moments.length - 2;
    for (const row of this.rows.slice(3 * c, 3 * c + 3)) if (before >= 0 && row[before] === undefined) row[before] = null;
  }

  /** Nothing was sampled from one moment to another; what is narrower than a pixel cannot be shown. */
  gap(from, to) {
    if (to - from < this.perPixel) return;
    this.#flush();
    const count = this.moments.length;
    // A point between two gaps is a line of a pixel's width.
    if (count === 1 || (count > 1 && this.rows.every((row) => row[count - 2] === null))) this.#repeat(this.perPixel);
    this.moments.push(from + (to - from) / 2);
    for (const row of this.rows) row.push(null);
  }

  #repeat(later) {
    const last = this.moments.length - 1;
    this.moments.push(this.moments[last] + later);
    for (const row of this.rows) row.push(row[last]);
  }

  done() {
    this.#flush();
    return [this.moments, ...this.rows];
  }
}
