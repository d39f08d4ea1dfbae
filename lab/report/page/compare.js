// A second run beside the first: its curves, and the decisions that only one of the two took.

import { $, longList, make, toggle } from "./dom.js";
import { number, plural } from "./format.js";
import { WEIGHTS } from "./panels.js";

const DIFFERENCES_SHOWN = 12;

/** `show(t)` moves the axis, `draw(isOn)` puts the other run's curves into the charts. */
export function fillOther(other, title, clock, show, draw) {
  if (!other) return;
  $("other").hidden = false;
  $("other-heading").textContent = `Compared: ${other.title}`;
  if (other.samples) $("other-choice").append(toggle(`Dotted lines: ${other.title}`, false, draw));
  const { differences, differences_seen: seen, same } = other;
  const body = $("other-body");
  if (!other.samples) body.append(make("p", {}, "The two runs are the same in every cycle."));
  body.append(
    make(
      "p",
      { className: "muted" },
      seen === 0
        ? `Both took the same ${plural(same, "decision")}.`
        : `${plural(seen, "decision")} of one run alone, the first ones first; ${number(same)} are the same.`,
    ),
  );
  const item = (each) => {
    const button = make("button", { type: "button", className: "plain" }, clock.short(each.t));
    button.addEventListener("click", () => show(each.t));
    return make(
      "li",
      { className: each.weight },
      make("span", { className: "glyph", "aria-hidden": "true" }, WEIGHTS[each.weight].glyph),
      button,
      make("b", {}, each.of_second ? other.title : title),
      make("span", {}, each.sentence),
    );
  };
  if (!seen) return;
  const left = plural(seen - differences.length, "further one");
  body.append(longList(differences, DIFFERENCES_SHOWN, (some) => make("ol", { className: "differences" }, ...some.map(item))));
  if (seen > differences.length) body.append(make("p", { className: "muted small" }, `${left} left out.`));
}
