// Every line the daemon left, filtered by text, kind and feature.

import { lineText } from "./data.js";
import { $, make, toggle } from "./dom.js";
import { fold } from "./fold.js";
import { number, plural } from "./format.js";
import { VirtualList } from "./list.js";
import { fileName, saveText } from "./save.js";

const KINDS = { log: "Log", record: "Records", property: "Properties", write: "Writes" };
const WAIT_MS = 120; // after a key before the filter runs

export class Log {
  /**
   * @param {any} run
   * @param {any[]} lines
   * @param {any} clock
   * @param {(line: any) => void} choose shows a line's moment on the axis
   * @param {(button: HTMLElement, line: any) => void} link copies its link
   */
  constructor({ log: { shapes, seen, explained }, features, daemon, title }, lines, clock, choose, link) {
    this.shapes = shapes;
    this.seen = seen;
    this.explained = explained;
    this.open = new Set(); // moments whose lines are not folded
    this.lines = lines;
    this.features = features;
    this.clock = clock;
    this.choose = choose;
    this.link = link;
    this.title = title;
    this.prefix = daemon.log_prefix;
    lines.forEach((line, i) => (line.index = i));
    this.kinds = new Set(Object.keys(KINDS));
    this.list = new VirtualList(
      $("log-list"),
      (line) => this.#row(line),
      (line) => this.#chosen(line),
    );
    if (!lines.length) {
      $("log-filter").hidden = $("log-list").hidden = $("log-save").hidden = true;
      $("log-count").textContent = "The daemon left no line in this run.";
      return;
    }
    this.#fillFilter();
    this.#tellLeftOut();
    this.apply();
  }

  #fillFilter() {
    const used = new Set(this.shapes.map((shape) => shape.feature));
    for (const [key, title] of Object.entries(this.features)) {
      if (used.has(key)) $("log-feature").append(make("option", { value: key }, title));
    }
    for (const [kind, label] of Object.entries(KINDS)) {
      $("log-kinds").append(
        toggle(label, true, (isOn) => {
          isOn ? this.kinds.add(kind) : this.kinds.delete(kind);
          this.apply();
        }),
      );
    }
    $("log-save").addEventListener("click", () => this.#save());
    $("log-filter").addEventListener("submit", (event) => event.preventDefault());
    $("log-feature").addEventListener("change", () => this.apply());
    $("log-text").addEventListener("input", () => {
      clearTimeout(this.timer);
      this.timer = setTimeout(() => this.apply(), WAIT_MS);
    });
  }

  apply() {
    const wanted = $("log-text").value.toLowerCase();
    const feature = $("log-feature").value;
    for (const shape of this.shapes) {
      shape.isOut = !this.kinds.has(shape.kind) || (feature !== "" && shape.feature !== feature);
    }
    const found = (this.found = this.lines.filter(
      (line) => !line.shape.isOut && (!wanted || lineText(line).toLowerCase().includes(wanted)),
    ));
    this.shown = wanted ? found : fold(found, this.open);
    this.list.set(this.shown);
    $("log-detail").hidden = true;
    const all = found.length === this.lines.length;
    $("log-print").textContent = `Not printed: ${plural(found.length, "line")}. Open the page to read or to save them.`;
    $("log-count").textContent = all ? plural(found.length, "line") : `${number(found.length)} of ${plural(this.lines.length, "line")}`;
  }

  #save() {
    const lines = this.found.map((line) =>
      [this.clock.full(line.t), KINDS[line.shape.kind], line.shape.feature, lineText(line)].join("\t"),
    );
    saveText(fileName(this.title, "log.txt"), `${lines.join("\n")}\n`);
  }

  /** Chooses line number `index` of the whole log, without its filter. */
  showLine(index) {
    if (!this.lines[index]) return;
    $("log-text").value = $("log-feature").value = "";
    for (const chip of $("log-kinds").children) if (chip.getAttribute("aria-pressed") !== "true") chip.click();
    this.open.add(this.lines[index].t);
    this.apply();
    this.list.choose(this.shown.indexOf(this.lines[index]));
    $("log").scrollIntoView({ block: "start" });
  }

  /** The line called so that is closest to a moment; -1 when there is none. */
  closest(id, t) {
    let best = -1;
    this.lines.forEach((line, i) => {
      if (line.shape.id === id && (best < 0 || Math.abs(line.t - t) < Math.abs(this.lines[best].t - t))) best = i;
    });
    return best;
  }

  #row(line) {
    const { t, shape, folds } = line;
    return make(
      "div",
      { className: "row" },
      this.#time(t),
      make("span", { className: `kind ${shape.kind}` }, KINDS[shape.kind]),
      make("span", { className: "feature" }, this.features[shape.feature]),
      make("span", { className: "text" }, ...(folds ? [folds.words] : this.#words(lineText(line)))),
    );
  }

  /** On a narrow screen a line goes without what every line begins with. */
  #words(text) {
    const decoration = text.startsWith(this.prefix) ? this.prefix : "";
    return [make("span", { className: "fine" }, decoration), text.slice(decoration.length)];
  }

  /** On a narrow screen the year and the seconds (class "fine") go. */
  #time(t) {
    const fine = (text) => make("span", { className: "fine" }, text);
    const [year, ...rest] = this.clock.shortDate(t).split("-");
    if (!rest.length) return make("time", {}, `${year} `, this.clock.time(t));
    const time = this.clock.time(t);
    return make("time", {}, fine(`${year}-`), `${rest.join("-")} ${time.slice(0, 5)}`, fine(time.slice(5)));
  }

  #chosen(line) {
    const { t, shape, folds } = line;
    if (folds) return this.#foldChosen(line);
    const show = make("button", { type: "button", className: "quiet" }, "Show on the axis");
    show.addEventListener("click", () => this.choose(line));
    const link = make("button", { type: "button", className: "quiet" }, "Copy link");
    link.addEventListener("click", () => this.link(link, line));
    $("log-detail").replaceChildren(
      make("b", {}, this.clock.full(t)),
      " ",
      `${KINDS[shape.kind]}, ${this.features[shape.feature]} `,
      show,
      link,
      make("code", {}, lineText(line)),
      ...this.#explanation(shape.id),
    );
    $("log-detail").hidden = false;
  }

  #foldChosen({ t, shape, folds }) {
    const show = make("button", { type: "button", className: "quiet" }, "Show the lines");
    show.addEventListener("click", () => this.showLine(folds.lines[0].index));
    $("log-detail").replaceChildren(make("b", {}, this.clock.full(t)), ` ${folds.words} `, show, ...this.#explanation(shape.id));
    $("log-detail").hidden = false;
  }

  /** What docs/log.md says of the line. */
  #explanation(id) {
    if (!this.explained[id]) return [];
    const [meaning, remedy] = this.explained[id];
    const name = make("span", { className: "fact", title: "its name in docs/log.md" }, id);
    return [make("span", { className: "means" }, name, ` ${meaning}. What to do: ${remedy || "nothing"}.`)];
  }

  #tellLeftOut() {
    const thinned = this.shapes.filter((shape) => shape.kept < shape.seen).sort((a, b) => b.seen - a.seen);
    if (!thinned.length) return;
    const details = $("log-left-out");
    const left = this.seen - this.lines.length;
    details.querySelector("summary").textContent =
      `${number(left)} of ${number(this.seen)} lines are left out: of ${plural(thinned.length, "frequent line")} only some, evenly over the run`;
    const table = details.querySelector("table");
    table.append(make("tr", {}, ...["Kept", "of", "Line"].map((text) => make("th", { scope: "col" }, text))));
    for (const { kept, seen, text } of thinned) {
      const cells = [number(kept), number(seen), text.replaceAll("\x01", "…")];
      table.append(make("tr", {}, ...cells.map((cell) => make("td", {}, cell))));
    }
    details.hidden = false;
  }
}
