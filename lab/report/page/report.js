// Puts the page together from the run's data.

import { Charts } from "./charts.js";
import { Clock } from "./clock.js";
import { fillOther } from "./compare.js";
import { readColumns, readLog } from "./data.js";
import { $ } from "./dom.js";
import { fillFigures } from "./figures.js";
import { DAY, HOUR, duration, number } from "./format.js";
import { fillHistogram } from "./heatmap.js";
import { Places, copyLink } from "./link.js";
import { Log } from "./log.js";
import { addErrors } from "./panels.js";
import { startPrint } from "./print.js";
import { Samples } from "./samples.js";
import { fileName, samplesCsv, savePicture, saveText } from "./save.js";
import { fillSessions } from "./sessions.js";
import { breathe, datum, jsonDatum, start } from "./start.js";
import { Story } from "./story.js";
import { fillSummary } from "./summary.js";
import { fillCost, fillWorth } from "./tables.js";
import { startTheme } from "./theme.js";
import { fillHead, fillVerdict } from "./verdict.js";

const CLOSE_S = DAY; // a chosen moment is shown with at most this much around it
const LINE_CLOSE_S = HOUR;

async function readSamples(id, described, gaps) {
  const samples = new Samples(readColumns(await datum(id), described.columns, described.rows), described.rows, gaps);
  return { samples, against: addErrors(samples) };
}

async function load() {
  const run = await jsonDatum("run");
  return { run, ...(await readSamples("samples", run.samples, run.gaps)) };
}

function fillNote({ cycles, cycles_per_bucket: per }, samples) {
  if (per === 1) return;
  $("charts-note").textContent =
    `${number(cycles)} cycles are drawn in steps of ${number(per)} (${duration(samples.longestStep())}), each with its ` +
    "mean, its least and its greatest value: no peak is lost. Around the daemon’s actions every cycle is kept.";
}

/** The page's parts, and how they move each other. */
class Page {
  constructor(run, samples, against) {
    this.run = run;
    this.samples = samples;
    /** @type {Samples|null} */
    this.other = null;
    this.clock = new Clock(run.clock);
    fillHead(run, this.clock);
    fillNote(run.samples, samples);
    fillSummary($("summary"), run, samples);
    fillVerdict(run, samples, this.clock, (t) => this.show(t, CLOSE_S));
    this.charts = new Charts(run, samples, this.clock, against);
    this.story = new Story(run.story, this.clock, {
      choose: (decision) => this.choose(decision),
      link: (button, { t, index }) => copyLink(button, { t, span: this.charts.axis.span, d: index }),
      line: ({ line, t }) => this.log?.showLine(this.log.closest(line, t)),
      filter: (shown) => this.charts.bands.showDecisions(shown),
    });
    this.charts.onDecision = (decision) => this.choose(decision);
    this.places = new Places(
      () => this.#here(),
      (place) => this.go(place),
    );
    this.charts.onView = () => this.#moved();
    $("figures").addEventListener("toggle", () => this.#fillFigures());
    $("back").addEventListener("click", () => $("story").scrollIntoView({ block: "start" }));
    this.#offerFiles();
  }

  /** What is further down, once what is in sight stands. */
  async fillRest() {
    const { run, samples, clock } = this;
    await this.charts.openRest();
    this.drawMap = fillHistogram($("histogram-body"), run.stress, samples, clock);
    fillSessions($("sessions-body"), run.sessions, clock, (t, span) => this.show(t, span));
    fillWorth($("worth-body"), run);
    fillCost($("cost-body"), run);
    fillOther(
      run.other,
      run.title,
      clock,
      (t) => this.show(t, CLOSE_S),
      (isOn) => this.#showOther(isOn),
    );
    await breathe();
    const lines = readLog(run.log);
    await breathe();
    this.log = new Log(
      run,
      lines,
      clock,
      (line) => this.show(line.t, LINE_CLOSE_S),
      (button, line) => copyLink(button, { t: line.t, span: this.charts.axis.span, line: line.index }),
    );
    startTheme(() => this.#redraw());
    startPrint(this.story, () => this.#redraw(true));
    this.places.start();
  }

  #redraw(inFull = false) {
    if (inFull) this.charts.refreshNow();
    else this.charts.redraw();
    this.drawMap();
  }

  async #showOther(isOn) {
    this.other ??= (await readSamples("other-samples", this.run.other.samples, this.run.gaps)).samples;
    this.charts.showOther(isOn ? this.other : null);
  }

  #offerFiles() {
    const { title } = this.run;
    $("save-samples").addEventListener("click", () => {
      const { min, max } = this.charts.axis;
      saveText(fileName(title, "samples.csv"), samplesCsv(this.samples, this.clock, min, max), "text/csv");
    });
    for (const chart of this.charts.charts) {
      chart.save.addEventListener("click", () =>
        savePicture(fileName(title, `${chart.panel.title.replaceAll(" ", "_").toLowerCase()}.png`), chart),
      );
    }
  }

  #moved() {
    this.places.moved();
    clearTimeout(this.figuring);
    this.figuring = setTimeout(() => this.#fillFigures(), 200);
  }

  #fillFigures() {
    const { min, max } = this.charts.axis;
    if ($("figures").open) fillFigures(this.samples, this.clock, min, max);
  }

  #here() {
    const { axis } = this.charts;
    return { t: (axis.min + axis.max) / 2, span: axis.span, d: this.story.chosen?.index ?? null };
  }

  /** Goes to what an address says; null: the whole run, nothing chosen. */
  go(place) {
    // At the start all is drawn as it should be.
    if (!place && this.charts.axis.isWhole && !this.story.chosen && this.charts.chosen === null) return;
    const decision = place?.d === null || !place ? null : (this.run.story.decisions[place.d] ?? null);
    const line = place?.line === null || !place ? null : this.log.lines[place.line];
    this.story.mark(decision);
    this.charts.mark(decision?.t ?? line?.t ?? null);
    if (line) this.log.showLine(place.line);
    if (!place) {
      this.charts.axis.whole();
      return;
    }
    const t = place.t ?? decision?.t ?? line?.t ?? 0;
    const span = place.span ?? CLOSE_S;
    this.charts.axis.set(t - span / 2, t + span / 2);
  }

  /** A decision: its moment on the axis, and its place in the list. */
  choose(decision) {
    $("back").hidden = false;
    this.story.mark(decision);
    this.show(decision.t, CLOSE_S, matchMedia("(max-width: 1099px)").matches);
  }

  show(t, span, isFar = true) {
    this.charts.show(t, span);
    if (isFar) $("time").scrollIntoView({ block: "start" });
  }
}

start(async (drawn) => {
  const { run, samples, against } = await load();
  const page = new Page(run, samples, against);
  drawn();
  await breathe();
  await page.fillRest();
});
