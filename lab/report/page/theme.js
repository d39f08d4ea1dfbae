// Light or dark: as the system says, until the reader chooses.

import { $ } from "./dom.js";

const system = matchMedia("(prefers-color-scheme: dark)");

/** Tells of every change, not of the theme at the start. */
export function startTheme(onChange) {
  const root = document.documentElement;
  const apply = (isDark) => {
    root.dataset.theme = isDark ? "dark" : "light";
    $("theme").textContent = isDark ? "☀ Light" : "☾ Dark";
    $("theme").setAttribute("aria-label", isDark ? "Switch to the light theme" : "Switch to the dark theme");
  };
  let isChosen = false;
  const change = (isDark) => {
    apply(isDark);
    onChange();
  };
  system.addEventListener("change", () => !isChosen && change(system.matches));
  $("theme").addEventListener("click", () => {
    isChosen = true;
    change(root.dataset.theme !== "dark");
  });
  apply(system.matches);
}
