// Where the page is, in its address: #t=SECONDS&span=SECONDS, with &d=NUMBER for a decision and &line=NUMBER for a line of
// the log. Back and forward go through the places that were stayed at.

const SETTLE_MS = 400; // a place is one when nothing has moved for so long

/** What an address says, or null when it says nothing. */
export function readPlace(hash) {
  const words = new URLSearchParams(hash.replace(/^#/, ""));
  const of = (name) => (words.has(name) && Number.isFinite(Number(words.get(name))) ? Number(words.get(name)) : null);
  const place = { t: of("t"), span: of("span"), d: of("d"), line: of("line") };
  return place.t === null && place.d === null && place.line === null ? null : place;
}

export function placeHash({ t, span, d = null, line = null }) {
  const words = [`t=${Math.round(t)}`, `span=${Math.round(span)}`];
  if (d !== null) words.push(`d=${d}`);
  if (line !== null) words.push(`line=${line}`);
  return `#${words.join("&")}`;
}

/** Keeps the address and the page together. */
export class Places {
  /**
   * @param {() => {t: number, span: number, d?: number|null, line?: number|null}} here
   * @param {(place: any) => void} go
   */
  constructor(here, go) {
    this.here = here;
    this.go = go;
    this.known = ""; // the place that the address has, or that it need not have
    addEventListener("popstate", () => this.#follow());
  }

  /** Goes where the address says. */
  start() {
    this.#follow();
  }

  #follow() {
    clearTimeout(this.timer);
    this.go(readPlace(location.hash));
    this.known = placeHash(this.here());
  }

  /** The page has moved. */
  moved() {
    clearTimeout(this.timer);
    this.timer = setTimeout(() => {
      const hash = placeHash(this.here());
      if (hash === this.known) return;
      this.known = hash;
      history.pushState(null, "", hash);
    }, SETTLE_MS);
  }
}

/** Puts the whole address of a place on the clipboard, and says so on the button for a moment. */
export function copyLink(button, place) {
  const address = location.href.replace(/#.*$/, "") + placeHash(place);
  const label = button.textContent;
  const tell = (text) => {
    button.textContent = text;
    setTimeout(() => (button.textContent = label), 1500);
  };
  const copied = navigator.clipboard?.writeText(address) ?? Promise.reject(new Error("no clipboard"));
  // Without the clipboard the address bar has it.
  copied.then(
    () => tell("Copied"),
    () => {
      history.replaceState(null, "", placeHash(place));
      tell("In the address");
    },
  );
}
