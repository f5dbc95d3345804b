// What the page makes of bytes and messages, and of descriptions that lie. Takes the page's modules from its sources;
// what they are bundled with is in the directory that VELMAR_PAGE_WORK names.
import assert from "node:assert/strict";
import { createRequire } from "node:module";
import { join } from "node:path";
import { test } from "node:test";

const work = process.env.VELMAR_PAGE_WORK;
const { build } = createRequire(join(work, "package.json"))("esbuild");
const page = join(
  import.meta.dirname ?? new URL(".", import.meta.url).pathname,
  "../../tools/velmar/view/page/src",
);

async function load(...names) {
  const contents = names.map((name) => `export * from "${page}/${name}";`).join("");
  const stdin = { contents, resolveDir: page };
  const { outputFiles } = await build({ stdin, bundle: true, write: false, format: "esm", platform: "neutral" });
  return import(`data:text/javascript;base64,${Buffer.from(outputFiles[0].text).toString("base64")}`);
}
const { answers, decodeFrame, decodeState, Described, Series, slotOf, Timeline, timecodeText, valuesOf } =
  await load("protocol", "described", "series", "items", "timeline");

// By hand from the layout: one of each item, a set of one marker, a skeleton of one bone.
const kFrame = `
  56465231 07000000 0000000000005940 0000000000001040 0000000000002240
  0000000000001c40 0000000000408f40 0000000000005840 0000003f 2a000000 04030201 05000000 01000000
  01000000 01000000 01000000 01000000 01000000 01000000 01000000 01000000 01000000
  0000803f 00000040 00004040 00008040 0000a040 0000c040 0000e040
  00000041
  01000000
  0000803f 00000040 00004040
  00008040 0000a040 0000c040
  09000000 0000803f 00000040 00004040 0ad7233c 02000000
  ffffffff 0000803f 00000040 00004040 00000000 00000000 00000000 0000803f 0000003f 01000000
  02000000 01000000
  03000000 0000c07f 0000807f 00004040 00000000 00000000 00000000 0000803f 0000003f 01000000`;

function bytes(change = () => {}) {
  const data = Buffer.from(kFrame.replace(/\s/g, ""), "hex");
  const copy = new Uint8Array(data).buffer;
  change(new DataView(copy));
  return copy;
}

test("a frame is what its bytes say", () => {
  const frame = decodeFrame(bytes());
  assert.equal(typeof frame, "object", String(frame));
  const { skipped, sentMs, oldest, newest, index, arrivalMs, deliveredMs, kernelMs, number, subframe, flags } =
    frame;
  assert.deepEqual(
    [skipped, sentMs, oldest, newest, index, arrivalMs, deliveredMs, kernelMs, number, subframe, flags],
    [7, 100, 4, 9, 7, 1000, 96, 0.5, 42, 5, 1],
  );
  assert.equal(timecodeText(frame), "01:02:03:04.5");
  const rows = [
    [{ kind: "plate", id: "0" }, [4, 5, 6, 1, 2, 3, 7]],
    [{ kind: "set", id: "0/0" }, [1, 2, 3]],
    [{ kind: "other", id: "0" }, [4, 5, 6]],
    [{ kind: "labelled", id: "9" }, [1, 2, 3, Math.fround(0.01)]],
    [{ kind: "body", id: "-1" }, [1, 2, 3, 0, 0, 0, 1, 0.5]],
    [{ kind: "bone", id: "2/3" }, [NaN, Infinity, 3, 0, 0, 0, 1, 0.5]],
  ];
  for (const [pick, values] of rows)
    assert.deepEqual(valuesOf(frame, pick.kind, slotOf(frame, pick, -1)), values, pick.kind);
  for (const id of ["3/3", "2/4", "2", "", "__proto__"])
    assert.equal(slotOf(frame, { kind: "bone", id }, 0), -1, id);
});

test("bytes that are no frame are told by a text", () => {
  const rows = [
    ["empty", new ArrayBuffer(0)],
    ["a header cut", bytes().slice(0, 111)],
    ["within a word", bytes().slice(0, -1)],
    ["a word more", new Uint8Array([...new Uint8Array(bytes()), 0, 0, 0, 0]).buffer],
    ["a word short", bytes().slice(0, -4)],
    ["another mark", bytes((v) => v.setUint32(0, 0x31524657, true))],
    ["a place that is not a number", bytes((v) => v.setFloat64(32, NaN, true))],
    ["a place below none", bytes((v) => v.setFloat64(16, -1, true))],
    ["a place between two", bytes((v) => v.setFloat64(24, 8.5, true))],
    ["no time", bytes((v) => v.setFloat64(40, Infinity, true))],
    ["a set of more markers than there are", bytes((v) => v.setUint32(144, 2, true))],
    ["a skeleton of more bones than there are", bytes((v) => v.setUint32(240, 0xffffffff, true))],
  ];
  for (let at = 76; at < 112; at += 4) {
    rows.push([`one more at ${at}`, bytes((v) => v.setUint32(at, 2, true))]);
    rows.push([`as many as there can be at ${at}`, bytes((v) => v.setUint32(at, 0xffffffff, true))]);
  }
  for (const [what, data] of rows) assert.equal(typeof decodeFrame(data), "string", what);
});

test("messages that are none are told by a text, and half of one is taken as it is", () => {
  for (const text of [
    "",
    "{",
    "1",
    "null",
    "[]",
    "{}",
    '{"type":"constructor"}',
    '{"type":"hello","source":{"kind":"x"}}',
  ])
    assert.equal(typeof decodeState(text), "string", text);
  const losses = decodeState(
    '{"type":"losses","anew":true,"marks":[{"ms":5,"too_slow":2},{"too_slow":1},null,7]}',
  );
  assert.deepEqual(losses.marks, [{ ms: 5, too_slow: 2, incomplete: 0, undecodable: 0, never_seen: 0 }]);
  assert.equal(decodeState('{"type":"statistics","history":{"oldest":1,"newest":"2"}}').history, null);
});

const bone = (id, parentId) => ({ id, parentId, name: `b${id}` });
const skeleton = (...bones) => ({ type: "skeleton", id: 2, name: "Anna", bones });

test("descriptions that lie are told, and drawing goes on", () => {
  const rows = [
    [[skeleton(bone(3, -1))], null],
    [[skeleton(bone(3, 4), bone(4, 3))], /circle/],
    [[skeleton(bone(3, 3))], /circle/],
    [[skeleton(bone(3, 99))], /parent 99/],
    [[skeleton(bone(3, -1), bone(3, -1))], /more than one/],
    [[{ type: "force plate", origin: [0, 0], rotation: 1 }], /plate 1/],
    [[{ type: "skeleton", bones: [1, null, []] }, {}], null],
  ];
  const frame = decodeFrame(bytes());
  for (const [list, notice] of rows) {
    const described = new Described(
      { type: "descriptions", known: true, list, labels: true, reason: "", server: null },
      1,
    );
    const what = JSON.stringify(list);
    if (notice) assert.match(described.notices.join(), notice, what);
    else assert.deepEqual(described.notices, [], what);
    assert.ok(
      (described.parentsOf(frame, 2, 0, 1) ?? [-1]).every((slot) => slot >= -1 && slot < 1),
      what,
    );
    described.lies(frame);
  }
});

test("a frame that was on its way is not what was asked for", () => {
  const frame = { index: 7, oldest: 4, newest: 9, arrivalMs: 1000 };
  const rows = [
    [{ index: 7 }, frame, true],
    [{ index: 6 }, frame, false],
    [{ index: 2 }, { ...frame, index: 4 }, true], // gone: the nearest that is kept
    [{ index: 50 }, { ...frame, index: 9 }, true],
    [{ ms: 1000 }, frame, true],
    [{ ms: 999 }, frame, false],
    [{ ms: 1 }, { ...frame, index: 4 }, true],
  ];
  for (const [where, came, is] of rows) assert.equal(answers(came, where), is, JSON.stringify([where, came]));
});

test("a pause holds its frame while others come, and asks for one at a time", () => {
  const sent = [];
  const shown = [];
  const timeline = new Timeline({
    send: (text) => sent.push(JSON.parse(text)),
    show: (f) => shown.push(f.index),
    changed() {},
  });
  const came = (index, newest) => timeline.take({ index, oldest: 0, newest, arrivalMs: index * 10 }, 0);
  timeline.begin({ type: "hello", kind: "server" });
  came(5, 5);
  timeline.pauseOrGo();
  came(6, 6); // was on its way
  came(5, 7);
  timeline.step(-1);
  timeline.step(-1); // before the answer
  came(4, 8);
  came(3, 9);
  came(9, 9); // nobody has asked
  timeline.live();
  came(10, 10);
  assert.deepEqual(shown, [5, 5, 4, 3, 10]);
  assert.deepEqual(sent, [
    { type: "at", index: 5 },
    { type: "at", index: 4 },
    { type: "at", index: 3 },
    { type: "live" },
  ]);
});

test("values stay in the order of their times and within their room", () => {
  const series = new Series(1);
  for (let ms = 0; ms < 200_000; ms += 1) series.add(ms, [ms]);
  assert.ok(series.count <= 16384 && series.msAt(series.count - 1) - series.msAt(0) <= 60_000);
  for (const ms of [200_100, 200_300, 200_200, 200_250, 200_200]) series.add(ms, [-ms]); // a page that scrolls back
  for (let row = 1; row < series.count; ++row) assert.ok(series.msAt(row - 1) < series.msAt(row));
  assert.equal(series.valueAt(series.rowAt(200_249), 0), -200_200);
  series.add(1000, [1]); // the clock was set back
  assert.deepEqual([series.count, series.msAt(0)], [1, 1000]);
});
