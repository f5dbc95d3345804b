// Values over the times of frames, in memory of fixed size.

const kSpanMs = 60_000;
const kRows = 16384;
const kLeastStepMs = kSpanMs / kRows; // frames that come denser than 273 Hz share rows

/** How frames that share a row are joined. */
export type Join = "newest" | "largest";

/** Rows of values in the order of their times. The oldest rows go: those of more than a minute before the newest,
 * and whatever there is no room for. */
export class Series {
  readonly columns: number;
  readonly #join: Join;
  readonly #ms = new Float64Array(kRows);
  readonly #values: Float32Array;
  #first = 0;
  #count = 0;
  #changes = 0;

  constructor(columns: number, join: Join = "newest") {
    this.columns = columns;
    this.#join = join;
    this.#values = new Float32Array(kRows * columns);
  }

  get count(): number {
    return this.#count;
  }
  /** Rises with every change. */
  get changes(): number {
    return this.#changes;
  }
  msAt(row: number): number {
    return this.#ms[this.#slot(row)];
  }
  valueAt(row: number, column: number): number {
    return this.#values[this.#slot(row) * this.columns + column];
  }

  /** The last row of a time up to this one; -1 when all are later. */
  rowAt(ms: number): number {
    let first = -1;
    let end = this.#count;
    while (end - first > 1) {
      const middle = (first + end) >> 1;
      if (this.msAt(middle) <= ms) first = middle;
      else end = middle;
    }
    return first;
  }

  clear(): void {
    this.#count = 0;
    ++this.#changes;
  }

  /** Rows come in any order of times: who scrolls back brings frames of before. */
  add(ms: number, values: ArrayLike<number>): void {
    ++this.#changes;
    const before = this.rowAt(ms);
    if (before >= 0 && ms - this.msAt(before) < kLeastStepMs) return this.#merge(before, values);
    if (this.#count > 0 && ms < this.msAt(this.#count - 1) - kSpanMs) this.#count = 0; // a minute is what is kept
    if (this.#count === kRows) {
      if (before < 0) --this.#count;
      else this.#dropFirst();
    }
    this.#insert(this.rowAt(ms) + 1, ms, values);
    while (this.msAt(this.#count - 1) - this.msAt(0) > kSpanMs) this.#dropFirst();
  }

  #merge(row: number, values: ArrayLike<number>): void {
    for (let i = 0; i < this.columns; ++i) {
      const at = this.#slot(row) * this.columns + i;
      const keeps = this.#join === "largest" && this.#values[at] > values[i];
      if (!keeps) this.#values[at] = values[i];
    }
  }

  #insert(row: number, ms: number, values: ArrayLike<number>): void {
    ++this.#count;
    for (let i = this.#count - 1; i > row; --i) this.#move(i - 1, i);
    const slot = this.#slot(row);
    this.#ms[slot] = ms;
    for (let i = 0; i < this.columns; ++i) this.#values[slot * this.columns + i] = values[i];
  }

  #move(from: number, to: number): void {
    const a = this.#slot(from);
    const b = this.#slot(to);
    this.#ms[b] = this.#ms[a];
    this.#values.copyWithin(b * this.columns, a * this.columns, (a + 1) * this.columns);
  }

  #dropFirst(): void {
    this.#first = this.#slot(1);
    --this.#count;
  }

  #slot(row: number): number {
    return (this.#first + row) % kRows;
  }
}
