// What goes wrong around the page: lost frames, a server and a program that go and come back, many pages, and pages
// that reload or stall.
import assert from "node:assert/strict";
import { test } from "node:test";
import { Page, useBrowser } from "./support/browser.mjs";
import { Program, simulate, view, waitFor } from "./support/programs.mjs";

useBrowser();

const live = (page, beyond) =>
  page.until(
    `live beyond frame ${beyond}`,
    (index) => window.velmar.timeline.mode === "live" && window.velmar.frame?.index > index,
    beyond,
  );

for (const { option, cause, words, load } of [
  { option: "--lose-frames", cause: "never_seen", words: /never seen/i, load: [] },
  {
    option: "--lose-middle",
    cause: "incomplete",
    words: /incomplete/i,
    load: ["--skeletons", "5", "--markers", "500"],
  },
])
  test(`frames that are lost show with their cause: ${cause}`, async () => {
    const server = await simulate("--rate", "100", option, "0.05", ...load);
    const shown = await view("127.0.0.1");
    const page = await Page.open(shown.address);
    await page.streams();
    await page.until("losses are counted", (name) => window.velmar.status.statistics?.lost[name] > 5, cause);
    await waitFor("the line names the cause", async () => words.test(await page.status()));
    const others = await page.run(
      (name) =>
        Object.entries(window.velmar.status.statistics.lost).filter(([key, count]) => key !== name && count > 0),
      cause,
    );
    assert.deepEqual(others, []);
    await waitFor("the strip has a mark in the colour of its cause", () => marked(page, cause));
    await page.close();
    await Promise.all([shown.end(), server.end()]);
  });

/** Whether the strip has pixels of the colour that the page gives to a cause. */
async function marked(page, cause) {
  return page.run((name) => {
    const strip = document.querySelector("#strip");
    const probe = document.createElement("canvas").getContext("2d");
    probe.fillStyle = getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
    probe.fillRect(0, 0, 1, 1);
    const colour = probe.getImageData(0, 0, 1, 1).data;
    const copy = document.createElement("canvas");
    [copy.width, copy.height] = [strip.width, strip.height];
    const context = copy.getContext("2d");
    context.drawImage(strip, 0, 0);
    const { data } = context.getImageData(0, 0, copy.width, copy.height);
    for (let i = 0; i < data.length; i += 4)
      if (data[i + 3] > 200 && [0, 1, 2].every((k) => Math.abs(data[i + k] - colour[k]) < 12)) return true;
    return false;
  }, cause);
}

test("a server that goes and comes back shows, and passes", async () => {
  const shown = await view("127.0.0.1");
  const page = await Page.open(shown.address);
  const says = (expression) =>
    waitFor(`the page says ${expression}`, async () => expression.test(await page.text()));
  await says(/no connection|no answer|connecting|trying/i);
  let server = await simulate("--rate", "100");
  await live(page, 100);
  const { number } = await page.shown();
  await server.end();
  await says(/no frame for \d+ s/);
  server = await simulate("--rate", "100", "--server-version", "9.8.7.6");
  await page.until("frames of the new server", (before) => window.velmar.frame.number < before, number);
  await waitFor("nothing is wrong any more", async () => !/no frame for/.test(await page.text()));
  await says(/9\.8\.7\.6/); // it has been asked anew
  await page.close();
  await Promise.all([shown.end(), server.end()]);
});

test("a program that ends and starts again has its page back", async () => {
  const server = await simulate("--rate", "100");
  let shown = await view("127.0.0.1");
  const page = await Page.open(shown.address);
  await live(page, 50);
  await shown.end();
  await page.until("the page tells that it is alone", () =>
    /connect/i.test(document.body.innerText.replace(/connected/gi, "")),
  );
  shown = new Program("view", "127.0.0.1", "--port", new URL(shown.address).port);
  await page.until("frames come again", () => window.velmar.frame.index < 40);
  await live(page, 50);
  await page.close();
  await Promise.all([shown.end(), server.end()]);
});

test("twenty pages, one that reloads and one that stalls do not hold each other up", async () => {
  const server = await simulate("--rate", "100");
  const shown = await view("127.0.0.1");
  const pages = [];
  while (pages.length < 20) pages.push(await Page.open(shown.address));
  const [stalled, reloaded, ...others] = pages;
  for (const page of pages) {
    await page.tab.bringToFront();
    await live(page, 10);
  }
  await stalled.tab.bringToFront();
  const debug = await stalled.tab.createCDPSession();
  await debug.send("Debugger.enable");
  const stopped = new Promise((resolve) => debug.once("Debugger.paused", resolve));
  await debug.send("Debugger.pause");
  await stopped;
  await reloaded.tab.reload();
  await live(reloaded, 10);
  const { index } = await reloaded.shown();
  for (const page of others)
    await page.until("another page goes on", (before) => window.velmar.timeline.newest > before + 100, index);
  const { pages: count, lost } = await others[0].run(() => window.velmar.status.statistics);
  assert.equal(count, 20);
  assert.deepEqual(
    Object.values(lost).filter((value) => value > 0),
    [],
  );
  await debug.send("Debugger.resume");
  await debug.detach();
  await live(stalled, index + 100);
  await stalled.until("what it missed is counted", () => window.velmar.frame.skipped > 0);
  for (const page of pages) await page.close();
  assert.equal(await shown.end(), 0);
  await server.end();
});
