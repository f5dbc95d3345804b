// The WebSocket to the program: comes back by itself, and knows how far the program's clock is from this page's.
import { decodeFrame, decodeState, type Frame, kTaken, pingText, type State } from "./protocol";

const kFirstWaitMs = 250;
const kLongestWaitMs = 5000;
const kPingEveryMs = 2000;
const kPingsKept = 16; // the offset is of the last half minute, since clocks drift

/** What a connection tells. */
export interface Listener {
  opened(): void;
  closed(): void;
  state(state: State): void;
  /** On the page's clock (performance.now()). */
  frame(frame: Frame, receivedMs: number): void;
  /** A message that cannot be read. */
  fault(text: string): void;
}

interface Ping {
  readonly roundTripMs: number;
  readonly offsetMs: number;
}

export class Connection {
  readonly #url: string;
  readonly #listener: Listener;
  #socket: WebSocket | null = null;
  #waitMs = kFirstWaitMs;
  #pings: Ping[] = [];
  #sentAt = new Map<number, number>();
  #pingId = 0;

  constructor(url: string, listener: Listener) {
    this.#url = url;
    this.#listener = listener;
    setInterval(() => this.#ping(), kPingEveryMs);
    this.#open();
  }

  get connected(): boolean {
    return this.#socket?.readyState === WebSocket.OPEN;
  }

  /** What is to be added to this page's clock to get the program's; null before the first answer. */
  get clockOffsetMs(): number | null {
    if (this.#pings.length === 0) return null;
    return this.#pings.reduce((best, ping) => (ping.roundTripMs < best.roundTripMs ? ping : best)).offsetMs;
  }

  /** False when there is nobody to send it to. */
  send(text: string): boolean {
    if (!this.connected) return false;
    this.#socket?.send(text);
    return true;
  }

  #open(): void {
    const socket = new WebSocket(this.#url);
    socket.binaryType = "arraybuffer";
    socket.onopen = () => {
      this.#waitMs = kFirstWaitMs;
      this.#pings = [];
      this.#sentAt.clear();
      this.#listener.opened();
      this.#ping();
    };
    socket.onmessage = (event: MessageEvent<string | ArrayBuffer>) => this.#take(event.data);
    socket.onclose = () => {
      this.#socket = null;
      this.#listener.closed();
      setTimeout(() => this.#open(), this.#waitMs);
      this.#waitMs = Math.min(this.#waitMs * 2, kLongestWaitMs);
    };
    this.#socket = socket;
  }

  #take(data: string | ArrayBuffer): void {
    const receivedMs = performance.now();
    if (typeof data !== "string") {
      this.send(kTaken); // first of all: the next one may set out while this one is looked at
      const frame = decodeFrame(data);
      if (typeof frame === "string") this.#listener.fault(frame);
      else this.#listener.frame(frame, receivedMs);
      return;
    }
    const state = decodeState(data);
    if (typeof state === "string") this.#listener.fault(state);
    else if (state.type === "pong") this.#pong(state.id, state.clockMs, receivedMs);
    else this.#listener.state(state);
  }

  #ping(): void {
    const id = ++this.#pingId;
    const now = performance.now();
    if (!this.send(pingText(id))) return;
    this.#sentAt.set(id, now);
    if (this.#sentAt.size > kPingsKept) this.#sentAt.delete(id - kPingsKept);
  }

  #pong(id: number, clockMs: number, receivedMs: number): void {
    const sentMs = this.#sentAt.get(id);
    if (sentMs === undefined || !Number.isFinite(clockMs)) return;
    this.#sentAt.delete(id);
    this.#pings.push({ roundTripMs: receivedMs - sentMs, offsetMs: clockMs - (sentMs + receivedMs) / 2 });
    if (this.#pings.length > kPingsKept) this.#pings.shift();
  }
}
