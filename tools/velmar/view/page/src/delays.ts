// How long frames take from the kernel to the picture, and where.

const kWeight = 1 / 30; // of a new value: means of about thirty frames

class Mean {
  value = NaN;
  add(value: number): void {
    if (Number.isFinite(value))
      this.value = Number.isFinite(this.value) ? this.value + (value - this.value) * kWeight : value;
  }
}

/** Means in milliseconds; NaN before the first frame that is live. */
export class Delays {
  readonly #kernelToLibrary = new Mean();
  readonly #libraryToSocket = new Mean();
  readonly #socketToDrawn = new Mean();

  get kernelToLibrary(): number {
    return this.#kernelToLibrary.value;
  }
  get libraryToSocket(): number {
    return this.#libraryToSocket.value;
  }
  get socketToDrawn(): number {
    return this.#socketToDrawn.value;
  }
  get total(): number {
    return this.kernelToLibrary + this.libraryToSocket + this.socketToDrawn;
  }

  came(kernelMs: number, libraryMs: number): void {
    this.#kernelToLibrary.add(kernelMs);
    this.#libraryToSocket.add(libraryMs);
  }
  drawn(ms: number): void {
    this.#socketToDrawn.add(ms);
  }
}
