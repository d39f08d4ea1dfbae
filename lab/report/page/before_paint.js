// Before the first paint: the theme that the reader chose, or the system's (with forced colours always that); and a word
// when nothing else can start, also in a browser that knows nothing of what the page's script is written in.
(function () {
  var root = document.documentElement;
  var theme = null;
  try {
    theme = localStorage.getItem("vorn-report-theme");
  } catch (error) {
    theme = null;
  }
  if (!theme || matchMedia("(forced-colors: active)").matches)
    theme = matchMedia("(prefers-color-scheme: dark)").matches ? "dark" : "light";
  root.setAttribute("data-theme", theme);
  addEventListener("error", function (event) {
    var broken = document.getElementById("cannot-start");
    if (!broken || root.hasAttribute("data-drawn")) return;
    broken.textContent = "This page cannot start: " + event.message + ". It needs a browser of 2023 or later.";
    broken.hidden = false;
    root.setAttribute("data-drawn", "never");
  });
})();
