// What is picked: by a click at it, by keys one after the other, or by its id.
import type { Described } from "./described";
import {
  countOf,
  idOf,
  kKinds,
  type Kind,
  nameOf,
  type Pick,
  positionAt,
  slotOf,
  valueNames,
  valuesOf,
} from "./items";
import type { Frame } from "./protocol";
import { Series } from "./series";
import { drawable } from "./space";

const kReachPixels = 14;
const kTogetherPixels = 5; // what lies so close under the pointer is picked in turn

/** What is picked, as the frame has it. */
export interface Picked extends Pick {
  readonly name: string;
  readonly slot: number;
  readonly values: Readonly<Record<string, number>>;
}

export class Picking {
  /** The values of what is picked over time; null when nothing is. */
  series: Series | null = null;
  pick: Pick | null = null;
  #slot = -1;

  set(pick: Pick | null): void {
    this.pick = pick;
    this.#slot = -1;
    this.series = pick ? new Series(valueNames(pick.kind).length) : null;
  }

  /** Of every frame that comes. */
  sample(frame: Frame): void {
    if (!this.pick || !this.series) return;
    this.#slot = slotOf(frame, this.pick, this.#slot);
    if (this.#slot >= 0) this.series.add(frame.arrivalMs, valuesOf(frame, this.pick.kind, this.#slot));
  }

  /** Null when nothing is picked, or the frame does not have it. */
  find(frame: Frame | null, described: Described): Picked | null {
    if (!this.pick || !frame) return null;
    const slot = slotOf(frame, this.pick, this.#slot);
    if (slot < 0) return null;
    const { kind, id } = this.pick;
    const values = valuesOf(frame, kind, slot);
    const named = Object.fromEntries(valueNames(kind).map((name, i) => [name, values[i]]));
    return { kind, id, slot, name: nameOf(frame, kind, slot, described), values: named };
  }

  /** What is seen there; clicked again at the same place, the next of those that lie together. */
  at(frame: Frame, described: Described, x: number, y: number, project: Projection): void {
    const near = nearTo(frame, described, x, y, project);
    if (near.length === 0) return this.set(null);
    const together = near.filter(({ distance }) => distance <= near[0].distance + kTogetherPixels);
    const now = together.findIndex(({ pick }) => samePick(pick, this.pick));
    this.set(together[(now + 1) % together.length].pick);
  }

  /** The next one in the order of the frame, or the one before. */
  next(frame: Frame, described: Described, by: 1 | -1): void {
    const counts = kKinds.map((kind) => countOf(frame, kind, described));
    const total = counts.reduce((sum, count) => sum + count, 0);
    if (total === 0) return;
    let place = by > 0 ? -1 : total;
    if (this.pick) {
      const slot = slotOf(frame, this.pick, this.#slot);
      const before = counts.slice(0, kKinds.indexOf(this.pick.kind)).reduce((sum, count) => sum + count, 0);
      if (slot >= 0) place = before + slot;
    }
    let left = (place + by + total) % total;
    for (const [i, kind] of kKinds.entries()) {
      if (left < counts[i]) return this.set({ kind, id: idOf(frame, kind, left) });
      left -= counts[i];
    }
  }
}

type Projection = (position: ArrayLike<number>, at: number) => [number, number] | null;

interface Near {
  readonly pick: Pick;
  readonly distance: number;
}

function samePick(a: Pick, b: Pick | null): boolean {
  return b !== null && a.kind === b.kind && a.id === b.id;
}

// By distance; at the same place, in the order of the kinds.
function nearTo(frame: Frame, described: Described, x: number, y: number, project: Projection): Near[] {
  const near: Near[] = [];
  const look = (kind: Kind, slot: number): void => {
    const at = positionAt(frame, kind, slot);
    const seen = drawable(frame.floats, at) ? project(frame.floats, at) : null;
    const distance = seen ? Math.hypot(seen[0] - x, seen[1] - y) : Infinity;
    if (distance <= kReachPixels) near.push({ pick: { kind, id: idOf(frame, kind, slot) }, distance });
  };
  for (const kind of kKinds) for (let slot = 0; slot < countOf(frame, kind, described); ++slot) look(kind, slot);
  return near.sort((a, b) => a.distance - b.distance);
}
