// What the daemon is worth, and what it cost.

import { make, table } from "./dom.js";
import { duration, number } from "./format.js";

// The figures compared: what they are called, how they read, whether less of it is better, and the least difference
// that tells the two runs apart, given both.
const FIGURES = [
  { key: "capacity_left_pct", label: "Capacity left", text: (v) => `${number(v, 2)} %`, less: false, noise: "capacity_day_pct" },
  { key: "resistance_pct", label: "Resistance", text: (v) => `${number(v, 1)} %`, less: true, noise: "resistance_day_pct" },
  { key: "stress_h", label: "Stress hours", text: (v) => number(v), less: true },
  { key: "high_s", label: (volts) => `Cell above ${volts} V`, text: duration, less: true },
  { key: "stopped_s", label: "Charging stopped", text: duration, less: null },
];
const DAY_S = 86400;

export function fillWorth(place, { worth, origin, daemon }) {
  if (!worth) {
    const reason =
      origin === "simulation"
        ? "This run was not repeated without the daemon."
        : "Only a simulated phone can live the same days again without the daemon: vorn-lab simulate --report.";
    place.append(make("p", { className: "empty" }, reason));
    return;
  }
  const rows = FIGURES.filter(({ key }) => key in worth.heeded && key in worth.ignored).map((figure) => worthRow(figure, worth, daemon));
  const until =
    `The first ${duration(worth.heeded.span_s)} are compared: up to the last time the phone was plugged in, or else the last whole day, ` +
    "so that no charge is counted half.";
  const note =
    "The same scenario twice: as it is, and with the phone ignoring what the daemon asks for. " +
    `Capacity and resistance are of the new cell’s; less than what a day changes of them is no difference. ${until}`;
  place.append(
    make("div", { className: "scroll" }, table(["", "With the daemon", "Ignored", "Difference"], rows)),
    make("p", { className: "muted small" }, note),
  );
}

/** Whether one run did better: true, false, or null where nothing can be said. */
export function judge({ key, less, text, noise }, { heeded, ignored }) {
  const gain = heeded[key] - ignored[key];
  if (less === null || text(Math.abs(gain)) === text(0)) return null; // the same, as far as it is shown
  if (noise && (heeded.span_s < DAY_S || Math.abs(gain) <= Math.max(heeded[noise], ignored[noise]))) return null;
  return gain < 0 === less;
}

function worthRow(figure, { heeded, ignored }, { high_mv: high }) {
  const { key, label, text } = figure;
  const gain = heeded[key] - ignored[key];
  const isGood = judge(figure, { heeded, ignored });
  const isSame = text(Math.abs(gain)) === text(0);
  const words = isSame ? "same" : `${gain > 0 ? "+" : "−"}${text(Math.abs(gain))}`;
  const mark = isGood === null ? (isSame || figure.less === null ? "" : " (no difference)") : isGood ? " ✓" : " ✗";
  const name = typeof label === "function" ? label(number(high / 1000, 1)) : label;
  return [
    name,
    text(heeded[key]),
    text(ignored[key]),
    make("span", { className: isGood === null ? "" : isGood ? "good" : "bad" }, words + mark),
  ];
}

export function fillCost(place, { cost, is_from_log }) {
  if (cost.cycles === 0 && cost.files.length === 0) {
    place.append(make("p", { className: "empty" }, "Nothing: the daemon did not run a cycle."));
    return;
  }
  const daily = [
    !is_from_log && ["Cycles", cost.cycles_per_day],
    ["Log lines", cost.log_lines_per_day],
    ["Records", cost.records_per_day],
    ["Property writes", cost.property_writes_per_day],
  ].filter(Boolean);
  const figures = daily.map(([label, value]) => make("div", {}, make("b", {}, rate(value)), make("span", {}, `${label} a day`)));
  const rows = cost.files.map((file) => [
    make("code", { title: file.path }, file.path.slice(file.path.lastIndexOf("/") + 1)),
    number(file.writes_per_year),
    bytes(file.bytes_per_year),
    file.failed ? number(file.failed) : "–",
  ]);
  place.append(make("div", { className: "figures" }, ...figures));
  if (rows.length)
    place.append(make("div", { className: "scroll" }, table(["State file", "Writes a year", "Bytes a year", "Failed"], rows)));
  else {
    const words = is_from_log ? "The log does not tell which state files were written." : "No state file was written.";
    place.append(make("p", { className: "empty" }, words));
  }
}

function rate(value) {
  if (value > 0 && value < 0.05) return "< 0.1";
  return number(value, value < 10 ? 1 : 0);
}

function bytes(count) {
  if (count < 10000) return number(count);
  return count < 1e7 ? `${number(count / 1000, 1)} kB` : `${number(count / 1e6, 1)} MB`;
}
