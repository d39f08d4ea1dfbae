// How far the battery's life has come, and when the next limits are passed at the pace since the voltage last changed.

import { make } from "./dom.js";
import { DAY, YEAR, duration, number } from "./format.js";

const LEAST_TIME_S = DAY; // of a pace that is worth telling
const LATEST_S = 30 * YEAR;
const [WIDTH, HEIGHT, LEFT, RIGHT, TOP, BOTTOM] = [520, 170, 44, 12, 14, 24];
const HISTORY_POINTS = 120;

/** {pace, at_s: [seconds until each level that is still ahead]} or null when there is no telling. */
function paceOf(stress) {
  const time = stress.last_t - stress.pace_from_t;
  if (stress.pace_from_h === null || time < LEAST_TIME_S) return null;
  const pace = (stress.total_h - stress.pace_from_h) / time;
  return pace > 0 ? { pace, time } : null;
}

/** The parts of the page about the limits. */
export function forecastParts(stress, samples, clock) {
  const total = stress.total_h + stress.offset_h;
  const ahead = stress.levels.filter(({ above_h }) => total <= above_h);
  const found = paceOf(stress);
  const parts = [make("p", { className: "figure" }, make("b", {}, number(total)), " stress hours")];
  if (stress.offset_h) parts.push(make("p", { className: "muted small" }, `${number(stress.offset_h)} of them are an offset for tests.`));
  parts.push(curve(stress, samples, clock, found, total), make("p", {}, limitText(stress, ahead, found, total)));
  return parts;
}

function limitText(stress, ahead, found, total) {
  if (!ahead.length) return "Past the last limit: the voltage is as low as this feature makes it.";
  const [next, then] = ahead;
  const volts = (level) => `${(level.toc_mv / 1000).toFixed(2)} V`;
  const text = `${number(next.above_h - total)} stress hours to the next limit, which lowers the top of charge to ${volts(next)}`;
  if (!found) {
    const since = stress.has_changed ? "since the top of charge last changed" : "in this run";
    const isShort = stress.pace_from_h === null || stress.last_t - stress.pace_from_t < LEAST_TIME_S;
    const reason = isShort ? `less than a day of hours has been counted ${since}` : `no hours were added ${since}`;
    return `${text}. No forecast: ${reason}.`;
  }
  const since = stress.has_changed
    ? `since the top of charge last changed (${duration(found.time)})`
    : `of this run (${duration(found.time)})`;
  const at = (level) => duration((level.above_h - total) / found.pace);
  const further = then
    ? ` At the same pace the limit of ${number(then.above_h)} would come after ${at(then)}; a lowered voltage makes it later.`
    : "";
  return `${text}: about ${at(next)} at the pace ${since}, ${number(found.pace * DAY, 1)} a day.${further}`;
}

/** The life so far and the way on to the limits. */
function curve(stress, samples, clock, found, total) {
  const last = Math.max(stress.last_t, 1);
  const reach = found ? (stress.levels.at(-1).above_h - total) / found.pace : 0;
  const end = last + Math.min(Math.max(reach, 0), LATEST_S);
  const top = stress.levels.at(-1).above_h * 1.06;
  const x = (t) => LEFT + (t / end) * (WIDTH - LEFT - RIGHT);
  const y = (h) => TOP + (1 - Math.min(h / top, 1)) * (HEIGHT - TOP - BOTTOM);
  const svg = element("svg", {
    viewBox: `0 0 ${WIDTH} ${HEIGHT}`,
    class: "forecast",
    role: "img",
    "aria-label": "Stress hours over time, with the way on to the limits",
  });
  for (const { above_h, toc_mv } of stress.levels) {
    svg.append(element("line", { x1: LEFT, x2: WIDTH - RIGHT, y1: y(above_h), y2: y(above_h), class: "limit" }));
    svg.append(text(LEFT + 4, y(above_h) - 4, `${number(above_h)} h → ${(toc_mv / 1000).toFixed(2)} V`));
  }
  svg.append(element("line", { x1: LEFT, x2: WIDTH - RIGHT, y1: y(0), y2: y(0), class: "base" }), text(LEFT - 6, y(0) + 4, "0", "end"));
  svg.append(
    element("polyline", {
      points: lifeSoFar(stress, samples, last)
        .map(([t, h]) => `${x(t)},${y(h)}`)
        .join(" "),
      class: "so-far",
    }),
  );
  if (found && end > last) {
    const final = total + found.pace * (end - last);
    svg.append(element("line", { x1: x(last), y1: y(total), x2: x(end), y2: y(final), class: "ahead" }));
  }
  svg.append(text(x(0), HEIGHT - 6, clock.month(0)), text(WIDTH - RIGHT, HEIGHT - 6, clock.month(end), "end"));
  return svg;
}

/** [moment, stress hours] of the run so far. */
function lifeSoFar(stress, samples, last) {
  const points = [[stress.first_t, stress.first_h + stress.offset_h]];
  const values = samples.channels.stress_h;
  for (let p = 1; values && p < HISTORY_POINTS; ++p) {
    const t = (last * p) / HISTORY_POINTS;
    const i = samples.at(t);
    if (i >= 0 && values.has[i] && t > stress.first_t) points.push([t, values.mean[i]]);
  }
  return [...points, [last, stress.total_h + stress.offset_h]];
}

function element(name, attributes) {
  const made = document.createElementNS("http://www.w3.org/2000/svg", name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, String(value));
  return made;
}

function text(x, y, words, anchor = "start") {
  const made = element("text", { x, y, "text-anchor": anchor });
  made.textContent = words;
  return made;
}
