// A recording in the browser: whole, from start to end, with the values that are in the file.
import assert from "node:assert/strict";
import { readFileSync, truncateSync, writeFileSync } from "node:fs";
import { before, test } from "node:test";
import { Page, useBrowser } from "./support/browser.mjs";
import { Program, scratch, simulate, view } from "./support/programs.mjs";

useBrowser();
const kFrames = 200;
const file = scratch("walk.pcap");
let bones; // of the exported table, by frame number: of each bone its position
before(async () => {
  const server = await simulate("--rate", "100");
  await new Program("record", "127.0.0.1", "-o", file, "--frames", String(kFrames)).ended();
  await server.end();
  bones = await exported();
});

async function exported() {
  const folder = scratch("tables");
  await new Program("export", file, "--format", "csv", "-o", folder).ended();
  const [head, ...lines] = readFileSync(`${folder}/skeleton_bones.csv`, "utf8")
    .trim()
    .split("\n")
    .map((line) => line.split(","));
  const columns = ["frame_number", "position_x_m", "position_y_m", "position_z_m"].map((name) =>
    head.indexOf(name),
  );
  const frames = new Map();
  for (const line of lines) {
    const [number, ...position] = columns.map((column) => Number(line[column]));
    frames.set(number, [...(frames.get(number) ?? []), position]);
  }
  return frames;
}

test("a recording plays from start to end, and its values are those of the file", async () => {
  const page = await Page.open((await view(file)).address);
  await page.streams();
  const first = await page.shown();
  assert.ok(first.index < kFrames / 2, `begins with frame ${first.index}`);
  await page.until(
    "it stops at its end",
    (end) => window.velmar.timeline.mode === "paused" && window.velmar.frame.index === end,
    kFrames - 1,
  );
  assert.equal(bones.size, kFrames);
  const numbers = [...bones.keys()];
  for (const index of [0, 77, kFrames - 1]) {
    const { number, joints } = await page.hold(index);
    assert.equal(number, numbers[index]);
    for (const [i, joint] of joints.entries())
      for (const axis of [0, 1, 2])
        assert.ok(Math.abs(joint[axis] - bones.get(number)[i][axis]) < 1e-5, `bone ${i} of frame ${number}`);
  }
  await page.press("Home", "Space");
  await page.until("it plays again", () => window.velmar.frame.index > 20);
  await page.close();
});

test("a cut recording says so and shows what is whole", async () => {
  const cut = scratch("cut.pcap");
  const bytes = readFileSync(file);
  writeFileSync(cut, bytes);
  truncateSync(cut, bytes.length - 1000);
  const page = await Page.open((await view(cut)).address);
  await page.streams();
  await page.untilNotice(/damaged|cut|left out/i);
  await page.until(
    "it ends before the whole",
    (end) => window.velmar.timeline.newest > end - 20 && window.velmar.timeline.newest < end,
    kFrames - 1,
  );
  await page.close();
});

test("every number that a recording lacks is in a mark, however many gaps there are", async () => {
  const gappy = scratch("gappy.pcap");
  const server = await simulate("--rate", "1000", "--skip", "0.7");
  await new Program("record", "127.0.0.1", "-o", gappy, "--frames", "1500").ended();
  await server.end();
  const page = await Page.open((await view(gappy)).address);
  await page.streams();
  const missing = await page.tab.evaluate(() => window.velmar.status.statistics.lost.never_seen);
  assert.ok(missing > 900, `${missing} are missing`);
  await page.until(
    "all are marked",
    (all) => window.velmar.plotValues("lost").values.reduce((sum, of) => sum + of, 0) === all,
    missing,
  );
  await page.close();
});

test("a plate on which somebody stood when it was taken for unloaded is told of, in a file and live", async () => {
  const [all, part] = [scratch("all.pcap"), scratch("part.pcap")];
  const server = await simulate("--rate", "100");
  await new Program("record", "127.0.0.1", "-o", all, "--frames", "420").ended();
  await server.end();
  await new Program("cut", all, "-o", part, "--from", "3s").ended();
  const recorded = await Page.open((await view(part)).address);
  await recorded.untilNotice(/force plate 1 pulls/);
  await recorded.close();
  const replay = new Program("replay", part, "--loop");
  await replay.says(/serving port/);
  const live = await Page.open((await view("127.0.0.1")).address);
  await live.untilNotice(/force plate 1 pulls.*start the view anew/);
  await live.close();
  await replay.end();
});
