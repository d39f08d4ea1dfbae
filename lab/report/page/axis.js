// The one stretch of time that all charts show.

const LEAST_SPAN_S = 60;

export class Axis {
  #listeners = [];

  /**
   * @param {number} span seconds of the whole run
   * @param {(t: number) => number} leastSpan the shortest stretch worth showing around a moment
   */
  constructor(span, leastSpan = () => 0) {
    this.wholeSpan = Math.max(span, LEAST_SPAN_S);
    this.leastSpan = leastSpan;
    this.min = 0;
    this.max = this.wholeSpan;
  }

  get span() {
    return this.max - this.min;
  }

  get isWhole() {
    return this.span >= this.wholeSpan;
  }

  listen(listener) {
    this.#listeners.push(listener);
  }

  /** A span that can be read around t, and is within the run. */
  #within(span, t) {
    return Math.min(Math.max(span, LEAST_SPAN_S, this.leastSpan(t)), this.wholeSpan);
  }

  #place(min, span) {
    this.min = Math.min(Math.max(min, 0), this.wholeSpan - span);
    this.max = this.min + span;
    for (const each of this.#listeners) each();
  }

  /** Shows min to max, kept within the run and to a span that can be read. */
  set(min, max) {
    const middle = (min + max) / 2;
    const span = this.#within(max - min, middle);
    this.#place(middle - span / 2, span);
  }

  whole() {
    this.set(0, this.wholeSpan);
  }

  /** factor < 1 zooms in; `around` stays where it is on the screen. */
  zoom(factor, around = (this.min + this.max) / 2) {
    const span = this.#within(this.span * factor, around);
    this.#place(around - (around - this.min) * (span / this.span), span);
  }

  /** Moves by a share of what is shown. */
  pan(share) {
    this.#place(this.min + this.span * share, this.span);
  }

  /** Brings a moment to the middle, at `span` or closer. */
  show(t, span) {
    const shown = Math.min(span, this.span);
    this.set(t - shown / 2, t + shown / 2);
  }
}
