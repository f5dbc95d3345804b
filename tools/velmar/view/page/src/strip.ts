// The strip above the time line: of a server its last minute, of a recording all of it. Every lost frame is a mark in
// the colour of its cause, one above the other where several went together.
import type { Losses } from "./losses";
import { kCauses } from "./protocol";
import type { Theme } from "./theme";
import type { Timeline } from "./timeline";

const kMinuteMs = 60_000;
const kMarkWidth = 2;
const kMarkHeight = 5; // of one frame; many together are lower

export class Strip {
  readonly #canvas: HTMLCanvasElement;
  readonly #timeline: Timeline;

  constructor(canvas: HTMLCanvasElement, timeline: Timeline) {
    this.#canvas = canvas;
    this.#timeline = timeline;
    const seek = (event: PointerEvent): void => {
      const box = canvas.getBoundingClientRect();
      const { fromMs, toMs } = this.#span();
      const ms = fromMs + ((event.clientX - box.left) / box.width) * (toMs - fromMs);
      if (Number.isFinite(ms)) timeline.seekMs(ms);
    };
    canvas.addEventListener("pointerdown", (event) => {
      canvas.setPointerCapture(event.pointerId);
      seek(event);
    });
    canvas.addEventListener("pointermove", (event) => {
      if (canvas.hasPointerCapture(event.pointerId)) seek(event);
    });
  }

  draw(losses: Losses, theme: Theme): void {
    const width = this.#canvas.clientWidth;
    const height = this.#canvas.clientHeight;
    const ratio = devicePixelRatio;
    this.#canvas.width = Math.round(width * ratio); // clears it
    this.#canvas.height = Math.round(height * ratio);
    const pen = this.#canvas.getContext("2d");
    const { fromMs, toMs } = this.#span();
    if (!pen || !(toMs > fromMs)) return;
    pen.scale(ratio, ratio);
    const x = (ms: number): number => ((ms - fromMs) / (toMs - fromMs)) * width;
    this.#drawKept(pen, x, width, height, theme);
    for (const mark of losses.marks) {
      if (mark.ms < fromMs || mark.ms > toMs) continue;
      const total = kCauses.reduce((sum, cause) => sum + mark[cause], 0);
      const each = Math.min(kMarkHeight, height / Math.max(total, 1));
      let top = height;
      for (const cause of kCauses) {
        pen.fillStyle = theme.css(cause);
        top -= each * mark[cause];
        pen.fillRect(x(mark.ms) - kMarkWidth / 2, top, kMarkWidth, each * mark[cause]);
      }
    }
    const shown = this.#timeline.frame;
    pen.fillStyle = theme.css("playhead");
    if (shown) pen.fillRect(Math.min(x(shown.arrivalMs), width - 1) - 1, 0, 2, height);
  }

  // What the history has, in front of the rest of the minute; a tick for every ten seconds.
  #drawKept(
    pen: CanvasRenderingContext2D,
    x: (ms: number) => number,
    width: number,
    height: number,
    theme: Theme,
  ): void {
    const { oldestMs, newestMs } = this.#timeline;
    const from = Math.max(0, x(oldestMs));
    pen.fillStyle = theme.css("kept");
    pen.fillRect(from, height - 3, Math.min(width, x(newestMs)) - from, 3);
    pen.fillStyle = theme.css("line");
    const { fromMs, toMs } = this.#span();
    const tickMs = Math.max(10_000, 10_000 * Math.ceil((toMs - fromMs) / (30 * 10_000)));
    for (let ms = toMs; ms > fromMs; ms -= tickMs) pen.fillRect(x(ms), 0, 1, height);
  }

  #span(): { fromMs: number; toMs: number } {
    const { recording, oldestMs, newestMs } = this.#timeline;
    return { fromMs: recording ? oldestMs : newestMs - kMinuteMs, toMs: newestMs };
  }
}
