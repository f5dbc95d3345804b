// The simulated walk, as the page shows it: what is drawn is where the frame says, and what is told is so.
import assert from "node:assert/strict";
import { before, test } from "node:test";
import { changedNear, Page, useBrowser } from "./support/browser.mjs";
import { simulate, view, waitFor } from "./support/programs.mjs";

useBrowser();
let page;
before(async () => {
  await simulate("--rate", "100", "--rigid-bodies", "2", "--other-markers", "3");
  page = await Page.open((await view("127.0.0.1", "--history", "30")).address);
  await page.streams();
  await page.until("a frame of a loaded plate", loadedPlate);
});

const distance = (a, b) => Math.hypot(...a.map((value, i) => value - b[i]));
const across = (place) => Math.hypot(place[0], place[1]);

// Runs in the page.
function loadedPlate() {
  const f = window.velmar.frame;
  return f.plates.count === 2 && [0, 1].some((i) => f.floats[f.plates.at + 7 * i + 2] > 400);
}

/** A frame in which a foot stands on a plate, held; and one of a second before. */
async function loadedAndBefore() {
  await page.live();
  await page.until("a plate is loaded", loadedPlate);
  const loaded = await page.stop();
  return [loaded, loaded.index - 100];
}

test("the figure is drawn where the frame says, and nowhere else", async () => {
  const [{ index }, past] = await loadedAndBefore();
  const before = await page.hold(past);
  const places = [await page.project(before.joints)];
  const pictures = [await page.picture()];
  const now = await page.hold(index);
  places.push(await page.project(now.joints));
  pictures.push(await page.picture());
  assert.ok(distance(now.joints[0], before.joints[0]) > 0.5, "the figure has walked");
  const hips = now.joints[0];
  assert.ok(Math.abs(across(hips) - 2) < 0.3 && Math.abs(hips[2] - 0.85) < 0.15, `hips of a walk at ${hips}`);
  for (const [which, own] of places.entries()) {
    const other = places[1 - which];
    const alone = own.filter((place) => other.every((far) => distance(place, far) > 15));
    assert.ok(alone.length > 10, `${alone.length} joints to be looked at`);
    for (const place of alone) assert.ok(changedNear(...pictures, place) > 4, `nothing is drawn at ${place}`);
  }
  const far = places
    .flat()
    .map(([x, y]) => [x, y - 200])
    .filter((spot) => places.flat().every((joint) => distance(spot, joint) > 60));
  for (const spot of far.filter(([, y]) => y > 60))
    assert.equal(changedNear(...pictures, spot), 0, `something is drawn at ${spot}`);
});

test("a force stands under the standing foot, and is plotted", async () => {
  const [loaded, past] = await loadedAndBefore();
  const plate = loaded.plates.findIndex(({ force }) => force[2] > 400);
  const { centre, force } = loaded.plates[plate];
  const feet = loaded.joints.filter((joint) => joint[2] < 0.15);
  assert.ok(
    feet.some((foot) => distance(foot.slice(0, 2), centre.slice(0, 2)) < 0.2),
    `a foot near ${centre}`,
  );
  const middle = centre.map((value, i) => value + force[i] / 2000); // of an arrow of a metre for each kN
  const [onArrow] = await page.project([middle]);
  const withForce = await page.picture();
  await page.hold(past);
  assert.ok(changedNear(await page.picture(), withForce, onArrow) > 2, "an arrow is drawn");
  const { ms, values } = await page.run((name) => window.velmar.plotValues(name), `force ${plate + 1}`);
  const at = ms.reduce(
    (best, time, i) => (Math.abs(time - loaded.arrivalMs) < Math.abs(ms[best] - loaded.arrivalMs) ? i : best),
    0,
  );
  assert.ok(Math.abs(values[at] - force[2]) < 1, `${values[at]} N is plotted, ${force[2]} N came`);
});

test("what is clicked at is picked, told and plotted", async () => {
  const [loaded] = await loadedAndBefore();
  const head = loaded.labelled.reduce((top, marker) => (marker[2] > top[2] ? marker : top));
  const [place] = await page.project([head]);
  await page.tab.mouse.click(...place);
  const picked = await page.until("something is picked", () => window.velmar.picked);
  const at = ["x", "y", "z"].map((name) => picked.values[name]);
  assert.ok(distance(at, head) < 0.05, `picked at ${at}, clicked at ${head}`);
  const told = new RegExp(head[2].toFixed(4));
  await waitFor("its height is told", async () =>
    told.test(await page.run(() => document.querySelector("#picked").innerText)),
  );
  await page.live();
  await page.until("frames go on", (index) => window.velmar.frame.index > index + 100, loaded.index);
  const shown = await page.stop();
  const z = await page.run(() => window.velmar.plotValues("picked z"));
  const marker = shown.labelled.reduce((top, each) => (each[2] > top[2] ? each : top));
  assert.ok(
    z.values.some((value) => Math.abs(value - marker[2]) < 1e-4),
    "the height of now is plotted",
  );
});

test("keys look from the front, the side and above, and follow", async () => {
  // Where x, y and z point on the page, to the right and up.
  const pointing = async () => {
    const [origin, ...ends] = await page.project([
      [0, 0, 0],
      [1, 0, 0],
      [0, 1, 0],
      [0, 0, 1],
    ]);
    if (!origin || ends.includes(null)) return null; // behind the camera
    return ends.map((end) => [end[0] - origin[0], origin[1] - end[1]]);
  };
  const long = Math.hypot;
  const points = ([right, up], x, y) => (right * x + up * y) / long(right, up) > 0.98;
  const looks = {
    1: ([x, y, z]) => points(x, 1, 0) && points(z, 0, 1) && long(...y) < long(...x) / 2,
    2: ([x, y, z]) => points(y, 1, 0) && points(z, 0, 1) && long(...x) < long(...y) / 2,
    3: ([x, y, z]) => points(x, 1, 0) && points(y, 0, 1) && long(...z) < long(...x) / 2,
  };
  for (const [key, look] of Object.entries(looks)) {
    await page.press(key);
    await waitFor(`the look of ${key}`, async () => {
      const ends = await pointing();
      return ends && look(ends);
    });
  }
  await page.live();
  await page.press("f");
  await waitFor("the figure is in the middle", async () => {
    const [[x, y]] = await page.project([(await page.shown()).joints[0]]);
    const box = await page.run(() => document.querySelector("#view").getBoundingClientRect().toJSON());
    return (
      Math.abs(x - box.x - box.width / 2) < box.width / 10 && Math.abs(y - box.y - box.height / 2) < box.height / 4
    );
  });
  await page.press("f");
});

test("the line tells what matters", async () => {
  await page.live();
  const words = [/velmar/, /127\.0\.0\.1/, /lost/i, /skipped/i, /[\d.]+ ms/, /[\d.]+ \+ [\d.]+ \+ [\d.]+/];
  await waitFor("the status line is whole", async () => {
    const line = await page.status();
    return words.every((word) => word.test(line)) && /\b(9\d|10\d)(\.\d+)? Hz/.test(line);
  });
});
