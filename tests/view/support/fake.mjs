// A program of the page's kind that says whatever a test wants: it serves the real page and speaks its protocol.
import { createServer } from "node:http";
import { WebSocketServer } from "ws";
import { waitFor } from "./programs.mjs";

const word = (write) => (value) => {
  const bytes = Buffer.alloc(write === "writeDoubleLE" ? 8 : 4);
  bytes[write](value);
  return bytes;
};
const [u32, i32, f32, f64] = ["writeUInt32LE", "writeInt32LE", "writeFloatLE", "writeDoubleLE"].map(word);
const body = ({ id, position, orientation = [0, 0, 0, 1] }) => [
  i32(id),
  ...[...position, ...orientation, 0].map(f32),
  u32(1),
];

/** A frame as it goes to the page. Labelled markers are [id, [x, y, z]]; skeletons {id, bones}; bodies and bones
 * {id, position}; forces [force, centre]. */
export function frameOf({
  index = 0,
  number = 1,
  plates = [],
  sets = [],
  others = [],
  labelled = [],
  bodies = [],
  skeletons = [],
}) {
  const bones = skeletons.flatMap((skeleton) => skeleton.bones);
  const counts = [plates, [], sets, sets.flat(), others, labelled, bodies, skeletons, bones].map(
    (list) => list.length,
  );
  return Buffer.concat([
    ...[u32(0x31524656), u32(0), f64(performance.now()), f64(0), f64(index)],
    ...[f64(index), f64(Date.now()), f64(performance.now()), f32(0.1), i32(number), u32(0), u32(0), u32(0)],
    ...counts.map(u32),
    ...plates.flatMap(([force, centre]) => [...force, ...centre, 0].map(f32)),
    ...sets.map((set) => u32(set.length)),
    ...[...sets.flat(), ...others].flatMap((place) => place.map(f32)),
    ...labelled.flatMap(([id, place]) => [i32(id), ...[...place, 0.014].map(f32), i32(-1)]),
    ...bodies.flatMap(body),
    ...skeletons.flatMap(({ id, bones: own }) => [i32(id), u32(own.length)]),
    ...bones.flatMap(body),
  ]);
}

export const hello = {
  type: "hello",
  version: "velmar 0.0.0.0",
  source: { kind: "server", name: "fake" },
  unit: "m",
  historySeconds: 60,
};
export const streaming = { type: "status", state: "streaming", text: "fake", notices: [] };
export const describing = (...list) => ({ type: "descriptions", known: true, server: null, list, labels: true });

export class FakeProgram {
  #sockets = new Set();
  #index = 0;

  /** Serves the page that is at the address. */
  static async of(address) {
    const fake = new FakeProgram();
    const html = Buffer.from(await (await fetch(address)).arrayBuffer());
    const server = createServer((_, response) => response.setHeader("Content-Type", "text/html").end(html));
    new WebSocketServer({ server, path: "/stream" }).on("connection", (socket) => fake.#connect(socket));
    await new Promise((listening) => server.listen(0, "127.0.0.1", listening));
    server.unref(); // its end is that of the browser, and of the process
    fake.address = `http://127.0.0.1:${server.address().port}/`;
    return fake;
  }

  #connect(socket) {
    this.#sockets.add(socket);
    socket.ready = true;
    socket.on("close", () => this.#sockets.delete(socket));
    socket.on("message", (text) => {
      const message = JSON.parse(text);
      if (message.type === "taken") socket.ready = true;
      if (message.type === "ping")
        socket.send(JSON.stringify({ type: "pong", id: message.id, clock_ms: performance.now() }));
    });
    socket.send(JSON.stringify(hello));
  }

  /** Text, bytes, or an object that goes as text. */
  say(message) {
    const raw = typeof message === "string" || Buffer.isBuffer(message);
    for (const socket of this.#sockets) socket.send(raw ? message : JSON.stringify(message));
  }

  /** Sends a frame once the pages have taken the one before; ends when they have taken this one. Its place. */
  async show(content) {
    const index = this.#index++;
    const all = (what) =>
      waitFor(what, () => this.#sockets.size > 0 && [...this.#sockets].every((socket) => socket.ready));
    await all("the page is there");
    for (const socket of this.#sockets) socket.ready = false;
    this.say(frameOf({ ...content, index, number: index + 1 }));
    await all("the page takes a frame");
    return index;
  }
}
