// The run's buckets (least and greatest value, share of time in a state), looked up and thinned to pixels.

const HELD_S = 1800; // a state is taken to hold until the next cycle when that comes within this time
const ALONE_S = 60;  // and otherwise for this long
const WHOLE_SHARE = 255;

export class Samples {
  constructor(columns, count) {
    this.count = count;
    this.first = columns.first_t;
    this.length = columns.length_s;
    this.channels = {};
    this.states = {};
    for (const [name, values] of Object.entries(columns)) {
      const [channel, part] = name.split(".");
      if (part) (this.channels[channel] ??= {})[part] = values;
      else this.states[name] = values;
    }
  }

  has(channel) {
    return channel in this.channels;
  }

  hasState(state) {
    return state in this.states;
  }

  /** The last bucket that begins at or before t; -1 before the first. */
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

  /** [least, greatest] of a channel in a bucket, or null. */
  range(channel, i) {
    const { least, spread, has } = this.channels[channel] ?? {};
    return i >= 0 && has?.[i] ? [least[i], least[i] + spread[i]] : null;
  }

  share(state, i) {
    return i < 0 || !this.hasState(state) ? 0 : this.states[state][i] / WHOLE_SHARE;
  }

  /** Until when what a bucket says holds. */
  holdsUntil(i) {
    const end = this.first[i] + this.length[i];
    const next = i + 1 < this.count ? this.first[i + 1] : end + 10;
    return next - end <= HELD_S ? next : end + ALONE_S;
  }

  /** The buckets that touch min to max, and one more on each side for the lines to the edge. */
  #visible(min, max) {
    return [Math.max(this.at(min) - 1, 0), Math.min(this.at(max) + 2, this.count)];
  }

  /**
   * For each pixel in which something was sampled: its moment and, for each channel, the least and the greatest
   * value: [moments, greatest, least, greatest, least ...]. A bucket wider than a pixel gives its two ends. On both
   * sides of pixels without samples stands what was sampled last and next, so that the line between is a line.
   */
  envelopes(channels, min, max, pixels) {
    const perPixel = (max - min) / pixels;
    const moments = [];
    const rows = channels.flatMap(() => [[], []]);
    const begin = (t) => {
      moments.push(t);
      for (const row of rows) row.push(null);
    };
    const parts = channels.map((channel) => this.channels[channel]);
    const take = (i) => parts.forEach(({ least, spread, has }, c) => {
      if (has[i]) widen(rows[2 * c], rows[2 * c + 1], least[i], least[i] + spread[i]);
    });
    const last = { t: 0, i: -1, pixel: NaN, count: 0 };
    const add = (t, i) => {
      const pixel = Math.floor((t - min) / perPixel);
      const isFar = pixel > last.pixel + 1;
      if (isFar && last.count > 1) begin(last.t), take(last.i);
      if (isFar) begin(t), take(i);
      if (pixel !== last.pixel) begin(t);
      take(i);
      Object.assign(last, { t, i, pixel, count: pixel === last.pixel ? last.count + 1 : 1 });
    };
    const [from, to] = this.#visible(min, max);
    for (let i = from; i < to; ++i) {
      add(this.first[i], i);
      if (this.length[i] > perPixel) add(this.first[i] + this.length[i], i);
    }
    return [moments, ...rows];
  }

  /** For each pixel the share of its time in each state, and under "known" in any: {state: Float32Array}. */
  shares(states, min, max, pixels) {
    const result = { known: new Float32Array(pixels) };
    for (const state of states) result[state] = new Float32Array(pixels);
    const perPixel = (max - min) / pixels;
    const [from, to] = this.#visible(min, max);
    for (let i = from; i < to; ++i) {
      const left = Math.max((this.first[i] - min) / perPixel, 0);
      const right = Math.min((this.holdsUntil(i) - min) / perPixel, pixels);
      for (let p = Math.floor(left); p < right; ++p) {
        const part = Math.min(right, p + 1) - Math.max(left, p);
        result.known[p] += part;
        for (const state of states) result[state][p] += (part * this.states[state][i]) / WHOLE_SHARE;
      }
    }
    return result;
  }
}

/** The last of the two rows' values, widened. */
function widen(greatest, least, low, high) {
  const last = greatest.length - 1;
  if (greatest[last] === null || high > greatest[last]) greatest[last] = high;
  if (least[last] === null || low < least[last]) least[last] = low;
}
