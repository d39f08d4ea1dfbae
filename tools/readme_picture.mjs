// Makes docs/report.png, the README's picture: script/setup test && script/build release && node tools/readme_picture.mjs

import { execFileSync } from "node:child_process";
import { mkdtempSync, rmSync, symlinkSync, writeFileSync } from "node:fs";
import { tmpdir } from "node:os";
import { join, resolve } from "node:path";
import { fileURLToPath } from "node:url";
import { Browser } from "../tests/report/browser.mjs";

const WIDTH = 1280;
const HEIGHT = 800;

const source = fileURLToPath(new URL("..", import.meta.url));
const lab = process.argv[2] ?? join(source, "build/release/lab/vorn-lab");
// The page shows the command, so what it names must be there for everyone.
const folder = mkdtempSync(join(tmpdir(), "vorn-picture-"));
const page = join(folder, "desk_charger.html");
symlinkSync(join(source, "scenarios"), join(folder, "scenarios"));
execFileSync(resolve(lab), ["simulate", "scenarios/desk_charger.toml", "--report", "desk_charger.html"], { cwd: folder });

const browser = await Browser.start();
try {
    await browser.resize(WIDTH, HEIGHT);
    await browser.theme("light");
    await browser.open(page);
    await browser.run(`document.querySelector("#story-filter button:last-child").click()`); // no routine
    // The moment at which the daemon lowers the voltage, in sight of the days before it.
    await browser.run(`document.querySelector("#decisions .action").click()`);
    await browser.run(`document.querySelector("[data-axis=whole]").click()`);
    await browser.run(`scrollTo(0, 0)`);
    writeFileSync(join(source, "docs/report.png"), await browser.picture(false));
} finally {
    await browser.stop();
    rmSync(folder, { recursive: true, force: true });
}
