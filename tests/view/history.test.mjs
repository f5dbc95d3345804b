// Stopping, going back and coming back to now, while the capture runs on.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { before, test } from "node:test";
import { Page, useBrowser } from "./support/browser.mjs";
import { scratch, simulate, view, waitFor } from "./support/programs.mjs";

useBrowser();
const log = scratch("frames");
let address;
let page;
before(async () => {
  await simulate("--rate", "100", "--frame-log", log);
  address = (await view("127.0.0.1", "--history", "4")).address;
  page = await Page.open(address);
  await page.streams();
});

const newest = () => page.run(() => window.velmar.timeline.newest);

// When the server sent frames, by their numbers, in milliseconds of the stream.
function sentMs() {
  const lines = readFileSync(log, "utf8").trim().split("\n").slice(0, -1); // the last one may be cut
  return new Map(lines.map((line) => line.split(" ")).map(([microseconds, number]) => [Number(number), microseconds / 1000]));
}

test("pause holds while frames go on, and End is now", async () => {
  await page.press("Space");
  await page.until("it is paused", () => window.velmar.timeline.mode === "paused");
  const held = await page.shown();
  await waitFor("frames go on", async () => (await newest()) > held.index + 100);
  assert.deepEqual(await page.shown(), held);
  assert.match(await page.run(() => document.body.innerText), /behind|ago|paused/i);
  await page.press("End");
  await page.until("it is live", (index) => window.velmar.timeline.mode === "live" && window.velmar.frame.index > index + 100, held.index);
});

test("going back shows the frame of then", async () => {
  await page.press("End");
  const seen = [await page.streams().then(() => page.shown())];
  while (seen.length < 3) {
    await page.until("more frames", (index) => window.velmar.frame.index > index + 20, seen.at(-1).index);
    seen.push(await page.shown());
  }
  const sent = sentMs();
  for (const then of seen) {
    assert.deepEqual(await page.hold(then.index), then);
    const [passed, sentPassed] = [then.arrivalMs - seen[0].arrivalMs, sent.get(then.number) - sent.get(seen[0].number)];
    assert.ok(Math.abs(passed - sentPassed) < 30, `${passed} ms later, sent ${sentPassed} ms later`);
  }
});

test("a place that has left the history leads to the oldest one that is kept", async () => {
  await page.press("End", "Space");
  const { index } = await page.shown();
  await waitFor("it has left", () => page.run((place) => window.velmar.timeline.oldest > place + 1, index));
  await page.press("ArrowRight");
  await page.until("one that is kept", (place) => window.velmar.frame.index > place + 1, index);
});

test("playing slowly from the history advances by its own time", async () => {
  await page.press("End", "Space", "Minus", "Minus"); // a quarter
  const { arrivalMs } = await page.shown();
  const began = performance.now();
  await page.press("Space");
  await page.until("half a second is played", (ms) => window.velmar.frame.arrivalMs >= ms + 500, arrivalMs);
  const tookMs = performance.now() - began;
  assert.ok(tookMs > 1500, `half a second at a quarter of the speed took ${tookMs} ms`);
  assert.equal(await page.run(() => window.velmar.timeline.mode), "playing");
  await page.press("Equal", "Equal", "End");
});

test("keys step by a frame, by a second, and to the ends", async () => {
  await page.press("Space");
  await page.until("it is paused", () => window.velmar.timeline.mode === "paused");
  const { index } = await page.shown();
  await page.press("ArrowLeft", "ArrowLeft");
  await page.untilIndex(index - 2);
  await page.press("ArrowRight");
  await page.untilIndex(index - 1);
  const { arrivalMs } = await page.shown();
  await page.tab.keyboard.down("Shift");
  await page.press("ArrowLeft");
  await page.tab.keyboard.up("Shift");
  await page.until("a second before", (ms) => Math.abs(window.velmar.frame.arrivalMs - ms + 1000) < 50, arrivalMs);
  await page.press("Home");
  await page.until("the oldest one", () => window.velmar.frame.index <= window.velmar.timeline.oldest + 50);
});
