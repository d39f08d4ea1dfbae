// The one stretch of time that all charts show.

const LEAST_SPAN_S = 60;

export class Axis {
  #listeners = [];

  constructor(span) {
    this.wholeSpan = Math.max(span, LEAST_SPAN_S);
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

  /** Shows min to max, kept within the run and to a span that can be read. */
  set(min, max) {
    const span = Math.min(Math.max(max - min, LEAST_SPAN_S), this.wholeSpan);
    const middle = (min + max) / 2;
    this.min = Math.min(Math.max(middle - span / 2, 0), this.wholeSpan - span);
    this.max = this.min + span;
    for (const each of this.#listeners) each();
  }

  whole() {
    this.set(0, this.wholeSpan);
  }

  /** factor < 1 zooms in; `around` stays where it is on the screen. */
  zoom(factor, around = (this.min + this.max) / 2) {
    const span = Math.min(Math.max(this.span * factor, LEAST_SPAN_S), this.wholeSpan);
    const min = around - (around - this.min) * (span / this.span);
    this.set(min, min + span);
  }

  /** Moves by a share of what is shown. */
  pan(share) {
    const step = this.span * share;
    const min = Math.min(Math.max(this.min + step, 0), this.wholeSpan - this.span);
    this.set(min, min + this.span);
  }

  /** Brings a moment to the middle, at `span` or closer. */
  show(t, span) {
    const shown = Math.min(span, this.span);
    this.set(t - shown / 2, t + shown / 2);
  }
}
