// Positions that can be drawn, and the space that they take.
import type { Described } from "./described";
import { countOf, kKinds, positionAt } from "./items";
import type { Frame } from "./protocol";

const kFarthest = 1e6; // beyond it, single precision leaves nothing to look at

/** Whether the three words there are a position that can be drawn: neither NaN nor infinite, nor out of all reach. */
export function drawable(floats: Float32Array, at: number): boolean {
  return (
    Math.abs(floats[at]) < kFarthest &&
    Math.abs(floats[at + 1]) < kFarthest &&
    Math.abs(floats[at + 2]) < kFarthest
  );
}

export class Bounds {
  readonly min = [Infinity, Infinity, Infinity];
  readonly max = [-Infinity, -Infinity, -Infinity];

  get empty(): boolean {
    return !(this.min[0] <= this.max[0]);
  }
  center(axis: number): number {
    return (this.min[axis] + this.max[axis]) / 2;
  }
  get radius(): number {
    return Math.hypot(...this.min.map((least, axis) => this.max[axis] - least)) / 2;
  }
  /** False when nothing of the other one lies outside. */
  widen(other: Bounds): boolean {
    const grows = other.min.some((least, axis) => least < this.min[axis] || other.max[axis] > this.max[axis]);
    if (grows) [other.min, other.max].forEach((corner) => this.add(corner));
    return grows;
  }
  add(position: ArrayLike<number>, at = 0): void {
    for (let axis = 0; axis < 3; ++axis) {
      this.min[axis] = Math.min(this.min[axis], position[at + axis]);
      this.max[axis] = Math.max(this.max[axis], position[at + axis]);
    }
  }
}

export function boundsOf(frame: Frame, described: Described): Bounds {
  const bounds = new Bounds();
  for (const kind of kKinds) {
    if (kind === "plate") continue; // an unloaded plate's centre of pressure may be anywhere
    for (let slot = 0; slot < countOf(frame, kind, described); ++slot) {
      const at = positionAt(frame, kind, slot);
      if (drawable(frame.floats, at)) bounds.add(frame.floats, at);
    }
  }
  for (const plate of described.plates) plate.corners.forEach((corner) => bounds.add(corner));
  return bounds;
}

/** The positions of a frame that are no numbers, and those that are numbers and too far away. */
export function undrawable(frame: Frame, described: Described): { noNumber: number; far: number } {
  const found = { noNumber: 0, far: 0 };
  for (const kind of kKinds) {
    for (let slot = 0; slot < countOf(frame, kind, described); ++slot) {
      const at = positionAt(frame, kind, slot);
      if (drawable(frame.floats, at)) continue;
      const finite = [0, 1, 2].every((axis) => Number.isFinite(frame.floats[at + axis]));
      ++found[finite ? "far" : "noNumber"];
    }
  }
  return found;
}

/** The middle of what is followed when nothing is picked: of the first skeleton, else of all. */
export function middleOf(frame: Frame, described: Described): [number, number, number] | null {
  const bounds = new Bounds();
  const bones = frame.skeletons.count > 0 ? frame.ints[frame.skeletons.at + 1] >>> 0 : 0;
  for (let slot = 0; slot < bones; ++slot) {
    const at = positionAt(frame, "bone", slot);
    if (drawable(frame.floats, at)) bounds.add(frame.floats, at);
  }
  const found = bounds.empty ? boundsOf(frame, described) : bounds;
  return found.empty ? null : [found.center(0), found.center(1), found.center(2)];
}
