// Makes the pictures of the documentation.
import { writeFileSync } from "node:fs";
import { test } from "node:test";
import { dirname } from "node:path";
import { Page, useBrowser } from "./support/browser.mjs";
import { Program, scratch, simulate, view } from "./support/programs.mjs";

useBrowser();
const docs = process.env.VELMAR_DOCS;

async function save(page, name) {
  await page.picture();
  writeFileSync(`${docs}/${name}`, await page.tab.screenshot());
}

test("a stream, dark: a walk with its forces", async () => {
  const server = await simulate("--lose-frames", "0.002");
  const page = await Page.open((await view("127.0.0.1")).address);
  await page.press("e", "e");
  await page.until("some seconds of plots", () => window.velmar.timeline.newest > 1500);
  await page.until("a plate carries the figure", () => {
    const f = window.velmar.frame;
    return [0, 1].some((i) => f.floats[f.plates.at + 7 * i + 2] > 600);
  });
  await page.stop(); // the arrow would be gone before it is pictured
  await save(page, "view-live.png");
  await page.close();
  await server.end();
});

test("a recording, light: held, with something picked", async () => {
  const server = await simulate();
  process.chdir(dirname(scratch("walk.pcap")));
  const file = "walk.pcap"; // as it is named in the picture
  await new Program("record", "127.0.0.1", "-o", file, "--seconds", "8").ended();
  await server.end();
  const page = await Page.open((await view(file)).address, { scheme: "light" });
  await page.streams();
  await page.run(() => window.velmar.pick("labelled", 9)); // a hand
  await page.press("t", "f", "e", "e");
  await page.until("most of it has been played", () => window.velmar.timeline.index > 700);
  await page.stop();
  await save(page, "view-recording.png");
  await page.close();
});
