// The daemon's decisions in order, each with its reason; choosing one shows its moment on the axis.

import { $, make, toggle } from "./dom.js";
import { number, plural } from "./format.js";
import { WEIGHTS } from "./panels.js";

const CHUNK = 60; // items made at once; more follow as the list is scrolled
const MANY = 150; // with more decisions than this, routine ones start hidden

export class Story {
  /**
   * @param {{decisions: any[], taken: number}} story
   * @param {any} clock
   * @param {{choose: (decision: any) => void, link: (button: HTMLElement, decision: any) => void, line: (decision: any) => void, filter: (shown: any[]) => void}} on
   */
  constructor({ decisions, taken }, clock, on) {
    this.decisions = decisions;
    this.clock = clock;
    this.on = on;
    decisions.forEach((decision, i) => (decision.index = i));
    this.list = $("decisions");
    this.shown = [];
    this.made = 0;
    this.chosen = null;
    this.wanted = new Set(Object.keys(WEIGHTS));
    if (decisions.length > MANY) this.wanted.delete("routine");
    this.#fillFilter();
    this.list.addEventListener("scroll", () => this.#more());
    this.list.addEventListener("keydown", (event) => this.#key(event));
    if (taken > decisions.length) {
      $("story-note").textContent =
        `${plural(taken, "decision")} were taken; the most frequent kinds are thinned evenly to ${plural(decisions.length, "one")}.`;
    }
    this.fill();
  }

  #fillFilter() {
    for (const [weight, { label, glyph }] of Object.entries(WEIGHTS)) {
      const count = this.decisions.filter((each) => each.weight === weight).length;
      if (count === 0) continue;
      $("story-filter").append(
        toggle(`${glyph} ${label} ${number(count)}`, this.wanted.has(weight), (isOn) => {
          if (isOn) this.wanted.add(weight);
          else this.wanted.delete(weight);
          this.fill();
        }),
      );
    }
  }

  fill() {
    this.shown = this.decisions.filter((each) => this.wanted.has(each.weight));
    this.made = 0;
    this.list.replaceChildren();
    this.#more();
    if (this.shown.length === 0) {
      const text = this.decisions.length ? "None of this kind." : "The daemon took no decision in this run.";
      this.list.append(make("li", { className: "empty" }, text));
    }
    const left = this.decisions.length - this.shown.length;
    $("story-print").textContent = left ? `Not printed: ${plural(left, "decision")} that the filter on the screen hides.` : "";
    this.on.filter(this.shown);
    if (this.chosen && this.shown.includes(this.chosen)) this.mark(this.chosen);
    else this.#stopAt(this.list.querySelector("button"));
  }

  /** The list is one stop of the Tab key: at the decision chosen, or at the first. */
  #stopAt(button) {
    this.list.querySelector("button[tabindex='0']")?.setAttribute("tabindex", "-1");
    button?.setAttribute("tabindex", "0");
  }

  #more() {
    const { scrollTop, clientHeight, scrollHeight } = this.list;
    if (this.made > 0 && scrollTop + clientHeight < scrollHeight - 600) return;
    this.#make(CHUNK);
  }

  #make(count) {
    const next = this.shown.slice(this.made, this.made + count);
    this.list.append(...next.map((decision) => this.#item(decision)));
    this.made += next.length;
  }

  /** Every decision of the filter, for paper. */
  makeAll() {
    this.#make(Infinity);
  }

  #item(decision) {
    const { weight, feature, sentence, numbers, t } = decision;
    const glyph = make("span", { className: "glyph", title: WEIGHTS[weight].label }, WEIGHTS[weight].glyph);
    const head = make(
      "span",
      { className: "when" },
      glyph,
      make("b", {}, feature.charAt(0).toUpperCase() + feature.slice(1)),
      make("time", {}, this.clock.full(t)),
    );
    const facts = numbers.map(([name, value]) => make("span", { className: "fact" }, `${name} `, make("b", {}, value)));
    const button = make(
      "button",
      { type: "button", className: `decision ${weight}`, tabIndex: -1 },
      head,
      make("span", { className: "sentence" }, sentence),
      make("span", { className: "facts-row" }, ...facts),
    );
    button.addEventListener("click", () => this.on.choose(decision));
    const item = make("li", {}, button);
    item.dataset.index = decision.index;
    return item;
  }

  /** Marks the chosen decision in the list, and brings it into view. */
  mark(decision) {
    for (const each of this.list.querySelectorAll(".chosen .link")) each.remove();
    this.list.querySelector(".chosen")?.classList.remove("chosen");
    this.chosen = decision;
    if (!decision) return;
    const place = this.shown.indexOf(decision);
    if (place >= this.made) this.#make(place + 1 - this.made);
    /** @type {HTMLElement|null} */
    const item = this.list.querySelector(`li[data-index="${decision.index}"]`);
    if (!item) return;
    item.classList.add("chosen");
    this.#stopAt(item.querySelector("button"));
    const link = make("button", { type: "button", className: "quiet link" }, "Copy link");
    link.addEventListener("click", () => this.on.link(link, decision));
    item.append(link);
    if (decision.line) {
      const line = make("button", { type: "button", className: "quiet link" }, "Show its line in the log");
      line.addEventListener("click", () => this.on.line(decision));
      item.append(line);
    }
    this.list.scrollTop = Math.min(
      Math.max(this.list.scrollTop, item.offsetTop + item.offsetHeight - this.list.clientHeight),
      item.offsetTop,
    );
  }

  #key(event) {
    const step = { ArrowDown: "nextElementSibling", ArrowUp: "previousElementSibling" }[event.key];
    const button = step && event.target.closest("li")?.[step]?.querySelector("button");
    if (!button) return;
    event.preventDefault();
    button.focus();
    button.click();
  }
}
