// The lifetime histogram: hours per voltage and temperature band, what they weigh and what they brought.

import { css, shade } from "./colours.js";
import { make } from "./dom.js";
import { forecastParts } from "./forecast.js";
import { number, short } from "./format.js";

const TOP_BUCKETS = 5;

const VIEWS = { hours: "Hours", run: "Hours of this run", brought: "Stress hours brought", weights: "Weight of an hour" };

/** Gives what draws the map anew, in other colours. */
export function fillHistogram(place, stress, samples, clock) {
  if (!stress) {
    place.append(make("p", { className: "empty" }, "No histogram was written in this run: the daemon writes it every hour."));
    return () => {};
  }
  // What was added while the page's run lasted; a bucket whose number was none before is as new.
  stress.run = stress.hours.map((hours, at) => (hours === null ? null : Math.max(hours - (stress.first_hours[at] ?? 0), 0)));
  const bands = {
    volt: bandNames(
      stress.volt_edges_mv.map((mv) => mv / 1000),
      1,
    ),
    temp: bandNames(stress.temp_edges_c, 0),
  };
  const detail = make("p", { className: "detail", role: "status" }, hint());
  const grid = make("table", { className: "heat" });
  let shown = "hours";
  const show = (view) => grid.replaceChildren(...heatRows(stress, bands, (shown = view), detail));
  show("hours");
  const left = make(
    "div",
    { className: "heat-side" },
    choices(show),
    make("div", { className: "scroll" }, grid),
    make("p", { className: "muted small axis-note" }, "Across: cell voltage in volts. Upwards: battery temperature in °C."),
    detail,
  );
  place.append(
    make("div", { className: "histogram" }, left, make("div", {}, ...forecastParts(stress, samples, clock), topBuckets(stress, bands))),
  );
  return () => show(shown);
}

const hint = () => "Point at a bucket, or move to it with Tab and the arrow keys, to read its numbers.";

function bandNames(edges, digits) {
  const text = edges.map((edge) => edge.toFixed(digits));
  const names = [`≤ ${text[0]}`];
  for (let i = 1; i < text.length; ++i) names.push(`${text[i - 1]}–${text[i]}`);
  return [...names, `> ${text.at(-1)}`];
}

function choices(show) {
  const group = make("div", { className: "chips", role: "radiogroup", "aria-label": "What the map shows" });
  for (const [view, label] of Object.entries(VIEWS)) {
    const input = make("input", { type: "radio", name: "heat", checked: view === "hours" });
    input.addEventListener("change", () => show(view));
    group.append(make("label", { className: "chip" }, input, label));
  }
  return group;
}

/** A row for each temperature, hot on top; the colour goes with the root of the value, so that small ones show. */
function heatRows(stress, bands, view, detail) {
  const greatest = Math.max(...stress[view].map((value) => value ?? 0), 1e-9);
  const rows = [];
  for (let c = bands.temp.length - 1; c >= 0; --c) {
    const row = make("tr", {}, make("th", { scope: "row" }, bands.temp[c]));
    for (let r = 0; r < bands.volt.length; ++r) row.append(bucketCell(stress, bands, view, [r, c], greatest, detail));
    rows.push(row);
  }
  const foot = bands.volt.map((name) => make("th", { scope: "col" }, name));
  rows.push(make("tr", {}, make("td", {}, ""), ...foot));
  return rows;
}

function bucketCell(stress, bands, view, [r, c], greatest, detail) {
  const value = stress[view][r * bands.temp.length + c];
  const heat = Math.sqrt(Math.max(value ?? 0, 0) / greatest);
  const text = value === null ? "NaN" : value === 0 ? "" : short(value);
  const box = make("td", { tabIndex: r === 0 && c === bands.temp.length - 1 ? 0 : -1, className: "bucket" }, text);
  const { background, text: ink } = shade(css("--track"), css("--heat-colour"), heat);
  box.style.background = background;
  box.style.color = ink;
  const tell = () => (detail.textContent = describe(stress, bands, r, c));
  box.setAttribute("aria-label", describe(stress, bands, r, c));
  for (const event of ["mouseenter", "click", "focus"]) box.addEventListener(event, tell);
  box.addEventListener("keydown", moveFocus);
  return box;
}

function moveFocus(event) {
  const move = { ArrowLeft: [0, -1], ArrowRight: [0, 1], ArrowUp: [-1, 0], ArrowDown: [1, 0] }[event.key];
  if (!move) return;
  event.preventDefault();
  const from = event.currentTarget;
  const row = from.parentElement;
  const next = row.parentElement.children[row.rowIndex + move[0]]?.children[from.cellIndex + move[1]];
  if (!next?.classList.contains("bucket")) return;
  from.tabIndex = -1;
  next.tabIndex = 0;
  next.focus();
}

function describe(stress, bands, r, c) {
  const at = r * bands.temp.length + c;
  const hours = stress.hours[at];
  const share = stress.total_h > 0 ? (100 * stress.brought[at]) / stress.total_h : 0;
  const weight = stress.weights[at];
  return (
    `${bands.volt[r]} V at ${bands.temp[c]} °C: ${hours === null ? "no number of" : number(hours, 1)} hours, ` +
    `each worth ${weight < 0.001 ? weight.toExponential(1) : number(weight, 3)}, ` +
    `brought ${number(stress.brought[at], 1)} stress hours, ${number(share, 1)} % of all.`
  );
}

function topBuckets(stress, bands) {
  const order = stress.brought.map((value, at) => at).sort((a, b) => stress.brought[b] - stress.brought[a]);
  const items = order
    .slice(0, TOP_BUCKETS)
    .filter((at) => stress.brought[at] > 0)
    .map((at) => {
      const r = Math.floor(at / bands.temp.length);
      const share = (100 * stress.brought[at]) / stress.total_h;
      const bar = make("span", { className: "bar-fill", "aria-hidden": "true" });
      bar.style.width = `${share}%`;
      return make(
        "li",
        {},
        bar,
        make("span", {}, `${bands.volt[r]} V, ${bands.temp[at % bands.temp.length]} °C`),
        make("b", {}, `${number(share, share < 10 ? 1 : 0)} %`),
        make("span", { className: "" }, `${number(stress.hours[at], stress.hours[at] < 10 ? 1 : 0)} h`),
      );
    });
  if (!items.length) return make("p", { className: "empty" }, "No bucket has brought stress hours yet.");
  return make("div", {}, make("h3", {}, "Buckets that brought the most"), make("ol", { className: "top-buckets" }, ...items));
}
