// The lifetime histogram: hours per voltage and temperature band, what they weigh and what they brought.

import { make } from "./dom.js";
import { DAY, duration, number, short } from "./format.js";

const ROWS = 9;    // voltage bands, columns of the picture
const COLUMNS = 11; // temperature bands, rows of the picture
const TOP_BUCKETS = 5;

const VIEWS = {
  hours: "Hours",
  brought: "Stress hours brought",
  weights: "Weight of an hour",
};

export function fillHistogram(place, stress, spanS) {
  if (!stress) {
    place.append(make("p", { className: "empty" }, "No histogram was written in this run: the daemon writes it every hour."));
    return;
  }
  const bands = { volt: bandNames(stress.volt_edges_mv.map((mv) => mv / 1000), 1), temp: bandNames(stress.temp_edges_c, 0) };
  const detail = make("p", { className: "detail", role: "status" }, hint());
  const grid = make("table", { className: "heat" });
  const show = (view) => grid.replaceChildren(...heatRows(stress, bands, view, detail));
  show("hours");
  const left = make("div", { className: "heat-side" }, choices(show), make("div", { className: "scroll" }, grid),
    make("p", { className: "muted small axis-note" }, "Across: cell voltage in volts. Upwards: battery temperature in °C."), detail);
  place.append(make("div", { className: "histogram" }, left, make("div", {}, ...tripParts(stress, spanS), topBuckets(stress, bands))));
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
  for (let c = COLUMNS - 1; c >= 0; --c) {
    const row = make("tr", {}, make("th", { scope: "row" }, bands.temp[c]));
    for (let r = 0; r < ROWS; ++r) row.append(cell(stress, bands, view, r, c, greatest, detail));
    rows.push(row);
  }
  const foot = bands.volt.map((name) => make("th", { scope: "col" }, name));
  rows.push(make("tr", {}, make("td", {}, ""), ...foot));
  return rows;
}

function cell(stress, bands, view, r, c, greatest, detail) {
  const at = r * COLUMNS + c;
  const value = stress[view][at];
  const heat = Math.sqrt(Math.max(value ?? 0, 0) / greatest);
  const text = value === null ? "NaN" : value === 0 ? "" : short(value);
  const box = make("td", { tabIndex: r === 0 && c === COLUMNS - 1 ? 0 : -1, className: heat > 0.8 ? "hot" : "" }, text);
  box.style.setProperty("--heat", `${Math.round(heat * 100)}%`);
  const tell = () => (detail.textContent = describe(stress, bands, r, c));
  box.addEventListener("mouseenter", tell);
  box.addEventListener("click", tell);
  box.addEventListener("focus", tell);
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
  if (!next || next.tabIndex === undefined || next.tagName !== "TD" || !next.classList) return;
  if (!next.style.getPropertyValue("--heat")) return;
  from.tabIndex = -1;
  next.tabIndex = 0;
  next.focus();
}

function describe(stress, bands, r, c) {
  const at = r * COLUMNS + c;
  const hours = stress.hours[at];
  const share = stress.total_h > 0 ? (100 * stress.brought[at]) / stress.total_h : 0;
  const weight = stress.weights[at];
  return `${bands.volt[r]} V at ${bands.temp[c]} °C: ${hours === null ? "no number of" : number(hours, 1)} hours, ` +
    `each worth ${weight < 0.001 ? weight.toExponential(1) : number(weight, 3)}, ` +
    `brought ${number(stress.brought[at], 1)} stress hours, ${number(share, 1)} % of all.`;
}

/** The bar to the next trip, and when it comes at the pace of this run. */
function tripParts(stress, spanS) {
  const total = stress.total_h + stress.offset_h;
  const end = stress.levels.at(-1).above_h * 1.08;
  const bar = make("div", { className: "trip", "aria-hidden": "true" }, make("div", { className: "done" }));
  bar.firstChild.style.width = `${Math.min((100 * total) / end, 100)}%`;
  for (const { above_h, toc_mv } of stress.levels) {
    const label = make("span", {}, `${number(above_h)} h`, make("br"), `${(toc_mv / 1000).toFixed(2)} V`);
    const mark = make("span", { className: "level" }, label);
    mark.style.left = `${(100 * above_h) / end}%`;
    bar.append(mark);
  }
  const figure = make("p", { className: "figure" }, make("b", {}, number(total)), " stress hours");
  const offset = stress.offset_h ? ` ${number(stress.offset_h)} of the ${number(total)} are an offset for tests.` : "";
  return [figure, bar, make("p", {}, nextTrip(stress, total, spanS) + offset)];
}

function nextTrip(stress, total, spanS) {
  const next = stress.levels.find(({ above_h }) => total <= above_h);
  if (!next) return "Past the last trip: the voltage is as low as this feature makes it.";
  const left = next.above_h - total;
  const volts = `${(next.toc_mv / 1000).toFixed(2)} V`;
  const text = `${number(left)} stress hours to the next trip, which lowers the top of charge to ${volts}`;
  const time = stress.last_t - stress.first_t;
  const pace = (stress.total_h - stress.first_h) / time;
  if (time < DAY || time < spanS / 10 || !(pace > 0)) return `${text}.`;
  return `${text}: about ${duration(left / pace)} at the pace of this run (${number(pace * DAY, 1)} a day).`;
}

function topBuckets(stress, bands) {
  const order = stress.brought.map((value, at) => at).sort((a, b) => stress.brought[b] - stress.brought[a]);
  const items = order.slice(0, TOP_BUCKETS).filter((at) => stress.brought[at] > 0).map((at) => {
    const r = Math.floor(at / COLUMNS);
    const share = (100 * stress.brought[at]) / stress.total_h;
    const bar = make("span", { className: "bar-fill", "aria-hidden": "true" });
    bar.style.width = `${share}%`;
    return make("li", {}, bar, make("span", {}, `${bands.volt[r]} V, ${bands.temp[at % COLUMNS]} °C`),
      make("b", {}, `${number(share, share < 10 ? 1 : 0)} %`), make("span", { className: "muted" }, `${number(stress.hours[at], stress.hours[at] < 10 ? 1 : 0)} h`));
  });
  if (!items.length) return make("p", { className: "empty" }, "No bucket has brought stress hours yet.");
  return make("div", {}, make("h3", {}, "Buckets that brought the most"), make("ol", { className: "top-buckets" }, ...items));
}
