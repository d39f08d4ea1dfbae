// What is shown, as files: samples, log lines, a picture of a panel.

import { css } from "./colours.js";
import { make } from "./dom.js";

/** Offers a file to the reader. */
function offer(name, blob) {
  const link = make("a", { href: URL.createObjectURL(blob), download: name });
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
}

export function saveText(name, text, type = "text/plain") {
  offer(name, new Blob([text], { type: `${type};charset=utf-8` }));
}

/** A name for a file of this run. */
export function fileName(title, what) {
  const stem =
    title
      .toLowerCase()
      .replace(/[^a-z0-9]+/g, "_")
      .replace(/^_+|_+$/g, "") || "run";
  return `${stem.slice(0, 60)}_${what}`;
}

const cell = (value) => (value === null || value === undefined ? "" : String(Math.round(value * 1000) / 1000));

/**
 * The rows between two moments as CSV: their time, each channel's mean, least and greatest, the share of time in each
 * state. The names are those of the page's data, which say the units.
 */
export function samplesCsv(samples, clock, min, max) {
  const channels = Object.entries(samples.channels);
  const states = Object.keys(samples.states);
  const heads = channels.flatMap(([name]) => [name, `${name}.least`, `${name}.greatest`]);
  const lines = [["t_s", "length_s", "utc", ...heads, ...states].join(",")];
  for (let i = Math.max(samples.at(min), 0); i < samples.count && samples.first[i] <= max; ++i) {
    if (samples.end[i] < min) continue;
    const values = channels.flatMap(([, { has, mean, least, greatest }]) =>
      has[i] ? [cell(mean[i]), cell(least[i]), cell(greatest[i])] : ["", "", ""],
    );
    const shares = states.map((state) => cell(samples.share(state, i)));
    lines.push([samples.first[i], samples.end[i] - samples.first[i], clock.utc(samples.first[i]), ...values, ...shares].join(","));
  }
  return `${lines.join("\n")}\n`;
}

/** A chart with its title and keys, as it stands. */
export function savePicture(name, chart) {
  const source = chart.plot.ctx.canvas;
  const ratio = devicePixelRatio;
  const head = 26 * ratio;
  const picture = Object.assign(document.createElement("canvas"), { width: source.width, height: source.height + head });
  const on = picture.getContext("2d");
  on.fillStyle = css("--card");
  on.fillRect(0, 0, picture.width, picture.height);
  on.fillStyle = css("--text");
  on.font = `600 ${13 * ratio}px system-ui, sans-serif`;
  on.fillText(`${chart.panel.title}  ${chart.panel.unit}`, 8 * ratio, 17 * ratio);
  let x = 8 * ratio + on.measureText(`${chart.panel.title}  ${chart.panel.unit}`).width + 18 * ratio;
  on.font = `${12 * ratio}px system-ui, sans-serif`;
  for (const { name: channel, label, colour } of chart.channels) {
    if (chart.hidden.has(channel)) continue;
    on.fillStyle = css(colour);
    on.fillText(`— ${label}`, x, 17 * ratio);
    x += on.measureText(`— ${label}`).width + 14 * ratio;
  }
  on.drawImage(source, 0, head);
  picture.toBlob((blob) => blob && offer(name, blob));
}
