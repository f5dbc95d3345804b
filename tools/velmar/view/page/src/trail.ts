// The way that what is picked has come.
import type { Object3D } from "three";

import { Lines } from "./lines";
import type { Series } from "./series";
import type { Theme } from "./theme";

const kTrailMs = 4000;
const kBreakMs = 500; // what is farther apart is not joined

export class Trail {
  shown = false;
  readonly #lines: Lines;
  #theme: Theme | null = null;

  constructor(parent: Object3D) {
    this.#lines = new Lines(parent, 2, 0.8);
  }

  paint(theme: Theme): void {
    this.#theme = theme;
  }

  /** Up to a time; the first three columns of the series are the position. */
  draw(series: Series | null, untilMs: number): void {
    this.#lines.begin();
    if (this.shown && series && this.#theme) {
      const last = series.rowAt(untilMs);
      for (let row = last; row > 0 && series.msAt(row - 1) > untilMs - kTrailMs; --row) {
        if (series.msAt(row) - series.msAt(row - 1) > kBreakMs) continue;
        const points = [row - 1, row].flatMap((r) => [0, 1, 2].map((axis) => series.valueAt(r, axis)));
        if (!points.every(Number.isFinite)) continue;
        this.#lines.add(
          points[0],
          points[1],
          points[2],
          points[3],
          points[4],
          points[5],
          this.#theme.color("picked"),
        );
      }
    }
    this.#lines.end();
  }
}
