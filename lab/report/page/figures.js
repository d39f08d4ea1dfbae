// The figures of the stretch that is shown.

import { $, make, table } from "./dom.js";
import { HOUR, duration, number } from "./format.js";
import { PANELS, STATUSES } from "./panels.js";

/** Calls back with each row in view and the seconds for which it holds there. */
function eachRow(samples, min, max, take) {
  for (let i = Math.max(samples.at(min), 0); i < samples.count && samples.first[i] < max; ++i) {
    const held = Math.min(samples.holdsUntil(i), max) - Math.max(samples.first[i], min);
    if (held > 0) take(i, held);
  }
}

/** {least, mean, greatest} of a channel over a stretch, the mean by time; null without a value. */
function channelFigures(samples, name, min, max) {
  const { has, least, mean, greatest } = samples.channels[name];
  let [low, high, sum, time] = [Infinity, -Infinity, 0, 0];
  eachRow(samples, min, max, (i, held) => {
    if (!has[i]) return;
    low = Math.min(low, least[i]);
    high = Math.max(high, greatest[i]);
    sum += mean[i] * held;
    time += held;
  });
  return time > 0 ? { least: low, mean: sum / time, greatest: high } : null;
}

/** Charge and energy into the cell and out of it: {in_ah, out_ah, in_wh, out_wh}; null without a current. */
export function chargeFigures(samples, min, max) {
  const current = samples.channels.current_ma;
  const voltage = samples.channels.voltage_mv;
  if (!current) return null;
  const sums = { in_ah: 0, out_ah: 0, in_wh: 0, out_wh: 0 };
  eachRow(samples, min, max, (i, held) => {
    if (!current.has[i]) return;
    const ah = (current.mean[i] * held) / 1000 / HOUR;
    const wh = voltage?.has[i] ? (ah * voltage.mean[i]) / 1000 : 0;
    const way = ah >= 0 ? "in" : "out";
    sums[`${way}_ah`] += Math.abs(ah);
    sums[`${way}_wh`] += Math.abs(wh);
  });
  return sums;
}

/** Seconds in a state, and in any, over a stretch. */
export function stateSeconds(samples, state, min, max) {
  let sum = 0;
  eachRow(samples, min, max, (i, held) => (sum += held * samples.share(state, i)));
  return sum;
}

function stressGained(samples, min, max) {
  const { has, mean } = samples.channels.stress_h ?? { has: [], mean: [] };
  const known = [];
  eachRow(samples, min, max, (i) => has[i] && known.push(mean[i]));
  return known.length ? known.at(-1) - known[0] : null;
}

/** Fills the place with the figures of min to max. */
export function fillFigures(samples, clock, min, max) {
  const rows = [];
  for (const { title, unit, digits, channels } of PANELS) {
    for (const { name, label, scale } of channels.filter((channel) => samples.has(channel.name))) {
      const found = channelFigures(samples, name, min, max);
      if (!found) continue;
      rows.push([
        `${title}: ${label.toLowerCase()}`,
        ...[found.least, found.mean, found.greatest].map((value) => `${number(value * scale, digits)} ${unit}`),
      ]);
    }
  }
  const facts = [];
  const charge = chargeFigures(samples, min, max);
  if (charge) {
    facts.push(["Into the cell", `${number(charge.in_ah, 3)} Ah, ${number(charge.in_wh, 2)} Wh`]);
    facts.push(["Out of the cell", `${number(charge.out_ah, 3)} Ah, ${number(charge.out_wh, 2)} Wh`]);
  }
  for (const { name, label } of STATUSES.filter((status) => samples.hasState(status.name))) {
    facts.push([label, duration(Math.round(stateSeconds(samples, name, min, max)))]);
  }
  const gained = stressGained(samples, min, max);
  if (gained !== null) facts.push(["Stress hours gained", number(gained, 0)]);
  const list = facts.map(([label, value]) => make("div", {}, make("b", {}, value), make("span", {}, label)));
  $("figures-body").replaceChildren(
    make("p", { className: "muted" }, clock.stretch(min, max)),
    make("div", { className: "figures" }, ...list),
    make("div", { className: "scroll" }, table(["", "Least", "Mean", "Greatest"], rows)),
  );
}
