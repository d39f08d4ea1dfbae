// What the daemon is worth, and what it cost.

import { make, table } from "./dom.js";
import { duration, number } from "./format.js";

// The figures compared: what they are called, how they read, and whether less of it is better.
const FIGURES = [
  { key: "capacity_left_pct", label: "Capacity left", text: (v) => `${number(v, 2)} %`, less: false },
  { key: "resistance_pct", label: "Resistance", text: (v) => `${number(v, 1)} %`, less: true },
  { key: "stress_h", label: "Stress hours", text: (v) => number(v), less: true },
  { key: "high_s", label: "Cell above 4.3 V", text: duration, less: true },
  { key: "stopped_s", label: "Charging stopped", text: duration, less: null },
];

export function fillWorth(place, worth, origin) {
  if (!worth) {
    const reason = origin === "simulation"
      ? "This run was not repeated without the daemon."
      : "Only a simulated phone can live the same days again without the daemon: vorn-lab simulate --report.";
    place.append(make("p", { className: "empty" }, reason));
    return;
  }
  const rows = FIGURES.filter(({ key }) => key in worth.heeded && key in worth.ignored).map((figure) => worthRow(figure, worth));
  const note = "The same scenario twice: as it is, and with the phone ignoring what the daemon asks for. " +
    "Capacity and resistance are of the new cell’s.";
  place.append(table(["", "With the daemon", "Ignored", "Difference"], rows), make("p", { className: "muted small" }, note));
}

function worthRow({ key, label, text, less }, { heeded, ignored }) {
  const gain = heeded[key] - ignored[key];
  const isSame = text(Math.abs(gain)) === text(0); // as far as it is shown
  const isGood = less === null || isSame ? null : gain < 0 === less;
  const words = isSame ? "same" : `${gain > 0 ? "+" : "−"}${text(Math.abs(gain))}`;
  const judged = isGood === null ? words : `${words} ${isGood ? "✓" : "✗"}`;
  return [label, text(heeded[key]), text(ignored[key]), make("span", { className: isGood === null ? "" : isGood ? "good" : "bad" }, judged)];
}

export function fillCost(place, cost) {
  if (cost.cycles === 0 && cost.files.length === 0) {
    place.append(make("p", { className: "empty" }, "Nothing: the daemon did not run a cycle."));
    return;
  }
  const daily = [
    ["Cycles", cost.cycles_per_day], ["Log lines", cost.log_lines_per_day], ["Records", cost.records_per_day],
    ["Property writes", cost.property_writes_per_day],
  ];
  const figures = daily.map(([label, value]) => make("div", {}, make("b", {}, rate(value)), make("span", {}, `${label} a day`)));
  const rows = cost.files.map((file) => [
    make("code", { title: file.path }, file.path.slice(file.path.lastIndexOf("/") + 1)), number(file.writes_per_year),
    bytes(file.bytes_per_year), file.failed ? number(file.failed) : "–",
  ]);
  place.append(make("div", { className: "figures" }, ...figures));
  if (rows.length) place.append(make("div", { className: "scroll" }, table(["State file", "Writes a year", "Bytes a year", "Failed"], rows)));
  else place.append(make("p", { className: "empty" }, "No state file was written."));
}

function rate(value) {
  if (value > 0 && value < 0.05) return "< 0.1";
  return number(value, value < 10 ? 1 : 0);
}

function bytes(count) {
  if (count < 10000) return number(count);
  return count < 1e7 ? `${number(count / 1000, 1)} kB` : `${number(count / 1e6, 1)} MB`;
}
