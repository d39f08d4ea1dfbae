// What is drawn over time: panels of channels, and rows of states.

// A channel: its name in the data, what it is called, the colour (a CSS variable), the dash of its line, and how
// its number becomes the panel's unit. A "step" channel keeps its value until the next one. Readings outside
// `sane` (a garbled node) do not stretch the panel: the line leaves it, and the panel says so.
export const PANELS = [
  {
    title: "Voltage", unit: "V", digits: 3, height: 190,
    channels: [
      { name: "voltage_mv", label: "Cell", colour: "--voltage", scale: 0.001 },
      { name: "ocv_mv", label: "Open circuit, estimated", colour: "--voltage", dash: [2, 3], scale: 0.001 },
      { name: "toc_mv", label: "Top of charge", colour: "--toc", dash: [8, 4], width: 2, scale: 0.001, step: true },
    ],
    leastSpan: 0.2, sane: [0, 6],
  },
  {
    title: "Current", unit: "A", digits: 2, height: 120,
    channels: [
      { name: "current_ma", label: "Into the cell", colour: "--current", scale: 0.001 },
      { name: "current_average_ma", label: "Average", colour: "--current", dash: [2, 3], scale: 0.001 },
    ],
    leastSpan: 0.2, sane: [-20, 20],
  },
  {
    title: "Temperature", unit: "°C", digits: 1, height: 120,
    channels: [{ name: "temperature_decic", label: "Battery", colour: "--temperature", scale: 0.1 }],
    leastSpan: 5, sane: [-40, 120],
  },
  {
    title: "State of charge", unit: "%", digits: 1, height: 150,
    channels: [
      { name: "soc_estimated_mpct", label: "Estimated", colour: "--estimated", scale: 0.001 },
      { name: "soc_displayed_pct", label: "Displayed", colour: "--displayed", dash: [8, 4], scale: 1, step: true },
      { name: "soc_true_mpct", label: "True", colour: "--true", dash: [2, 3], width: 2, scale: 0.001 },
      { name: "soc_gauge_pct", label: "Gauge", colour: "--gauge", dash: [10, 3, 2, 3], scale: 1, step: true },
    ],
    leastSpan: 10, sane: [-20, 200],
  },
  {
    title: "Stress hours", unit: "h", digits: 0, height: 110,
    channels: [{ name: "stress_h", label: "Lifetime", colour: "--stress", scale: 1, step: true }],
    leastSpan: 20, sane: [0, 1e6],
  },
  {
    title: "Capacity left", unit: "%", digits: 1, height: 110,
    channels: [{ name: "capacity_left_mpct", label: "Of the new cell", colour: "--true", scale: 0.001 }],
    leastSpan: 2, sane: [0, 110],
  },
];

// In the order in which they are stacked, each with its own pattern.
export const STATUSES = [
  { name: "status_charging", label: "Charging", pattern: "solid" },
  { name: "status_full", label: "Full", pattern: "lines" },
  { name: "status_not_charging", label: "Not charging", pattern: "dots" },
  { name: "status_discharging", label: "Discharging", pattern: "pale" },
  { name: "status_unknown", label: "Unknown", pattern: "cross" },
];

export const FLAGS = [
  { name: "charge_timer", label: "Charging stopped: charge timer", colour: "--stop" },
  { name: "thermal", label: "Charging stopped: temperature rise", colour: "--stop" },
  { name: "precharge", label: "Charging stopped: precharge fault", colour: "--stop" },
  { name: "lowered_for_good", label: "Voltage lowered for good: battery stress", colour: "--toc" },
  { name: "lowered_for_now", label: "Voltage lowered for now: pulldown", colour: "--toc" },
  { name: "landing", label: "Estimate: landing at the top of charge", colour: "--estimated" },
  { name: "smoothing", label: "Estimate: smoothing the display", colour: "--estimated" },
];

// How a decision is marked: its shape, drawn at (x, y) with radius r.
export const WEIGHTS = {
  action: { label: "Actions", glyph: "▲" },
  finding: { label: "Findings", glyph: "◯" },
  routine: { label: "Routine", glyph: "│" },
};
