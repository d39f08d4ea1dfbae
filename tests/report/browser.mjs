// A headless Chromium for the tests of the page, by puppeteer-core and Debian's chromium.

import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { pathToFileURL } from "node:url";
import puppeteer from "puppeteer-core";

const FLAGS = [
    "--headless",
    "--no-sandbox",
    "--disable-gpu",
    "--disable-quic",
    "--no-first-run",
    "--disable-background-networking",
    "--disable-component-update",
    "--disable-sync",
    "--disable-dev-shm-usage",
    "--hide-scrollbars",
];

export class Browser {
    static async start() {
        const browser = new Browser();
        browser.profile = mkdtempSync(join(tmpdir(), "vorn-browser-"));
        browser.process = await puppeteer.launch({
            executablePath: "/usr/bin/chromium",
            args: [...FLAGS, `--user-data-dir=${browser.profile}`],
            ignoreDefaultArgs: true,
            pipe: true,
            protocolTimeout: 120000,
        });
        browser.page = await browser.process.newPage();
        browser.#watch();
        return browser;
    }

    #watch() {
        this.errors = [];
        this.requests = [];
        this.page.on("console", (message) => ["error", "warn"].includes(message.type()) && this.errors.push(message.text()));
        this.page.on("pageerror", (error) => this.errors.push(String(error)));
        this.page.on("request", (request) => this.requests.push(request.url()));
    }

    resize(width, height, isPhone = false) {
        return this.page.setViewport({ width, height, deviceScaleFactor: isPhone ? 2 : 1, isMobile: isPhone, hasTouch: isPhone });
    }

    theme(name) {
        return this.page.emulateMediaFeatures([{ name: "prefers-color-scheme", value: name }]);
    }

    /** Opens a file and waits until the page is ready; gives the milliseconds that the page says it took. */
    async open(file, hash = "") {
        this.errors.length = this.requests.length = 0;
        await this.page.goto("about:blank");
        await this.page.goto(pathToFileURL(file).href + hash);
        await this.until("document.documentElement.dataset.ready");
        this.requests = this.requests.filter((url) => url !== "about:blank" && !url.startsWith("blob:") && !url.startsWith("data:"));
        return Number(await this.run("document.documentElement.dataset.ready"));
    }

    /** The value of an expression in the page. */
    run(expression) {
        return this.page.evaluate(expression);
    }

    until(expression, timeout = 60000) {
        return this.page.waitForFunction(expression, { timeout, polling: 20 });
    }

    /** All charts are drawn after a move of the axis, also those out of sight. */
    async settle() {
        await this.run("new Promise((resolve) => requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(resolve, 120))))");
    }

    /** Presses at one place of the window, moves to another, and lets go. */
    async drag([x1, y1], [x2, y2]) {
        const { mouse } = this.page;
        await mouse.move(x1, y1);
        await mouse.down();
        await mouse.move((x1 + x2) / 2, y2);
        await mouse.move(x2, y2);
        await mouse.up();
        await this.settle();
    }

    move([x, y]) {
        return this.page.mouse.move(x, y);
    }

    async keys(...names) {
        for (const name of names) await this.page.keyboard.press(name);
        await this.settle();
    }

    async picture(isWholePage = true) {
        return Buffer.from(await this.page.screenshot({ fullPage: isWholePage }));
    }

    async stop() {
        await this.process?.close();
        rmSync(this.profile, { recursive: true, force: true, maxRetries: 5 });
    }
}
