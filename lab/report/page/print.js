// The page on paper: the light theme, charts as wide as the paper, every decision.

import { setTheme } from "./theme.js";

/** `draw` draws all anew in the width that the page then has. */
export function startPrint(story, draw) {
  const root = document.documentElement;
  let before = "";
  addEventListener("beforeprint", () => {
    before = root.dataset.theme ?? "light";
    setTheme("light");
    root.classList.add("on-paper");
    story.makeAll();
    draw();
  });
  addEventListener("afterprint", () => {
    root.classList.remove("on-paper");
    setTheme(before);
    draw();
  });
}
