// A headless Chromium driven over WebDriver, with nothing but Node.js and Debian's chromium-driver.

import { spawn } from "node:child_process";
import { mkdtempSync, rmSync } from "node:fs";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { pathToFileURL } from "node:url";

const FLAGS = ["--headless=new", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
  "--disable-component-update", "--disable-sync", "--disable-dev-shm-usage", "--hide-scrollbars"];
const START_TIMEOUT_MS = 30000;

/** Starts chromedriver on a port of its own choice. */
async function startDriver() {
  const driver = spawn("chromedriver", ["--port=0"], { stdio: ["ignore", "pipe", "inherit"] });
  const port = await new Promise((resolve, reject) => {
    let said = "";
    driver.on("error", reject);
    driver.on("exit", () => reject(new Error(`chromedriver ended: ${said}`)));
    driver.stdout.on("data", (text) => {
      said += text;
      const found = said.match(/successfully on port (\d+)/);
      if (found) resolve(Number(found[1]));
    });
    setTimeout(() => reject(new Error(`chromedriver does not start: ${said}`)), START_TIMEOUT_MS).unref();
  });
  return { driver, address: `http://127.0.0.1:${port}` };
}

export class Browser {
  static async start() {
    const browser = new Browser();
    browser.profile = mkdtempSync(join(tmpdir(), "vorn-browser-"));
    Object.assign(browser, await startDriver());
    const options = { binary: "/usr/bin/chromium", args: [...FLAGS, `--user-data-dir=${browser.profile}`] };
    const capabilities = {
      alwaysMatch: {
        browserName: "chrome",
        "goog:chromeOptions": options,
        "goog:loggingPrefs": { browser: "ALL", performance: "ALL" },
      },
    };
    browser.session = (await browser.#call("POST", "/session", { capabilities })).sessionId;
    return browser;
  }

  async #call(method, path, body) {
    const response = await fetch(this.address + path, { method, body: body && JSON.stringify(body) });
    const { value } = await response.json();
    if (!response.ok) throw new Error(`${path}: ${value.message}`);
    return value;
  }

  #do(path, body = {}) {
    return this.#call("POST", `/session/${this.session}${path}`, body);
  }

  devtools(cmd, params = {}) {
    return this.#do("/goog/cdp/execute", { cmd, params });
  }

  resize(width, height, isPhone = false) {
    return this.devtools("Emulation.setDeviceMetricsOverride", { width, height, deviceScaleFactor: isPhone ? 2 : 1, mobile: isPhone });
  }

  theme(name) {
    return this.devtools("Emulation.setEmulatedMedia", { features: [{ name: "prefers-color-scheme", value: name }] });
  }

  /** Opens a file and waits until the page is ready; gives the milliseconds that the page says it took. */
  async open(file) {
    await this.told(); // of the empty page before
    await this.#do("/url", { url: pathToFileURL(file).href });
    await this.until("document.documentElement.dataset.ready");
    return Number(await this.run("document.documentElement.dataset.ready"));
  }

  /** The value of an expression in the page. */
  run(expression) {
    return this.#do("/execute/sync", { script: `return (${expression});`, args: [] });
  }

  async until(expression, timeoutMs = 10000) {
    for (const end = performance.now() + timeoutMs; performance.now() < end; ) {
      if (await this.run(expression)) return;
      await new Promise((resolve) => setTimeout(resolve, 20));
    }
    throw new Error(`never true in the page: ${expression}`);
  }

  async #mouse(actions) {
    const pointer = { type: "pointer", id: "mouse", parameters: { pointerType: "mouse" }, actions };
    await this.#do("/actions", { actions: [pointer] });
  }

  /** Presses at one place of the window, moves to another, and lets go. */
  drag([x1, y1], [x2, y2]) {
    return this.#mouse([{ type: "pointerMove", x: x1, y: y1 }, { type: "pointerDown", button: 0 },
      { type: "pointerMove", duration: 50, x: x2, y: y2 }, { type: "pointerUp", button: 0 }]);
  }

  move([x, y]) {
    return this.#mouse([{ type: "pointerMove", x, y }]);
  }

  keys(text) {
    const actions = [...text].flatMap((value) => [{ type: "keyDown", value }, { type: "keyUp", value }]);
    return this.#do("/actions", { actions: [{ type: "key", id: "keys", actions }] });
  }

  /** What the console and the network were told since the last call: {errors, requests}. */
  async told() {
    const errors = (await this.#do("/se/log", { type: "browser" })).filter(({ level }) => level === "SEVERE" || level === "WARNING");
    const events = (await this.#do("/se/log", { type: "performance" })).map(({ message }) => JSON.parse(message).message);
    const requests = events.filter(({ method }) => method === "Network.requestWillBeSent").map(({ params }) => params.request.url);
    return { errors: errors.map(({ message }) => message), requests };
  }

  async picture(isWholePage = true) {
    const { data } = await this.devtools("Page.captureScreenshot", { captureBeyondViewport: isWholePage });
    return Buffer.from(data, "base64");
  }

  async stop() {
    if (this.session) await this.#call("DELETE", `/session/${this.session}`).catch(() => {});
    this.driver?.removeAllListeners("exit");
    this.driver?.kill();
    rmSync(this.profile, { recursive: true, force: true, maxRetries: 5 });
  }
}
