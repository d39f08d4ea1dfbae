// Which run this is, and what matters of it.

import { $, make } from "./dom.js";
import { duration, number, plural } from "./format.js";
import { FLAGS } from "./panels.js";
import { stateSeconds } from "./figures.js";

const ORIGINS = {
  simulation: "Simulated phone",
  replay: "Replayed trace",
  files: "From files of an earlier run",
  device: "From what a device left",
};
const SOURCES = { simulation: "Scenario", replay: "Trace", files: "Events", device: "Evidence" };
const DIGEST_SHOWN = 12;

export function fillHead(run, clock) {
  document.title = `${run.title || "Run"} – battery report`;
  $("title").textContent = run.title || "Battery report";
  const from = clock.isKnown ? clock.stretch(0, run.span_s) : `${duration(run.span_s)}, wall clock not known`;
  $("facts").textContent = [ORIGINS[run.origin] ?? run.origin, from].join(" · ");
  const { version, commit, date, command, source, sha256, seed, vendor } = run.about;
  const facts = [
    [SOURCES[run.origin] ?? "Source", source, sha256 && ` sha256 ${sha256.slice(0, DIGEST_SHOWN)}…`, sha256],
    ["Seed", seed],
    ["Cell", vendor],
    ["Daemon and lab", `${version}${commit ? `, commit ${commit}` : ""}`],
    ["Made", date],
    ["Command", command && make("code", {}, command)],
  ];
  for (const [label, value, more, title] of facts) {
    if (value === null || value === "" || value === undefined) continue;
    const shown = make("dd", {}, typeof value === "object" ? value : String(value));
    if (more) shown.append(make("span", { className: "muted", title }, more));
    $("about").append(make("div", {}, make("dt", {}, label), shown));
  }
}

/** What matters, each as {mark, text, t}: the mark says whether it is good (✓), bad (✗) or to be known (•). */
function findings(run, samples, clock) {
  return [
    ...expectationFindings(run.expectations),
    ...apartFindings(run),
    ...stoppedFindings(samples, run.span_s),
    ...voltageFindings(run, samples),
    ...gapFindings(run),
    ...clockFindings(run, clock),
    ...(run.caution ? [{ mark: "•", text: run.caution }] : []),
    ...writeFindings(run.cost),
  ];
}

function expectationFindings(expectations) {
  if (!expectations.length) return [];
  const failed = expectations.filter(({ holds }) => !holds);
  const sum =
    failed.length === 0
      ? `All ${plural(expectations.length, "expectation")} hold`
      : `${failed.length} of ${plural(expectations.length, "expectation")} did not hold`;
  const details = expectations.map(({ what, found, holds }) => `${holds ? "✓" : "✗"} ${what}${holds ? "" : `, found ${found}`}`);
  return [{ mark: failed.length ? "✗" : "✓", text: sum, details }];
}

function apartFindings({ displayed_from_gauge: gauge, displayed_from_true: truth }) {
  const tell = (found, what) =>
    found && {
      mark: "✗",
      t: found.worst_t,
      text: `Displayed ${number(Math.abs(found.worst_pct))} points ${found.worst_pct > 0 ? "above" : "below"} ${what} at worst, 10 and more for ${duration(found.to_t - found.from_t)}`,
    };
  return [tell(truth, "the true state of charge"), tell(gauge, "the gauge")].filter(Boolean);
}

function stoppedFindings(samples, span) {
  return FLAGS.filter(({ name, label }) => samples.hasState(name) && label.startsWith("Charging stopped")).map(({ name, label }) => ({
    mark: "•",
    text: `${label}, ${duration(Math.round(stateSeconds(samples, name, 0, span)))} in all`,
    t: firstIn(samples, name),
  }));
}

function firstIn(samples, state) {
  const i = samples.states[state].findIndex((share) => share > 0);
  return samples.first[i];
}

function voltageFindings(run, samples) {
  const volts = (mv) => `${(mv / 1000).toFixed(2)} V`;
  let last = null;
  for (let i = samples.count - 1; i >= 0 && !last; --i) last = samples.range("toc_mv", i);
  if (!last || last[0] >= run.daemon.full_mv) return [];
  return [{ mark: "•", text: `The top of charge ends at ${volts(last[0])}, lowered from ${volts(run.daemon.full_mv)}` }];
}

function gapFindings({ gaps, cost, is_from_log }) {
  const found = [];
  const tell = (isOff, what) => {
    const some = gaps.gaps.filter(([, , off]) => (off === 1) === isOff);
    if (!some.length) return;
    const longest = some.reduce((a, b) => (b[1] - b[0] > a[1] - a[0] ? b : a));
    const sum = some.reduce((total, [from, to]) => total + to - from, 0);
    found.push({
      mark: "•",
      t: longest[0],
      text: `${what(some.length)}, ${duration(sum)} in all, the longest ${duration(longest[1] - longest[0])}`,
    });
  };
  tell(true, (count) => `${plural(cost.boots, "boot")}: the daemon was not running ${count === 1 ? "once" : `${number(count)} times`}`);
  if (is_from_log) return found; // which has no samples at all
  tell(false, (count) => `${plural(count, "gap")} without a sample${gaps.forgotten ? ` and ${number(gaps.forgotten)} shorter ones` : ""}`);
  return found;
}

function clockFindings(run, clock) {
  if (!clock.isKnown) return [{ mark: "•", text: "The wall clock is not known: times count from the start of the run" }];
  const jumps = run.clock.stretches.length - 1 + run.clock.stretches_left_out;
  return jumps > 0
    ? [{ mark: "•", t: run.clock.stretches[1]?.[0], text: `The device’s clock jumped ${jumps === 1 ? "once" : `${number(jumps)} times`}` }]
    : [];
}

function writeFindings(cost) {
  const failed = cost.files.reduce((sum, file) => sum + file.failed, 0);
  return failed ? [{ mark: "✗", text: `${plural(failed, "write")} of a state file failed` }] : [];
}

/** `show(t)` moves the axis there. */
export function fillVerdict(run, samples, clock, show) {
  const items = findings(run, samples, clock).map(({ mark, text, t, details }) => {
    const words = t === undefined ? make("span", {}, text) : make("button", { type: "button", className: "plain" }, text);
    if (t !== undefined) words.addEventListener("click", () => show(t));
    const item = make(
      "li",
      {},
      make("span", { className: { "✓": "good", "✗": "bad" }[mark] ?? "muted", "aria-hidden": "true" }, mark),
      words,
    );
    if (details) item.append(make("ul", {}, ...details.map((line) => make("li", {}, line))));
    return item;
  });
  if (!items.length)
    items.push(make("li", {}, make("span", { className: "good", "aria-hidden": "true" }, "✓"), make("span", {}, "Nothing stands out.")));
  $("findings").append(...items);
}
