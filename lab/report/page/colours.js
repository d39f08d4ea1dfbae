// The style sheet's colours for what is drawn on a canvas.

/** @type {Map<string, string>} */
const known = new Map();

/** The value of a variable of the style sheet. */
export function css(name) {
  let value = known.get(name);
  if (value === undefined) {
    value = getComputedStyle(document.documentElement).getPropertyValue(name).trim();
    known.set(name, value);
  }
  return value;
}

/** To be called when the theme has changed. */
export const forgetColours = () => known.clear();

/** [red, green, blue] of a colour "#rrggbb". */
const parts = (colour) => [1, 3, 5].map((at) => parseInt(colour.slice(at, at + 2), 16));

/** A colour so far, 0 to 1, on the way from one to another, and black or white, which can be read on it. */
export function shade(from, to, share) {
  const [a, b] = [parts(from), parts(to)];
  const mixed = a.map((value, i) => Math.round(value + (b[i] - value) * share));
  const linear = mixed.map((value) => (value <= 10 ? value / 3294.6 : ((value / 255 + 0.055) / 1.055) ** 2.4));
  const luminance = 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2];
  // Where the contrast with black and with white is the same, 4.58.
  return { background: `rgb(${mixed.join(" ")})`, text: luminance > 0.179 ? "#000000" : "#ffffff" };
}
