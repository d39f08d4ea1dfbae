// The run in a few figures.

import { make } from "./dom.js";
import { duration, number, plural } from "./format.js";

export function fillSummary(place, run, samples) {
  const { story, stress, cost } = run;
  const parts = [!run.is_from_log && plural(cost.cycles, "cycle"), plural(cost.boots, "boot")];
  const tiles = [
    tile("Time", duration(run.span_s), parts.filter(Boolean).join(", ")),
    chargeTile(run.daemon.full_mv, samples),
    storyTile(story),
    stress && tile("Stress hours", number(stress.total_h + stress.offset_h), tripLine(stress)),
    worthTile(run.worth),
  ];
  place.append(...tiles.filter(Boolean));
}

function tile(label, value, note) {
  return make(
    "div",
    { className: "tile-card" },
    make("span", { className: "label" }, label),
    make("b", {}, value),
    make("span", { className: "muted small" }, note),
  );
}

function chargeTile(full, samples) {
  let last = null;
  for (let i = samples.count - 1; i >= 0 && !last; --i) last = samples.range("toc_mv", i);
  if (!last) return null;
  const volts = (mv) => `${(mv / 1000).toFixed(2)} V`;
  const isLowered = last[0] < full;
  return tile("Top of charge at the end", volts(last[0]), isLowered ? `lowered from ${volts(full)}` : "not lowered");
}

function storyTile({ decisions, taken }) {
  const count = (weight) => decisions.filter((each) => each.weight === weight).length;
  return tile("Decisions", number(taken), `${plural(count("action"), "action")}, ${plural(count("finding"), "finding")}`);
}

function tripLine(stress) {
  const next = stress.levels.find(({ above_h }) => stress.total_h + stress.offset_h <= above_h);
  return next ? `next limit at ${number(next.above_h)}` : "past the last limit";
}

function worthTile(worth) {
  const [kept, lost] = [worth?.heeded.capacity_left_pct, worth?.ignored.capacity_left_pct];
  if (kept === undefined || lost === undefined) return null;
  return tile("Capacity left", `${number(kept, 1)} %`, `${number(lost, 1)} % with the daemon ignored`);
}
