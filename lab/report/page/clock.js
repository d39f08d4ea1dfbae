// The axis counts seconds since the run's first moment; people read the scenario's wall clock.

import { DAY, HOUR, MINUTE, duration } from "./format.js";

const DAYS = ["Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"];
const MONTHS = ["Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"];

// Distances between two ticks: seconds, then whole months.
const STEPS_S = [
  1,
  5,
  10,
  30,
  MINUTE,
  5 * MINUTE,
  10 * MINUTE,
  30 * MINUTE,
  HOUR,
  2 * HOUR,
  3 * HOUR,
  6 * HOUR,
  12 * HOUR,
  DAY,
  2 * DAY,
  7 * DAY,
];
const STEPS_MONTHS = [1, 2, 3, 6, 12, 24, 60, 120];
const MONTH_S = 30.4 * DAY;

const two = (n) => String(n).padStart(2, "0");

export class Clock {
  /** As in the run's data; `start_s` null: no wall clock is known, and the axis shows days and times since the start. */
  constructor({ start_s, zone, stretches }) {
    this.isKnown = start_s !== null;
    this.start = start_s ?? 0;
    this.zone = this.isKnown ? zone : [[0, 0, ""]];
    this.stretches = stretches;
  }

  /** [offset from UTC in seconds, name] at a UTC second. */
  offsetAt(utc) {
    let i = this.zone.length - 1;
    while (i > 0 && this.zone[i][0] > utc) --i;
    return [this.zone[i][1], this.zone[i][2]];
  }

  /** Local time at moment t as a Date whose UTC getters give the local fields. */
  local(t) {
    const utc = this.start + t;
    return new Date((utc + this.offsetAt(utc)[0]) * 1000);
  }

  /** The moment at which local time is `wall` (seconds, as if UTC). */
  momentOf(wall) {
    const guess = wall - this.offsetAt(wall)[0];
    return wall - this.offsetAt(guess)[0] - this.start;
  }

  shortDate(t) {
    if (!this.isKnown) return this.date(t);
    return this.local(t).toISOString().slice(0, 10);
  }

  /** "2026-03-02T07:00:00Z"; empty when the wall clock is not known. */
  utc(t) {
    return this.isKnown ? `${new Date((this.start + t) * 1000).toISOString().slice(0, 19)}Z` : "";
  }

  /** For a table: "2 Mar 2026 07:00". */
  short(t) {
    const at = this.local(t);
    const day = this.isKnown ? `${at.getUTCDate()} ${MONTHS[at.getUTCMonth()]} ${at.getUTCFullYear()}` : this.date(t);
    return `${day} ${this.time(t, false)}`;
  }

  /** "Mar 2026". */
  month(t) {
    const at = this.local(t);
    return this.isKnown ? `${MONTHS[at.getUTCMonth()]} ${at.getUTCFullYear()}` : this.date(t);
  }

  time(t, withSeconds = true) {
    const at = this.local(t);
    const text = `${two(at.getUTCHours())}:${two(at.getUTCMinutes())}`;
    return withSeconds ? `${text}:${two(at.getUTCSeconds())}` : text;
  }

  date(t) {
    const at = this.local(t);
    if (!this.isKnown) return `day ${Math.floor(t / DAY) + 1}`;
    return `${DAYS[at.getUTCDay()]} ${at.getUTCDate()} ${MONTHS[at.getUTCMonth()]} ${at.getUTCFullYear()}`;
  }

  full(t) {
    const zone = this.isKnown ? ` ${this.offsetAt(this.start + t)[1]}` : "";
    return `${this.date(t)} ${this.time(t)}${zone}`;
  }

  /** From one moment to another, as finely as the time between asks for. */
  stretch(min, max) {
    const fine = max - min < HOUR;
    const [from, to] = [this.date(min), this.date(max)];
    const zone = this.isKnown ? ` ${this.offsetAt(this.start + max)[1]}` : "";
    return `${from} ${this.time(min, fine)} – ${to === from ? "" : `${to} `}${this.time(max, fine)}${zone}`;
  }

  /** How far the device's own clock was from the axis at t, when that is worth saying. */
  deviation(t) {
    let offset = this.start;
    for (const [from, seconds] of this.stretches) if (from <= t) offset = seconds;
    const off = offset - this.start;
    if (!this.isKnown || Math.abs(off) <= 2 * MINUTE) return "";
    return `device’s clock ${duration(Math.abs(off))} ${off < 0 ? "behind" : "ahead"}`;
  }

  /** Moments for ticks between two moments, at least `least_s` apart, and whether they are days or longer. */
  ticks(min, max, least_s) {
    const step = STEPS_S.find((s) => s >= least_s);
    if (step) return this.#evenTicks(min, max, step);
    const months = STEPS_MONTHS.find((m) => m * MONTH_S >= least_s) ?? STEPS_MONTHS.at(-1);
    return this.#monthTicks(min, max, months);
  }

  #evenTicks(min, max, step) {
    const moments = [];
    const first = this.local(min).getTime() / 1000;
    // Weeks begin on Monday; 1970 began on a Thursday.
    const shift = step === 7 * DAY ? 4 * DAY : 0;
    for (let wall = Math.ceil((first - shift) / step) * step + shift; ; wall += step) {
      const t = this.momentOf(wall);
      if (t > max) return moments;
      if (t >= min) moments.push(t);
    }
  }

  #monthTicks(min, max, months) {
    const moments = [];
    const year = this.local(min).getUTCFullYear();
    for (let month = 0; ; month += months) {
      const t = this.momentOf(Date.UTC(year - (year % 10), month) / 1000);
      if (t > max) return moments;
      if (t >= min) moments.push(t);
    }
  }

  /** Labels for ticks: times within a day, dates, months or years; the coarser part where it changes. */
  labels(moments) {
    const step = moments.length > 1 ? moments[1] - moments[0] : DAY;
    let lastDay = "";
    return moments.map((t) => {
      const at = this.local(t);
      const time = this.time(t, step < MINUTE);
      if (!this.isKnown) return step < DAY ? `${time}\nday ${Math.floor(t / DAY) + 1}` : `day ${Math.floor(t / DAY) + 1}`;
      const day = `${at.getUTCDate()} ${MONTHS[at.getUTCMonth()]}`;
      if (step >= 300 * DAY) return String(at.getUTCFullYear());
      if (step >= 25 * DAY) return this.#withYear(MONTHS[at.getUTCMonth()], at.getUTCMonth() === 0, at, t === moments[0]);
      const isNew = day !== lastDay;
      lastDay = day;
      if (step >= DAY) return this.#withYear(day, false, at, t === moments[0]);
      return isNew ? `${time}\n${day}` : time;
    });
  }

  #withYear(text, isFirstOfYear, at, isFirst) {
    return isFirst || isFirstOfYear ? `${text}\n${at.getUTCFullYear()}` : text;
  }
}
