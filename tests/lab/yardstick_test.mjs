// How good the estimate is on a recording: vorn-lab yardstick. node --test, with VORN_LAB as the program.

import assert from "node:assert/strict";
import { existsSync } from "node:fs";
import { test } from "node:test";
import { askAsDocumented, at, get, labMust, labRefuses, put } from "../support/lab.mjs";

const recordingOf = (name, ...words) => JSON.parse(labMust("yardstick", "--json", ...words, name)).recordings[0];

/** A day of a phone, and the same with a column of the truth that says `shift` more than its gauge. */
function record(shift) {
    put("x.toml", '[[phase]]\nfor = "9 h"\nload_mw = 1500\n[[phase]]\nfor = "4 h"\ncharger = "wall"\n[cell]\nsoc_pct = 90\n');
    labMust("simulate", "--quiet", "x.toml", "--trace", "gauge.csv");
    const [head, ...rows] = get("gauge.csv").trimEnd().split("\n");
    const level = head.split(",").indexOf("capacity");
    const truth = rows.map((row) => `${row},${Number(row.split(",")[level]) + shift}`);
    put("truth.csv", [`${head},soc_true_pct`, ...truth].join("\n"));
    return rows;
}

test("the figures say how far the estimate is off the reference, in the table as in the JSON", () => {
    const rows = record(-7);
    const [gauge, truth] = [recordingOf("gauge.csv"), recordingOf("truth.csv")];
    assert.deepEqual([gauge.name, gauge.rows, gauge.spacing_s], ["gauge", rows.length, 10]);
    assert.deepEqual(
        gauge.runs.map((run) => `${run.rows}, ${run.start}`),
        ["as recorded, defaults", "as recorded, as shown", "every 10 s, defaults", "every 10 s, as shown"],
    );
    for (const [i, run] of gauge.runs.entries()) {
        assert.ok(Math.abs(truth.runs[i].estimated.mean_pct - 7 - run.estimated.mean_pct) < 1e-6);
        assert.ok(run.estimated.mean_magnitude_pct <= run.estimated.greatest_pct);
    }
    const { mean_pct, mean_magnitude_pct, greatest_pct } = gauge.runs[0].estimated;
    const figures = [mean_pct, mean_magnitude_pct, greatest_pct].map((each) => Math.abs(each).toFixed(1));
    const [, , , row] = labMust("yardstick", "gauge.csv").split("\n");
    assert.deepEqual(row.match(/[\d.]+/g).slice(0, 3), figures);
    assert.equal(recordingOf("gauge.csv", "--toc", "4200").toc_mv, 4200);
    askAsDocumented("yardstick", labMust("yardstick", "--json", "gauge.csv"));
    labMust("yardstick", "gauge.csv", "truth.csv", "--report", "page.html");
    assert.equal(get("page.html").match(/<svg /g).length, 2);
    assert.ok(get("page.html").includes("every 10 s, as shown"));
});

test("without an estimate there is no figure, and what cannot be read leaves no page", () => {
    record(0);
    const [head, row] = get("gauge.csv").split("\n");
    put("still.csv", `${head}\n${row.replace(/^\d+/, "0")}\n`);
    assert.equal(recordingOf("still.csv").rows, 1);
    put("none.csv", "elapsed_s,voltage_now\n0,4000000\n");
    for (const [words, why] of [
        [["none.csv"], /none\.csv: no reference: in no row/],
        [["gauge.csv", "none.csv"], /none\.csv: no reference/],
        [["nothing.csv"], /nothing\.csv: No such file/],
        [["gauge.csv", "--toc", "3999"], /--toc: not a top of charge from 4000 to 4450 mV: 3999/],
        [["gauge.csv", "--vendor", "XYZ"], /--vendor: no cell XYZ; there is ATL and LWN/],
        [["gauge.csv", "--drives", "--json"], /--json: of traces only/],
        [["--drives"], /--report: there is no TRACE/],
        [[], /--report: there is no TRACE|neither a TRACE nor --drives/],
    ])
        assert.match(labRefuses("yardstick", ...words, "--report", "page.html"), why);
    assert.match(labRefuses("yardstick", "gauge.csv", "--report", "gauge.csv"), /gauge\.csv/);
    assert.match(labRefuses("yardstick", "gauge.csv", "--json", "--report", "-"), /--json: standard output is taken/);
    assert.ok(!existsSync(at("page.html")));
});
