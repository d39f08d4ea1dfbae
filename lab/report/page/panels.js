// What is drawn over time: panels of channels, and rows of states.

// A channel: its name in the data, what it is called, the colour (a CSS variable), the dash of its line, and how
// its number becomes the panel's unit. A "step" channel keeps its value until the next one. Readings outside
// `sane` (a garbled node) do not stretch the panel: the line leaves it, and the panel says so. A panel with `floor`
// never shows less than that.
export const PANELS = [
  {
    title: "Voltage",
    unit: "V",
    digits: 3,
    height: 190,
    channels: [
      { name: "voltage_mv", label: "Cell", colour: "--voltage", scale: 0.001 },
      { name: "ocv_mv", label: "Open circuit, estimated", colour: "--voltage", dash: [2, 3], scale: 0.001 },
      { name: "toc_mv", label: "Top of charge", colour: "--toc", dash: [8, 4], width: 2, scale: 0.001, step: true },
    ],
    leastSpan: 0.2,
    sane: [0, 6],
  },
  {
    title: "Current",
    unit: "A",
    digits: 2,
    height: 120,
    channels: [
      { name: "current_ma", label: "Into the cell", colour: "--current", scale: 0.001 },
      { name: "current_average_ma", label: "Average", colour: "--current", dash: [2, 3], scale: 0.001 },
    ],
    leastSpan: 0.2,
    sane: [-20, 20],
  },
  {
    title: "Temperature",
    unit: "°C",
    digits: 1,
    height: 120,
    channels: [{ name: "temperature_decic", label: "Battery", colour: "--temperature", scale: 0.1 }],
    leastSpan: 5,
    sane: [-40, 120],
  },
  {
    title: "State of charge",
    unit: "%",
    digits: 1,
    height: 150,
    channels: [
      { name: "soc_estimated_cpct", label: "Estimated", colour: "--estimated", scale: 0.01 },
      { name: "soc_displayed_pct", label: "Displayed", colour: "--displayed", dash: [8, 4], scale: 1, step: true },
      { name: "soc_true_cpct", label: "True", colour: "--true", dash: [2, 3], width: 2, scale: 0.01 },
      { name: "soc_gauge_pct", label: "Gauge", colour: "--gauge", dash: [10, 3, 2, 3], scale: 1, step: true },
    ],
    leastSpan: 10,
    sane: [-20, 200],
  },
  {
    title: "Error of the state of charge",
    unit: "points",
    digits: 1,
    height: 120,
    channels: [
      { name: "error_estimated", label: "Estimated", colour: "--estimated", scale: 1 },
      { name: "error_displayed", label: "Displayed", colour: "--displayed", dash: [8, 4], scale: 1 },
      { name: "error_gauge", label: "Gauge", colour: "--gauge", dash: [10, 3, 2, 3], scale: 1 },
    ],
    leastSpan: 4,
    sane: [-200, 200],
  },
  {
    title: "Stress hours",
    unit: "h",
    digits: 0,
    height: 110,
    channels: [{ name: "stress_h", label: "Lifetime", colour: "--stress", scale: 1, step: true }],
    leastSpan: 20,
    sane: [0, 1e6],
    floor: 0,
  },
  {
    title: "Capacity left",
    unit: "%",
    digits: 2,
    height: 110,
    channels: [{ name: "capacity_left_mpct", label: "Of the new cell", colour: "--true", scale: 0.001 }],
    leastSpan: 2,
    sane: [0, 110],
    floor: 0,
  },
  {
    title: "Equivalent full cycles",
    unit: "",
    digits: 2,
    height: 90,
    channels: [{ name: "full_cycles_milli", label: "In this run", colour: "--current", scale: 0.001 }],
    leastSpan: 1,
    sane: [0, 1e6],
    floor: 0,
  },
  {
    title: "Resistance",
    unit: "mΩ",
    digits: 1,
    height: 100,
    channels: [{ name: "resistance_estimated_decimohm", label: "Estimated", colour: "--estimated", scale: 0.1, step: true }],
    leastSpan: 10,
    sane: [0, 2000],
    floor: 0,
  },
  {
    title: "True resistance",
    unit: "%",
    digits: 1,
    height: 90,
    channels: [{ name: "resistance_true_cpct", label: "Of the new cell", colour: "--true", scale: 0.01 }],
    leastSpan: 4,
    sane: [0, 1e4],
    floor: 0,
  },
];

// The errors are against the truth where it is known, and else against the gauge.
const PERCENT = {
  error_estimated: ["soc_estimated_cpct", 0.01],
  error_displayed: ["soc_displayed_pct", 1],
  error_gauge: ["soc_gauge_pct", 1],
};

/** Adds to the samples what is drawn but not recorded; gives what the errors are against. */
export function addErrors(samples) {
  const isTrue = samples.has("soc_true_cpct");
  const reference = isTrue ? ["soc_true_cpct", 0.01] : PERCENT.error_gauge;
  for (const [name, channel] of Object.entries(PERCENT)) {
    if (channel[0] !== reference[0]) samples.addDifference(name, channel, reference);
  }
  return isTrue ? "against true" : "against the gauge";
}

// Rows in which one state holds at a time, stacked in this order, each state with its own pattern.
export const STACKS = [
  {
    label: "Battery status",
    height: 26,
    states: [
      { name: "status_charging", label: "Charging", pattern: "solid" },
      { name: "status_full", label: "Full", pattern: "lines" },
      { name: "status_not_charging", label: "Not charging", pattern: "dots" },
      { name: "status_discharging", label: "Discharging", pattern: "bars" },
      { name: "status_unknown", label: "Unknown", pattern: "cross" },
    ],
  },
  {
    label: "Charger",
    height: 12,
    states: [
      { name: "charger_wall", label: "Wall charger", pattern: "solid" },
      { name: "charger_usb", label: "USB charger", pattern: "lines" },
    ],
  },
  {
    label: "Screen",
    height: 12,
    states: [
      { name: "screen_on", label: "Screen on", pattern: "solid" },
      { name: "screen_off", label: "Screen off", pattern: "bars" },
      { name: "screen_suspended", label: "Suspended", pattern: "dots" },
    ],
  },
  {
    label: "Landing of the estimate",
    height: 14,
    states: [
      { name: "landing_armed", label: "Armed", pattern: "bars" },
      { name: "landing_landing", label: "Landing", pattern: "lines" },
      { name: "landing_landed", label: "Landed", pattern: "dots" },
      { name: "landing_full", label: "Stays full", pattern: "solid" },
    ],
  },
];
export const STATUSES = STACKS[0].states;

export const FLAGS = [
  { name: "charge_timer", label: "Charging stopped: charge timer", colour: "--stop" },
  { name: "thermal", label: "Charging stopped: temperature rise", colour: "--stop" },
  { name: "precharge", label: "Charging stopped: precharge fault", colour: "--stop" },
  { name: "lowered_for_good", label: "Voltage lowered for good: battery stress", colour: "--toc" },
  { name: "lowered_for_now", label: "Voltage lowered for now: pulldown", colour: "--toc" },
  { name: "smoothing", label: "Estimate: smoothing the display", colour: "--estimated" },
];

// How a decision is marked: its shape, drawn at (x, y) with radius r.
export const WEIGHTS = {
  action: { label: "Actions", glyph: "▲" },
  finding: { label: "Findings", glyph: "◯" },
  routine: { label: "Routine", glyph: "│" },
};
