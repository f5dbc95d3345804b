// The page in a headless Chromium that draws without a graphics card.
import assert from "node:assert/strict";
import { after } from "node:test";
import { PNG } from "pngjs";
import puppeteer from "puppeteer-core";
import { waitFor } from "./programs.mjs";

const kDrawingWithoutCard = ["--use-angle=swiftshader", "--enable-unsafe-swiftshader"];

export function launch() {
  return puppeteer.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: ["--no-sandbox", "--headless=new", ...kDrawingWithoutCard],
    protocolTimeout: 60000,
  });
}

const open = new Set();
let browser; // a test file's own
/** To be called once by a test file that opens pages. */
export function useBrowser() {
  after(async () => {
    for (const page of open) await page.close();
    await (await browser)?.close();
  });
}

/** What is drawn, in lists that leave the browser. Runs in the page. */
function readShown() {
  const f = window.velmar.frame;
  if (!f) return null;
  const rows = (s, words) =>
    Array.from({ length: s.count }, (_, i) =>
      Array.from(f.floats.subarray(s.at + i * words, s.at + (i + 1) * words)),
    );
  return {
    index: f.index,
    number: f.number,
    arrivalMs: f.arrivalMs,
    joints: rows(f.bones, 10).map((bone) => bone.slice(1, 4)),
    labelled: rows(f.labelled, 6).map((marker) => marker.slice(1, 4)),
    plates: rows(f.plates, 7).map((p) => ({ force: p.slice(0, 3), centre: p.slice(3, 6) })),
  };
}

export class Page {
  /** Errors of the page: there are none to be. */
  errors = [];

  static async open(address, { width = 1280, height = 720, scheme = "dark" } = {}) {
    const page = new Page();
    open.add(page);
    browser ??= launch();
    page.tab = await (await browser).newPage();
    await page.tab.setViewport({ width, height });
    await page.tab.emulateMediaFeatures([{ name: "prefers-color-scheme", value: scheme }]);
    page.tab.on("pageerror", (error) => page.errors.push(String(error)));
    page.tab.on("request", (request) => {
      if (!request.url().startsWith(new URL(address).origin) && !/^(data|blob):/.test(request.url()))
        page.errors.push(`asks for ${request.url()}`);
    });
    await page.tab.goto(address);
    return page;
  }

  async close() {
    open.delete(this);
    await this.tab.close();
    assert.deepEqual(this.errors, []);
  }

  /** Runs in the page. */
  run(does, ...values) {
    return this.tab.evaluate(does, ...values);
  }

  /** Until what runs in the page comes to something true. */
  until(what, does, ...values) {
    return waitFor(what, () => this.run(does, ...values));
  }

  shown() {
    return this.run(readShown);
  }
  streams() {
    return this.until("a frame is drawn", () => window.velmar.pictures > 0 && window.velmar.frame !== null);
  }
  text() {
    return this.run(() => document.body.innerText);
  }
  status() {
    return this.run(() => document.querySelector("#status").innerText);
  }
  notices() {
    return this.run(() => [...window.velmar.notices].join("\n"));
  }
  untilNotice(expression) {
    return waitFor(`a notice like ${expression}`, async () => expression.test(await this.notices()));
  }
  untilIndex(index) {
    return this.until(`frame ${index} is shown`, (i) => window.velmar.frame?.index === i, index);
  }

  /** Follows, until a frame is shown that came after now. */
  async live() {
    await this.press("End");
    const now = await this.run(() => window.velmar.timeline.newest);
    await this.until(
      "it is live",
      (i) => window.velmar.timeline.mode === "live" && window.velmar.frame?.index > i,
      now,
    );
  }

  /** Holds what is shown, which is given back. */
  async stop() {
    await this.press("Space");
    await this.until("it is paused", () => window.velmar.timeline.mode === "paused");
    return this.shown();
  }

  /** Holds the frame of this place. */
  async hold(index) {
    await this.until(
      "the slider reaches so far",
      (i) => Number(document.querySelector("#timeline").max) >= i,
      index,
    );
    await this.run((i) => {
      const line = document.querySelector("#timeline");
      line.value = String(i);
      line.dispatchEvent(new Event("input", { bubbles: true }));
    }, index);
    await this.untilIndex(index);
    return this.shown();
  }

  async press(...keys) {
    for (const key of keys) await this.tab.keyboard.press(key);
  }

  /** Where places of the volume are on the page. */
  project(places) {
    return this.run((all) => all.map((place) => window.velmar.project(place)), places);
  }

  /** What is to be seen once what is shown has been drawn. */
  async picture() {
    await this.run(() => new Promise((drawn) => requestAnimationFrame(() => requestAnimationFrame(drawn))));
    const png = PNG.sync.read(Buffer.from(await this.tab.screenshot()));
    return {
      png,
      at: (x, y) => [...png.data.subarray(4 * (y * png.width + x), 4 * (y * png.width + x) + 3)],
    };
  }
}

/** How many pixels near a place differ clearly between two pictures. */
export function changedNear(one, other, [x, y], radius = 3) {
  const kClear = 40; // of 3 x 255
  let changed = 0;
  for (let v = Math.round(y) - radius; v <= y + radius; ++v)
    for (let u = Math.round(x) - radius; u <= x + radius; ++u) {
      const [a, b] = [one.at(u, v), other.at(u, v)];
      if (a.reduce((sum, value, i) => sum + Math.abs(value - b[i]), 0) > kClear) ++changed;
    }
  return changed;
}
