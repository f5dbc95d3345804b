// Lost frames of the last minute, by cause.
import { type Cause, kCauses, type Losses as Message, type Mark } from "./protocol";

const kMostMarks = 600; // as the program keeps
const kBinMs = 1000;

export const kCauseNames: Readonly<Record<Cause, string>> = {
  too_slow: "too slow",
  incomplete: "incomplete",
  undecodable: "undecodable",
  never_seen: "never seen",
};

/** Lost frames by the second: of each bin its begin, and a list of numbers for each cause. */
export interface Bins {
  readonly ms: number[];
  readonly counts: Readonly<Record<Cause, number[]>>;
}

export class Losses {
  #marks: Mark[] = [];
  #changes = 0;

  get marks(): readonly Mark[] {
    return this.#marks;
  }
  get changes(): number {
    return this.#changes;
  }

  take(message: Message): void {
    this.#marks = [...(message.anew ? [] : this.#marks), ...message.marks].slice(-kMostMarks);
    ++this.#changes;
  }

  bins(): Bins {
    const totals = new Map<number, Mark>();
    const nothing = { too_slow: 0, incomplete: 0, undecodable: 0, never_seen: 0 };
    for (const mark of this.#marks) {
      const ms = Math.floor(mark.ms / kBinMs) * kBinMs;
      const sum = { ...(totals.get(ms) ?? { ms, ...nothing }) };
      for (const cause of kCauses) sum[cause] += mark[cause];
      totals.set(ms, sum);
    }
    const rows = [...totals.values()].sort((a, b) => a.ms - b.ms);
    const of = (cause: Cause): number[] => rows.map((row) => row[cause]);
    const counts = {
      too_slow: of("too_slow"),
      incomplete: of("incomplete"),
      undecodable: of("undecodable"),
      never_seen: of("never_seen"),
    };
    return { ms: rows.map((row) => row.ms), counts };
  }
}
