// Light or dark: as the system says, until the reader chooses; the choice is kept. before_paint.js sets it before the first
// paint.

import { forgetColours } from "./colours.js";
import { $ } from "./dom.js";

const KEY = "vorn-report-theme";
const system = matchMedia("(prefers-color-scheme: dark)");
const forced = matchMedia("(forced-colors: active)");

/** Where there is no store the choice lasts as long as the page. */
function keep(theme) {
  try {
    localStorage.setItem(KEY, theme);
  } catch {
    // no store
  }
}

function kept() {
  try {
    return localStorage.getItem(KEY);
  } catch {
    return null;
  }
}

export function setTheme(theme) {
  document.documentElement.dataset.theme = theme;
  forgetColours();
}

/** Tells of every change, not of the theme at the start. */
export function startTheme(onChange) {
  const root = document.documentElement;
  const apply = (isDark) => {
    setTheme(isDark ? "dark" : "light");
    $("theme").textContent = isDark ? "☀ Light" : "☾ Dark";
    $("theme").setAttribute("aria-label", isDark ? "Switch to the light theme" : "Switch to the dark theme");
  };
  const change = (isDark) => {
    apply(isDark);
    onChange();
  };
  const wanted = () => (forced.matches || !kept() ? system.matches : kept() === "dark");
  for (const each of [system, forced]) each.addEventListener("change", () => change(wanted()));
  $("theme").addEventListener("click", () => {
    const isDark = root.dataset.theme !== "dark";
    keep(isDark ? "dark" : "light");
    change(isDark);
  });
  apply(root.dataset.theme === "dark");
}
