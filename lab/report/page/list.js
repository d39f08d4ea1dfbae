// A list of which only the rows in view exist, so that a hundred thousand scroll like ten.

const ROW_HEIGHT = 26; // as in the style sheet
const SPARE = 8; // rows made beyond the edges

export class VirtualList {
  /** makeRow(item) gives an element; onChoose(item) hears what was clicked or reached by key. */
  constructor(element, makeRow, onChoose) {
    this.element = element;
    this.makeRow = makeRow;
    this.onChoose = onChoose;
    this.items = [];
    this.chosen = -1;
    this.space = element.appendChild(document.createElement("div"));
    this.space.className = "space";
    element.addEventListener("scroll", () => this.#draw());
    element.addEventListener("keydown", (event) => this.#key(event));
    new ResizeObserver(() => this.#draw()).observe(element);
  }

  set(items) {
    this.items = items;
    this.chosen = -1;
    this.space.style.height = `${items.length * ROW_HEIGHT}px`;
    this.element.scrollTop = 0;
    this.#draw();
  }

  choose(index) {
    if (!this.items.length) return;
    this.chosen = Math.min(Math.max(index, 0), this.items.length - 1);
    const top = this.chosen * ROW_HEIGHT;
    const { scrollTop, clientHeight } = this.element;
    this.element.scrollTop = Math.max(Math.min(scrollTop, top), top + ROW_HEIGHT - clientHeight);
    this.#draw();
    this.onChoose(this.items[this.chosen]);
  }

  #draw() {
    const from = Math.max(Math.floor(this.element.scrollTop / ROW_HEIGHT) - SPARE, 0);
    const to = Math.min(from + Math.ceil(this.element.clientHeight / ROW_HEIGHT) + 2 * SPARE, this.items.length);
    const rows = [];
    for (let i = from; i < to; ++i) rows.push(this.#row(i));
    this.space.replaceChildren(...rows);
    if (this.chosen >= from && this.chosen < to) this.element.setAttribute("aria-activedescendant", `row-${this.chosen}`);
    else this.element.removeAttribute("aria-activedescendant");
  }

  #row(i) {
    const row = this.makeRow(this.items[i]);
    row.id = `row-${i}`;
    row.style.top = `${i * ROW_HEIGHT}px`;
    row.setAttribute("role", "option");
    row.setAttribute("aria-selected", String(i === this.chosen));
    row.setAttribute("aria-posinset", i + 1);
    row.setAttribute("aria-setsize", this.items.length);
    row.addEventListener("click", () => this.choose(i));
    return row;
  }

  #key(event) {
    const page = Math.floor(this.element.clientHeight / ROW_HEIGHT) - 1;
    const steps = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -Infinity, End: Infinity };
    const step = steps[event.key];
    if (step === undefined) return;
    event.preventDefault();
    this.choose(this.chosen < 0 && step === 1 ? 0 : Math.max(this.chosen, 0) + step);
  }
}
