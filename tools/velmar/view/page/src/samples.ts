// What the plots show: values of every frame that was to be seen, whether there was time to draw it or not.
import { kGroups, valueNames } from "./items";
import type { Losses } from "./losses";
import type { Picking } from "./picking";
import type { Content } from "./plots";
import { kPlate, kWords, type Frame } from "./protocol";
import { Series } from "./series";

const kMostPlates = 8;

export class Samples {
  readonly #forces = new Series(kMostPlates);
  readonly #intervals = new Series(1, "largest");
  readonly #added = new Series(1, "largest"); // from the library to this page, milliseconds
  #latest: Frame | null = null;

  constructor(
    readonly picking: Picking,
    readonly losses: Losses,
  ) {}

  /** What comes next does not follow what came. */
  interrupt(): void {
    this.#latest = null;
  }

  take(frame: Frame): void {
    const before = this.#latest;
    this.#latest = frame;
    if (before && frame.index > before.index)
      this.#intervals.add(frame.arrivalMs, [(frame.arrivalMs - before.arrivalMs) / (frame.index - before.index)]);
    const vertical = Array.from({ length: kMostPlates }, (_, plate) =>
      plate < frame.plates.count ? frame.floats[frame.plates.at + plate * kWords.plate + kPlate.force + 2] : NaN,
    );
    if (frame.plates.count > 0) this.#forces.add(frame.arrivalMs, vertical);
    this.picking.sample(frame);
  }

  takeDelay(frame: Frame, addedMs: number): void {
    this.#added.add(frame.arrivalMs, [addedMs]);
  }

  /** Times and values of "force 1" and so on, "interval", "added", "lost" (of each second), and of what is picked
   * "picked x", "picked qw", "picked residual" ... */
  values(name: string): { ms: number[]; values: number[] } {
    if (name === "lost") {
      const { ms, counts } = this.losses.bins();
      return { ms, values: ms.map((_, i) => Object.values(counts).reduce((sum, of) => sum + of[i], 0)) };
    }
    const [series, column] = this.#seriesOf(name);
    const rows =
      series && column >= 0 && column < series.columns
        ? Array.from({ length: series.count }, (_, row) => row)
        : [];
    return {
      ms: rows.map((row) => series?.msAt(row) ?? NaN),
      values: rows.map((row) => series?.valueAt(row, column) ?? NaN),
    };
  }

  #seriesOf(name: string): [Series | null, number] {
    const [what, which = ""] = name.split(" ");
    if (what === "force") return [this.#forces, Number(which) - 1];
    if (what === "interval") return [this.#intervals, 0];
    if (what === "added") return [this.#added, 0];
    const kind = this.picking.pick?.kind;
    return what === "picked" && kind ? [this.picking.series, valueNames(kind).indexOf(which)] : [null, -1];
  }

  /** The plots by name; null what there is nothing of. Of what is picked, the group of values of that name. */
  contents(plates: number, plotted: string, showsLosses: boolean): Map<string, Content | Losses | null> {
    const lines = Array.from({ length: Math.min(plates, kMostPlates) }, (_, i) => ({
      label: `${i + 1}`,
      column: i,
    }));
    const force = { title: "Vertical force", unit: "N", lines, series: this.#forces };
    const interval = {
      title: "Arrival interval",
      unit: "ms",
      lines: [{ label: "interval", column: 0 }],
      series: this.#intervals,
    };
    return new Map<string, Content | Losses | null>([
      ["force", plates > 0 ? force : null],
      ["picked", this.#pickedContent(plotted)],
      ["interval", interval],
      ["lost", showsLosses ? this.losses : null],
    ]);
  }

  #pickedContent(plotted: string): Content | null {
    const { pick, series } = this.picking;
    if (!pick || !series) return null;
    const names = valueNames(pick.kind);
    const group =
      kGroups.find(([name, values]) => name === plotted && values.every((value) => names.includes(value))) ??
      kGroups[0];
    const lines = group[1].map((label) => ({ label, column: names.indexOf(label) }));
    return { title: `Picked: ${group[0]}`, unit: "", lines, series };
  }
}
