// A start says of each file that it does not have that it is not there: a wall of lines that buries what follows.

import { lineText } from "./data.js";

const OF_MISSING_FILES = new Set(["file.not_opened", "file.not_taken_over"]);
const FEW = 3; // so many stay as they are

const fileOf = (line) => lineText(line).match(/[^/\s]+(?=[\s-]*$)/)?.[0] ?? "";

/**
 * The lines of a list, in order, those of missing files of one moment as one: that has `folds`, its words and its lines.
 * @param {any[]} lines
 * @param {Set<number>} open moments whose lines stay
 */
export function fold(lines, open) {
  const byTime = new Map();
  for (const line of lines) {
    if (!OF_MISSING_FILES.has(line.shape.id) || open.has(line.t)) continue;
    if (!byTime.has(line.t)) byTime.set(line.t, []);
    byTime.get(line.t).push(line);
  }
  return lines.flatMap((line) => {
    const wall = OF_MISSING_FILES.has(line.shape.id) ? byTime.get(line.t) : undefined;
    if (!wall || wall.length <= FEW) return [line];
    if (line !== wall[0]) return [];
    const files = [...new Set(wall.map(fileOf))];
    const words = `${files.length} files not found, in ${wall.length} lines: ${files.join(" ")}`;
    return [{ t: line.t, shape: line.shape, folds: { words, lines: wall } }];
  });
}
