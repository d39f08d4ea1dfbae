// Elements made of text and elements; nothing here ever reads markup.

/** @type {(id: string) => any} */
export const $ = (id) => document.getElementById(id);

/** make("p", {className: "muted"}, "text", child): attributes with a "-" or "role" are set as attributes. */
export function make(tag, properties = {}, ...children) {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(properties)) {
    if (name.includes("-") || name === "role" || name === "scope") element.setAttribute(name, value);
    else element[name] = value;
  }
  element.append(...children);
  return element;
}

/** A switch that stays pressed: a button with aria-pressed. */
export function toggle(label, isOn, onChange) {
  const button = make("button", { type: "button", className: "chip", "aria-pressed": String(isOn) }, label);
  button.addEventListener("click", () => {
    const now = button.getAttribute("aria-pressed") !== "true";
    button.setAttribute("aria-pressed", String(now));
    onChange(now);
  });
  return button;
}

export function table(headings, rows) {
  const head = make("tr", {}, ...headings.map((text) => (text ? make("th", { scope: "col" }, text) : make("td"))));
  const body = rows.map(([first, ...rest]) =>
    make("tr", {}, make("th", { scope: "row" }, first), ...rest.map((cell) => make("td", {}, cell))),
  );
  return make("table", {}, make("thead", {}, head), make("tbody", {}, ...body));
}

/** The first ones of many in what `draw` makes of them, and a button for all; on paper a word of how many are not there. */
export function longList(items, count, draw) {
  const holder = make("div", {}, draw(items.slice(0, count)));
  if (items.length <= count) return holder;
  const more = make("button", { type: "button", className: "quiet" }, `Show all ${items.length.toLocaleString("en")}`);
  more.addEventListener("click", () => holder.replaceChildren(draw(items)));
  holder.append(more, make("p", { className: "paper" }, `Not printed: ${(items.length - count).toLocaleString("en")} more.`));
  return holder;
}
