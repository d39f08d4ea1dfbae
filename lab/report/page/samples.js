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
    this.pointsKey = "";
    /** @type {Points|null} */
    this.lastPoints = null;
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

  longestStep() {
    return this.first.reduce((longest, first, i) => Math.max(longest, this.end[i] - first), 0);
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
   * The points that charts of so many pixels draw, about one a pixel: for each its moment, the rows first to end - 1 that it
   * stands for (none, -1, in a gap), and until when those last. The same for all charts, and so kept for the next.
   */
  points(min, max, pixels) {
    const key = `${min} ${max} ${pixels}`;
    if (key !== this.pointsKey) {
      const gathered = new Points((max - min) / pixels, min);
      const [from, to] = this.visible(min, max);
      for (let i = from; i < to; ++i) {
        if (this.after[i] && i > from) gathered.gap(this.end[i - 1], this.first[i]);
        gathered.add(i, this.first[i], this.end[i]);
      }
      this.pointsKey = key;
      this.lastPoints = gathered.done();
    }
    return this.lastPoints;
  }

  /** What a chart draws of a channel at the points: [mean, greatest, least]; null in a gap, undefined where only this channel was not sampled. */
  envelope(name, scale, points) {
    const { has, mean, greatest, least } = this.channels[name];
    const { moments, first, end, until } = points;
    const count = moments.length;
    const [means, highs, lows] = [new Array(count), new Array(count), new Array(count)];
    let lastSeen = NaN;
    for (let p = 0; p < count; ++p) {
      if (first[p] < 0) {
        means[p] = highs[p] = lows[p] = null;
        continue;
      }
      let [known, sum, high, low] = [0, 0, -Infinity, Infinity];
      for (let i = first[p]; i < end[p]; ++i) {
        if (!has[i]) continue;
        ++known;
        sum += mean[i];
        if (greatest[i] > high) high = greatest[i];
        if (least[i] < low) low = least[i];
      }
      if (!known) continue;
      // Not a moment's silence but a reading that was missing for long: the line ends.
      if (moments[p] - lastSeen > this.longestUsual && means[p - 1] === undefined) means[p - 1] = highs[p - 1] = lows[p - 1] = null;
      lastSeen = Math.max(moments[p], until[p]);
      means[p] = (sum / known) * scale;
      highs[p] = high * scale;
      lows[p] = low * scale;
    }
    return [means, highs, lows];
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
class Points {
  constructor(perPixel, min) {
    this.perPixel = perPixel;
    this.min = min;
    this.moments = [];
    this.first = [];
    this.end = [];
    this.until = [];
    this.pixel = NaN; // of the rows gathered
    this.from = this.to = 0; // those rows
    this.begin = this.last = 0; // and their time
  }

  add(i, first, end) {
    const pixel = Math.floor((first - this.min) / this.perPixel);
    if (pixel !== this.pixel) {
      this.#flush();
      this.pixel = pixel;
      this.from = i;
      this.begin = first;
    }
    this.to = i + 1;
    this.last = end;
    if (end - first > this.perPixel) this.#flush();
  }

  #flush() {
    if (Number.isNaN(this.pixel)) return;
    this.#push(this.begin);
    if (this.last - this.begin > this.perPixel) this.#push(this.last);
    this.pixel = NaN;
  }

  #push(t, from = this.from) {
    this.moments.push(t);
    this.first.push(from);
    this.end.push(this.to);
    this.until.push(this.last);
  }

  /** Nothing was sampled from one moment to another; what is narrower than a pixel cannot be shown. */
  gap(from, to) {
    if (to - from < this.perPixel) return;
    this.#flush();
    const count = this.moments.length;
    // A point between two gaps is a line of a pixel's width.
    if (count === 1 || (count > 1 && this.first[count - 2] < 0)) this.#push(this.moments[count - 1] + this.perPixel);
    this.#push(from + (to - from) / 2, -1);
  }

  done() {
    this.#flush();
    return this;
  }
}
