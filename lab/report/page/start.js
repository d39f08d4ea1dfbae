// What every page begins with: its data, and what is said when it cannot start.

import { unpack } from "./data.js";
import { $ } from "./dom.js";

/** The bytes that the page carries under a name. */
export const datum = (id) => unpack($(id).textContent);

/** The same, of JSON. */
export const jsonDatum = async (id) => JSON.parse(new TextDecoder().decode(await datum(id)));

/** Lets the browser paint and answer before what comes next; a timer would wait for four milliseconds, as timers in timers do. */
export const breathe = () =>
  new Promise((resolve) => {
    const { port1, port2 } = new MessageChannel();
    port1.onmessage = () => {
      port1.close();
      resolve(undefined);
    };
    port2.postMessage(null);
  });

/** Notes on <html> that a stage is reached, with the milliseconds since the page was asked for. */
const note = (stage) => (document.documentElement.dataset[stage] = String(Math.ceil(performance.now())));

/**
 * Runs the page's own script and shows the page when it is done, or from where it calls `drawn`; says so when it fails.
 * @param {(drawn: () => void) => Promise<void>} script
 */
export function start(script) {
  script(() => note("drawn")).then(
    () => note("ready"),
    (error) => {
      $("cannot-start").textContent = `This page cannot start: ${error?.message ?? error}. It needs a browser of 2023 or later.`;
      $("cannot-start").hidden = false;
      document.documentElement.dataset.drawn = "never";
    },
  );
}
