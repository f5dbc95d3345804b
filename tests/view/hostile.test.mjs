// Frames and descriptions that are wrong: the page tells what is wrong, and goes on drawing.
import assert from "node:assert/strict";
import { before, test } from "node:test";
import { Page, useBrowser } from "./support/browser.mjs";
import { describing, FakeProgram, frameOf, streaming } from "./support/fake.mjs";
import { view } from "./support/programs.mjs";

useBrowser();
let fake;
let page;
before(async () => {
  fake = await FakeProgram.of((await view("127.0.0.1")).address);
  page = await Page.open(fake.address);
});

const bone = (id, z = 1) => ({ id, position: [0, 0.1 * id, z] });
const figure = (count) => [{ id: 1, bones: Array.from({ length: count }, (_, i) => bone(i + 1)) }];
const described = (...parents) => ({
  type: "skeleton",
  name: "Walker",
  id: 1,
  bones: parents.map((parentId, i) => ({ name: `bone${i + 1}`, id: i + 1, parentId })),
});

async function draws(content) {
  const pictures = await page.run(() => window.velmar.pictures);
  const index = await fake.show(content);
  await page.until(
    "the frame is drawn",
    (before, i) => window.velmar.pictures > before && window.velmar.frame.index === i,
    pictures,
    index,
  );
}

test("a frame without content and one of a thousand bodies are drawn", async () => {
  fake.say(streaming);
  fake.say(describing());
  await draws({});
  const bodies = Array.from({ length: 1000 }, (_, id) => ({ id, position: [id % 40, Math.floor(id / 40), 1] }));
  await draws({ bodies });
  assert.equal(await page.run(() => window.velmar.frame.bodies.count), 1000);
  await draws({});
});

test("positions that are no numbers are counted, and shown so when they are picked", async () => {
  fake.say(describing());
  const content = {
    labelled: [
      [1, [0, 0, 1]],
      [2, [NaN, 0, 1]],
      [3, [0, Infinity, 1]],
    ],
    bodies: [{ id: 7, position: [NaN, NaN, NaN] }],
  };
  await draws(content);
  await page.untilNotice(/\b3\b.*not (a )?numbers?/i);
  await page.run(() => window.velmar.pick("labelled", 2));
  await draws(content);
  await page.until("it is told", () => /not a number/i.test(document.querySelector("#picked").innerText));
  const [middle] = await page.project([[0, 0, 1]]);
  await page.press("f");
  await draws(content);
  assert.ok(
    middle.concat(...(await page.project([[0, 0, 1]]))).every(Number.isFinite),
    "the view stays where there are numbers",
  );
  await page.press("f");
});

for (const [what, list, bones, notice] of [
  ["more bones than described", [described(-1, 1)], 5, /3 of its 5 bones/],
  ["parents in a circle", [described(2, 3, 1)], 3, /circle/],
  ["a parent that is none", [described(-1, 99)], 2, /parent 99/],
  ["a skeleton that is not described", [], 2, /not described/],
  ["a plate without a place", [{ type: "force plate" }], 0, /without a place/],
])
  test(`descriptions that lie: ${what}`, async () => {
    fake.say(describing(...list));
    await draws({
      skeletons: figure(bones),
      plates: [
        [
          [0, 0, 700],
          [0, 0, 0],
        ],
      ],
    });
    await page.untilNotice(notice);
    await draws({ skeletons: figure(bones) });
  });

test("missing descriptions are told, and what labelled markers are is not guessed", async () => {
  fake.say({
    type: "descriptions",
    known: false,
    reason: "the server does not answer",
    server: null,
    list: [],
    labels: false,
  });
  await draws({ labelled: [[1, [0, 0, 1]]], skeletons: figure(3) });
  await page.untilNotice(/the server does not answer/);
  await page.untilNotice(/label/i);
});

test("messages that are none are told, and frames go on", async () => {
  const cut = frameOf({ bodies: [{ id: 1, position: [0, 0, 0] }] });
  const lying = Buffer.from(cut);
  lying.writeUInt32LE(0xffffffff, 100); // rigid bodies
  for (const message of [
    "{",
    "[]",
    '{"type":"nobody"}',
    Buffer.alloc(3),
    Buffer.alloc(200),
    cut.subarray(0, cut.length - 4),
    lying,
  ])
    fake.say(message);
  await page.untilNotice(/frame of \d+ bytes/);
  await draws({ skeletons: figure(2) });
});
