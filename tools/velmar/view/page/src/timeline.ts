// Which frame is shown: the newest one, one that is held, or one after the other out of the history.
import { answers, atText, type Frame, type Hello, type History, kLive, type Where } from "./protocol";

const kSlowest = 1 / 16;
const kFastest = 4;
const kSecondMs = 1000;
const kLongestTickMs = 250; // a page that was hidden goes on from where it was
const kAnswerWithinMs = 1000; // a frame that cannot be read is never sent

export type Mode = "live" | "paused" | "playing";

export interface TimelineHost {
  send(text: string): boolean;
  /** A frame to be drawn. */
  show(frame: Frame, receivedMs: number): void;
  /** Something that controls show. */
  changed(): void;
}

interface Asked {
  readonly where: Where;
  readonly atMs: number;
}

export class Timeline {
  mode: Mode = "live";
  speed = 1;
  recording = false;
  /** The frame that is shown; null before the first one. */
  frame: Frame | null = null;
  oldest = 0;
  newest = 0;
  oldestMs = NaN;
  newestMs = NaN;

  readonly #host: TimelineHost;
  #began = false;
  #wanted: Where | null = null; // once the answer to #asked is there
  #asked: Asked | null = null;
  #playMs = 0;
  #tickMs = 0;

  constructor(host: TimelineHost) {
    this.#host = host;
  }

  /** The place that is shown; -1 before the first frame. */
  get index(): number {
    return this.frame?.index ?? -1;
  }

  /** Milliseconds between what is shown and the newest frame. */
  get behindMs(): number {
    return this.frame ? Math.max(0, this.newestMs - this.frame.arrivalMs) : 0;
  }

  get atEnd(): boolean {
    return this.frame !== null && this.frame.index >= this.newest;
  }

  /** Another connection: the program follows, or holds its first frame, as it does for every page that comes. */
  begin(hello: Hello): void {
    this.recording = hello.kind === "recording";
    this.#asked = null;
    if (!this.#began) this.mode = this.recording ? "playing" : "live";
    else if (this.mode === "live" && this.recording) this.mode = "playing";
    this.#began = true;
    this.#playMs = this.frame?.arrivalMs ?? NaN;
    if (this.mode !== "live" && this.frame) this.#ask(this.#wanted ?? { index: this.frame.index });
    this.#host.changed();
  }

  know(history: History | null): void {
    if (!history) return;
    this.oldest = history.oldest;
    this.newest = history.newest;
    this.oldestMs = history.oldestMs;
    this.newestMs = history.newestMs;
  }

  take(frame: Frame, receivedMs: number): void {
    this.oldest = frame.oldest;
    this.newest = frame.newest;
    if (frame.index === frame.newest) this.newestMs = frame.arrivalMs;
    if (frame.index === frame.oldest) this.oldestMs = frame.arrivalMs;
    if (this.mode !== "live" && this.#asked && !answers(frame, this.#asked.where)) return;
    if (this.mode === "paused" && !this.#asked && this.frame) return; // was on its way when the pause came
    this.#asked = null;
    this.frame = frame;
    if (this.mode === "playing" && !Number.isFinite(this.#playMs)) this.#playMs = frame.arrivalMs;
    this.#host.show(frame, receivedMs);
    this.#askWanted();
  }

  /** Once for each picture; true while frames are to be played. */
  tick(nowMs: number): boolean {
    const passedMs = Math.min(nowMs - this.#tickMs, kLongestTickMs);
    this.#tickMs = nowMs;
    if (this.#asked && nowMs - this.#asked.atMs > kAnswerWithinMs) this.#asked = null;
    if (this.mode !== "playing" || !this.frame || !Number.isFinite(this.#playMs)) return this.mode === "playing";
    this.#playMs += Math.max(0, passedMs) * this.speed;
    if (this.recording) this.#stopAtEnd();
    else if (this.speed >= 1 && this.#playMs >= this.newestMs) this.live(); // who is slower never gets there
    if (this.mode !== "playing") return false;
    this.#ask({ ms: this.#playMs });
    return true;
  }

  #stopAtEnd(): void {
    if (!this.frame || !this.atEnd || this.#playMs < this.frame.arrivalMs) return;
    this.mode = "paused";
    this.#host.changed();
  }

  pauseOrGo(): void {
    if (this.mode !== "paused") {
      this.#hold({ index: Math.max(this.index, 0) });
    } else if (this.recording && this.atEnd) {
      this.#playFrom(this.oldestMs);
    } else {
      this.#playFrom(this.frame?.arrivalMs ?? NaN);
    }
  }

  step(frames: number): void {
    const from = this.#wantedIndex() ?? this.index;
    this.#hold({ index: Math.min(Math.max(from + frames, this.oldest), this.newest) });
  }

  seconds(seconds: number): void {
    if (this.frame) this.seekMs(this.#wantedMs(this.frame) + seconds * kSecondMs);
  }

  seek(index: number): void {
    this.#hold({ index });
  }

  /** Goes on playing from there when it played. */
  seekMs(ms: number): void {
    const within = Math.max(ms, Number.isFinite(this.oldestMs) ? this.oldestMs : ms);
    if (this.mode === "playing") this.#playFrom(within);
    else this.#hold({ ms: within });
  }

  first(): void {
    this.#hold({ index: this.oldest });
  }

  /** The newest frame, and those that follow; of a recording, the last one. */
  live(): void {
    if (this.recording) return this.#hold({ index: this.newest });
    this.mode = "live";
    this.speed = 1;
    this.#wanted = null;
    this.#asked = null;
    this.#host.send(kLive);
    this.#host.changed();
  }

  faster(): void {
    this.#setSpeed(this.speed * 2);
  }

  /** Who follows live and wants it slower goes on from here. */
  slower(): void {
    this.#setSpeed(this.speed / 2);
    if (this.mode === "live" && this.frame) this.#playFrom(this.frame.arrivalMs);
  }

  #setSpeed(speed: number): void {
    if (this.mode === "live" && speed > 1) return;
    this.speed = Math.min(Math.max(speed, kSlowest), kFastest);
    this.#host.changed();
  }

  #playFrom(ms: number): void {
    this.mode = "playing";
    this.#playMs = ms;
    this.#tickMs = performance.now();
    if (Number.isFinite(ms)) this.#ask({ ms });
    this.#host.changed();
  }

  #hold(where: Where): void {
    this.mode = "paused";
    this.#ask(where);
    this.#host.changed();
  }

  #ask(where: Where): void {
    this.#wanted = where;
    if (!this.#asked) this.#askWanted();
  }

  #askWanted(): void {
    if (!this.#wanted) return;
    const where = this.#wanted;
    if (!this.#host.send(atText(where))) return; // is asked again when the program is back
    this.#wanted = null;
    this.#asked = { where, atMs: performance.now() };
  }

  #wantedIndex(): number | undefined {
    const where = this.#wanted ?? this.#asked?.where;
    return where && "index" in where ? where.index : undefined;
  }

  #wantedMs(frame: Frame): number {
    const where = this.#wanted ?? this.#asked?.where;
    return where && "ms" in where ? where.ms : frame.arrivalMs;
  }
}
