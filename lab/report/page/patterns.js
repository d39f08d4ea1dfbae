// What fills the rows of states: patterns, so that colour alone tells nothing.

import { css } from "./colours.js";

const SIZE = 6; // of a pattern's tile, in CSS pixels

/** A fill for a pattern's name: "solid", "bars", "lines", "dots", "cross" or "hatch". */
export function patternFill(ctx, pattern, colour = "--status") {
  if (pattern === "solid") return css(colour);
  const size = SIZE * devicePixelRatio;
  const tile = Object.assign(document.createElement("canvas"), { width: size, height: size });
  const on = tile.getContext("2d");
  on.fillStyle = css("--track");
  on.fillRect(0, 0, size, size);
  on.fillStyle = on.strokeStyle = css(colour);
  on.lineWidth = 1.5 * devicePixelRatio;
  const line = (x1, y1, x2, y2) => (on.moveTo(x1, y1), on.lineTo(x2, y2));
  const slanted = () => {
    line(0, size, size, 0);
    line(-size / 2, size / 2, size / 2, -size / 2);
    line(size / 2, size * 1.5, size * 1.5, size / 2);
  };
  on.beginPath();
  if (pattern === "bars") line(0, size / 2, size, size / 2);
  else if (pattern === "dots") on.arc(size / 2, size / 2, size / 3.6, 0, 2 * Math.PI);
  else slanted();
  if (pattern === "cross") line(0, 0, size, size);
  if (pattern === "dots") on.fill();
  else on.stroke();
  return ctx.createPattern(tile, "repeat");
}
