// Each stretch of time on a charger: when, how much, how warm, and why it ended.

import { longList, make, table } from "./dom.js";
import { HOUR, duration, number, plural } from "./format.js";

const SESSIONS_SHOWN = 50; // more are made when asked for
const ENDS = {
  going_on: "goes on at the end of the run",
  unplugged: "unplugged",
  full: "unplugged when full",
  off: "the daemon was not running",
};

export function fillSessions(place, { sessions, seen }, clock, show) {
  if (!sessions.length) {
    place.append(make("p", { className: "empty" }, "No charge in this run, or no status that tells."));
    return;
  }
  const total = sessions.reduce((sum, each) => sum + each.mah, 0) / 1000;
  const count = Math.max(seen, sessions.length);
  place.append(make("p", { className: "muted" }, `${plural(count, "charge")}, ${number(total, 2)} Ah in all.`));
  const headings = ["From", "Lasted", "Charge", "State of charge", "Peak", "Ended"];
  const draw = (some) =>
    make(
      "div",
      { className: "scroll", tabIndex: 0, role: "region", "aria-label": "Charge sessions" },
      table(
        headings,
        some.map((each) => row(each, clock, show)),
      ),
    );
  place.append(longList(sessions, SESSIONS_SHOWN, draw));
  if (count > sessions.length) place.append(make("p", { className: "muted small" }, `The first ${number(sessions.length)} are kept.`));
}

function row(session, clock, show) {
  const { from_t, to_t, mah, unmeasured_s, from_pct, to_pct, peak_decic, stopped, was_full: wasFull, end } = session;
  const when = make("button", { type: "button", className: "plain" }, clock.short(from_t));
  when.addEventListener("click", () => show((from_t + to_t) / 2, Math.max(2 * (to_t - from_t), HOUR)));
  // Where a part was not measured, what is known is less than all.
  const charge = `${unmeasured_s > 0 ? "at least " : ""}${number(mah / 1000, 2)} Ah`;
  const percent = (value) => (value === null ? "?" : number(value));
  return [
    when,
    duration(to_t - from_t),
    charge,
    `${percent(from_pct)} – ${percent(to_pct)} %`,
    peak_decic === null ? "–" : `${number(peak_decic / 10, 1)} °C`,
    `${ENDS[end]}${end === "unplugged" ? (wasFull ? "; had been full" : " before full") : ""}${stopped ? "; charging was stopped" : ""}`,
  ];
}
