// Stopping, going back and coming back to now, while the capture runs on.
import assert from "node:assert/strict";
import { readFileSync } from "node:fs";
import { before, test } from "node:test";
import { Page, useBrowser } from "./support/browser.mjs";
import { scratch, simulate, view, waitFor } from "./support/programs.mjs";

useBrowser();
const log = scratch("frames");
let address;
let server;
let page;
before(async () => {
  server = await simulate("--rate", "100", "--frame-log", log);
  address = (await view("127.0.0.1", "--history", "4")).address;
  page = await Page.open(address);
  await page.streams();
});

const newest = () => page.run(() => window.velmar.timeline.newest);

// When the server sent frames, by their numbers, in milliseconds of the stream.
function sentMs() {
  const lines = readFileSync(log, "utf8").trim().split("\n");
  return new Map(
    lines.map((line) => line.split(" ")).map(([microseconds, number]) => [Number(number), microseconds / 1000]),
  );
}

test("pause holds while frames go on, and End is now", async () => {
  const held = await page.stop();
  await waitFor("frames go on", async () => (await newest()) > held.index + 100);
  assert.deepEqual(await page.shown(), held);
  await waitFor("how far behind it is, is told", async () => /[1-9]\.\d+ s behind/.test(await page.text()));
  await page.live();
});

test("a place that has left the history leads to the oldest one that is kept", async () => {
  await page.live();
  const { index } = await page.stop();
  await waitFor("it has left", () => page.run((place) => window.velmar.timeline.oldest > place + 1, index));
  await page.press("ArrowRight");
  await page.until("one that is kept", (place) => window.velmar.frame.index > place + 1, index);
});

test("playing slowly from the history advances by its own time", async () => {
  await page.live();
  const { arrivalMs } = await page.stop();
  await page.press("Minus", "Minus"); // a quarter
  const began = performance.now();
  await page.press("Space");
  await page.until("half a second is played", (ms) => window.velmar.frame.arrivalMs >= ms + 500, arrivalMs);
  const tookMs = performance.now() - began;
  assert.ok(tookMs > 1500, `half a second at a quarter of the speed took ${tookMs} ms`);
  assert.equal(await page.run(() => window.velmar.timeline.mode), "playing");
  await page.press("Equal", "Equal");
});

test("keys step by a frame, by a second, and to the ends", async () => {
  await page.live();
  const { index } = await page.stop();
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

test("going back shows the frame of then, as it was sent then", async () => {
  await page.live();
  const seen = [await page.shown()];
  while (seen.length < 3) {
    await page.until("more frames", (index) => window.velmar.frame.index > index + 20, seen.at(-1).index);
    seen.push(await page.shown());
  }
  for (const then of seen) assert.deepEqual(await page.hold(then.index), then);
  await server.end();
  const sent = sentMs();
  for (const then of seen) {
    const [passed, sentPassed] = [
      then.arrivalMs - seen[0].arrivalMs,
      sent.get(then.number) - sent.get(seen[0].number),
    ];
    assert.ok(Math.abs(passed - sentPassed) < 30, `${passed} ms later, sent ${sentPassed} ms later`);
  }
});
