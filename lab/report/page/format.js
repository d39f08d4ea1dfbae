// Numbers and durations for people.

// In seconds.
export const MINUTE = 60;
export const HOUR = 3600;
export const DAY = 86400;
export const YEAR = 365.25 * DAY;

/** @type {Intl.NumberFormat[]} */
const formats = []; // by digits; making one takes longer than using it a hundred times

export function number(value, digits = 0) {
  formats[digits] ??= new Intl.NumberFormat("en", { minimumFractionDigits: digits, maximumFractionDigits: digits });
  return formats[digits].format(value);
}

/** Three significant figures at least, for cells with little room: 0.02, 3.4, 128, 4.4k. */
export function short(value) {
  if (value === 0) return "0";
  if (value < 0.01) return "<.01";
  if (value < 1) return value.toFixed(2).slice(1);
  if (value < 9.95) return value.toFixed(1);
  if (value < 9999.5) return value.toFixed(0);
  return `${(value / 1000).toFixed(value < 99950 ? 1 : 0)}k`;
}

/** Two units at most: 7 d 3 h, 20 min, 45 s. */
export function duration(seconds) {
  /** @type {[number, string][]} */
  const steps = [
    [YEAR, "y"],
    [DAY, "d"],
    [HOUR, "h"],
    [MINUTE, "min"],
    [1, "s"],
  ];
  let i = steps.findIndex(([size]) => seconds >= size);
  if (i < 0) return "0 s";
  const [size, unit] = steps[i];
  const count = Math.floor(seconds / size);
  const next = steps[i + 1];
  const rest = next ? Math.floor((seconds - count * size) / next[0]) : 0;
  return rest > 0 ? `${count} ${unit} ${rest} ${next[1]}` : `${count} ${unit}`;
}

export function plural(count, one, many = `${one}s`) {
  return `${number(count)} ${count === 1 ? one : many}`;
}
