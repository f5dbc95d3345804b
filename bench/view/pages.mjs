// Who looks on while it is measured: pages in a browser, which note when messages come, and bare clients, which take
// frames and do nothing with them.
import { createServer } from "node:http";
import WebSocket, { WebSocketServer } from "ws";

const kTaken = '{"type":"taken"}';

// Steady clocks of all programs of a machine are one.
export const clockMs = () => Number(process.hrtime.bigint()) / 1e6;

/** An open connection to a program's stream. A stalled one is never read again. */
export async function bareClient(address, { stalled = false } = {}) {
  const { host, origin } = new URL(address);
  const socket = new WebSocket(`ws://${host}/stream`, { origin, perMessageDeflate: false });
  socket.frames = 0;
  socket.on("message", (data, isBinary) => {
    if (!isBinary) return void (JSON.parse(data).type === "statistics" && (socket.statistics = JSON.parse(data)));
    ++socket.frames;
    socket.skipped = data.readUInt32LE(4);
    socket.bytes = data.length;
    socket.send(kTaken);
  });
  await new Promise((opened, failed) => socket.once("open", opened).once("error", failed));
  if (stalled) socket.pause();
  return socket;
}

/** Runs in every page before its own script: notes of each frame when it was delivered, sent and come, and asks for
 * the program's clock. */
function note() {
  const noted = (window.noted = { frames: [], pings: [] });
  const asked = new Map();
  const Socket = window.WebSocket;
  window.WebSocket = class extends Socket {
    constructor(...words) {
      super(...words);
      this.binaryType = "arraybuffer";
      this.addEventListener("message", ({ data }) => {
        const ms = performance.now();
        if (typeof data !== "string") {
          const fields = new DataView(data);
          noted.frames.push([fields.getFloat64(48, true), fields.getFloat64(8, true), ms]);
        } else if (data.includes('"pong"')) {
          const { id, clock_ms: clock } = JSON.parse(data);
          if (asked.has(id)) noted.pings.push([ms - asked.get(id), clock - (ms + asked.get(id)) / 2]);
        }
      });
      let id = -1;
      this.addEventListener("open", () =>
        setInterval(
          () => (asked.set(--id, performance.now()), this.send(JSON.stringify({ type: "ping", id }))),
          100,
        ),
      );
    }
  };
}

/** A tab that shows the page, or one that takes frames and draws nothing. */
export async function openPage(browser, address, { draws }) {
  const tab = await browser.newPage();
  await tab.setViewport({ width: 1280, height: 720 });
  await tab.evaluateOnNewDocument(note);
  // What is not there comes from the same place, and so may have the stream; and it has no script.
  await tab.goto(draws ? address : `${address}nothing`);
  if (!draws)
    await tab.evaluate((taken) => {
      const socket = new WebSocket(`ws://${location.host}/stream`);
      socket.onmessage = ({ data }) => typeof data === "string" || socket.send(taken);
    }, kTaken);
  return tab;
}

/** Milliseconds of each frame that came meanwhile: from the library's delivery to the message, and from there to the
 * socket alone; and how far the clocks may be from each other. */
export async function delaysOf(tab, seconds) {
  await tab.evaluate(() => (window.noted.frames.length = 0));
  await new Promise((over) => setTimeout(over, seconds * 1000));
  const { frames, pings } = await tab.evaluate(() => window.noted);
  const [roundTrip, offset] = pings.reduce((best, ping) => (ping[0] < best[0] ? ping : best));
  return {
    toPage: frames.map(([delivered, , came]) => came + offset - delivered),
    toSocket: frames.map(([delivered, sent]) => sent - delivered),
    clockErrorMs: roundTrip / 2,
  };
}

/** The floor: messages of that many bytes at that rate, out of a server that does nothing else. */
export async function bareSender(bytes, rate) {
  const http = createServer((_, response) => response.setHeader("Content-Type", "text/plain").end("nothing"));
  const server = new WebSocketServer({ server: http, perMessageDeflate: false });
  await new Promise((listening) => http.listen(0, "127.0.0.1", listening));
  const message = Buffer.alloc(bytes);
  server.on("connection", (socket) => {
    socket.on("message", (text) => {
      const { type, id } = JSON.parse(text);
      if (type === "ping") socket.send(JSON.stringify({ type: "pong", id, clock_ms: clockMs() }));
    });
    let due = clockMs();
    const send = () => {
      if (socket.readyState !== WebSocket.OPEN) return;
      message.writeDoubleLE(clockMs(), 8);
      message.writeDoubleLE(clockMs(), 48);
      socket.send(message);
      due += 1000 / rate;
      setTimeout(send, Math.max(0, due - clockMs()));
    };
    send();
  });
  const close = () => {
    for (const client of server.clients) client.terminate();
    http.close();
  };
  return { address: `http://127.0.0.1:${http.address().port}/`, close };
}
