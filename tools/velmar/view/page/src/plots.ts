// The plots beside the picture. They follow the frames; held or zoomed they stand, and can be read at leisure.
import uPlot from "uplot";
import "uplot/dist/uPlot.min.css";

import type { Losses } from "./losses";
import { kCauseNames } from "./losses";
import { kCauses } from "./protocol";
import type { Series } from "./series";
import { currentTheme, type Theme } from "./theme";

const kHeight = 90;
const kWindowsMs = [2_000, 5_000, 10_000, 30_000, 60_000];
const kGapMs = 500; // samples farther apart are not joined
const kRedrawMs = 50; // more pictures a second than one can read would only cost

/** What a plot shows. */
export interface Content {
  readonly title: string;
  readonly unit: string;
  readonly lines: readonly { readonly label: string; readonly column: number }[];
  readonly series: Series;
}

type Row = (number | null)[];

// One plot; made anew when its lines or the colours change.
class Plot {
  readonly element: HTMLElement;
  readonly #board: Plots;
  readonly #title: HTMLElement;
  readonly #place: HTMLElement;
  #chart: uPlot | null = null;
  #made = "";
  #rows: Row[] = [[]];

  constructor(board: Plots, parent: HTMLElement, name: string) {
    this.#board = board;
    this.element = document.createElement("section");
    this.element.className = "plot";
    this.element.dataset["plot"] = name;
    this.#title = document.createElement("h3");
    this.#place = document.createElement("div");
    this.element.append(this.#title, this.#place);
    this.element.hidden = true;
    parent.append(this.element);
  }

  resize(): void {
    if (this.#place.clientWidth > 0) this.#chart?.setSize({ width: this.#place.clientWidth, height: kHeight });
  }

  forget(): void {
    this.#made = "";
  }

  show(content: Content | null): void {
    this.element.hidden = content === null;
    if (!content) return;
    this.#make(
      content.title,
      content.unit,
      content.lines.map(({ label }) => label),
      false,
    );
    const [fromMs, toMs] = this.#board.span;
    this.#rows = rowsOf(content, fromMs, toMs);
    this.#redraw();
  }

  /** Lost frames by the second, causes one above the other. */
  showLosses(losses: Losses): void {
    this.element.hidden = false;
    this.#make(
      "Lost frames",
      "a second",
      kCauses.map((cause) => kCauseNames[cause]),
      true,
    );
    const { ms, counts } = losses.bins();
    // The sum of all is drawn first, and in front of it that of all but the first, and so on.
    const sums = kCauses.map((_, first) =>
      ms.map((_, i) => kCauses.slice(first).reduce((sum, c) => sum + counts[c][i], 0)),
    );
    this.#rows = [ms.map((at) => at / 1000 + 0.5), ...sums];
    this.#redraw();
  }

  #redraw(): void {
    const chart = this.#chart;
    if (!chart) return;
    const [fromMs, toMs] = this.#board.span;
    chart.batch(() => {
      chart.setData(this.#rows as unknown as uPlot.AlignedData, false);
      chart.setScale("x", { min: fromMs / 1000, max: toMs / 1000 });
    });
    if (chart.cursor.left === undefined || chart.cursor.left < 0)
      this.#legendAt(chart, this.#board.shownMs / 1000);
  }

  // The values of the frame that is shown, as long as no pointer asks for others.
  #legendAt(chart: uPlot, seconds: number): void {
    const times = chart.data[0];
    let row = times.length - 1;
    while (row > 0 && times[row] > seconds + 1e-4) --row;
    if (row >= 0) chart.setLegend({ idx: row });
  }

  #make(title: string, unit: string, labels: readonly string[], stacked: boolean): void {
    const wanted = JSON.stringify([title, unit, labels]);
    if (wanted === this.#made || this.#place.clientWidth === 0) return;
    this.#made = wanted;
    this.#chart?.destroy();
    this.element.classList.toggle("many", stacked || labels.length > 2);
    this.#title.textContent = unit ? `${title} (${unit})` : title;
    const options = optionsOf(this.#board, labels, stacked, () => this.#rows);
    options.width = this.#place.clientWidth;
    this.#chart = new uPlot(options, [[]], this.#place);
  }
}

function rowsOf(content: Content, fromMs: number, toMs: number): Row[] {
  const { series, lines } = content;
  const rows: Row[] = [[], ...lines.map((): Row => [])];
  const first = Math.max(0, series.rowAt(fromMs));
  const last = Math.min(series.count - 1, series.rowAt(toMs) + 1);
  for (let row = first; row <= last; ++row) {
    const ms = series.msAt(row);
    if (row > first && ms - series.msAt(row - 1) > kGapMs)
      rows.forEach((values, i) => values.push(i === 0 ? (ms - 1) / 1000 : null));
    rows[0].push(ms / 1000);
    lines.forEach(({ column }, i) => {
      const value = series.valueAt(row, column);
      rows[i + 1].push(Number.isFinite(value) ? value : null);
    });
  }
  return rows;
}

function optionsOf(board: Plots, labels: readonly string[], stacked: boolean, rows: () => Row[]): uPlot.Options {
  const theme = currentTheme();
  const axis = {
    stroke: theme.css("dim"),
    grid: { stroke: theme.css("line"), width: 1 },
    ticks: { show: false },
    font: "10px sans-serif",
  };
  return {
    width: 300,
    height: kHeight,
    padding: [6, 8, 0, 0],
    scales: { x: { time: true }, y: { range: (_, min, max) => rangeOf(min, max, stacked) } },
    axes: [
      { ...axis, size: 20, space: 70 },
      { ...axis, size: 46, space: 24, values: (_, ticks) => ticks.map(shortNumber) },
    ],
    legend: { live: true },
    cursor: {
      sync: { key: "time" },
      drag: { x: true, y: false, setScale: false },
      bind: { dblclick: () => () => (board.release(), null) },
    },
    series: [
      { value: "{HH}:{mm}:{ss}.{fff}" },
      ...labels.map((label, i) => lineOf(label, i, stacked, theme, rows)),
    ],
    hooks: { setSelect: [(chart) => board.zoomTo(chart)], draw: [(chart) => drawPlayhead(chart, board, theme)] },
  };
}

function lineOf(label: string, i: number, stacked: boolean, theme: Theme, rows: () => Row[]): uPlot.Series {
  if (!stacked)
    return {
      label,
      stroke: theme.css(`line-${i + 1}`),
      width: 1.5,
      points: { show: false },
      value: (_, value) => longNumber(value),
    };
  const color = theme.css(kCauses[i]);
  const own = (row: number | null): string =>
    row === null ? "–" : String((rows()[i + 1]?.[row] ?? 0) - (rows()[i + 2]?.[row] ?? 0));
  const paths = uPlot.paths.bars?.({ size: [0.9, 24, 3] });
  return {
    label,
    stroke: color,
    fill: color,
    points: { show: false },
    value: (_, __, ___, row) => own(row),
    ...(paths && { paths }),
  };
}

function drawPlayhead(chart: uPlot, board: Plots, theme: Theme): void {
  const x = chart.valToPos(board.shownMs / 1000, "x", true);
  if (!(x >= chart.bbox.left && x <= chart.bbox.left + chart.bbox.width)) return;
  chart.ctx.fillStyle = theme.css("playhead");
  chart.ctx.fillRect(x - 1, chart.bbox.top, 2, chart.bbox.height);
}

function rangeOf(min: number | null, max: number | null, stacked: boolean): [number, number] {
  if (min === null || max === null || !Number.isFinite(min) || !Number.isFinite(max)) return [0, 1];
  if (stacked) return [0, Math.max(max, 1) * 1.1];
  const margin = Math.max((max - min) * 0.1, Math.abs(max) * 0.05, 1e-3); // noise does not fill the plot
  return [min - margin, max + margin];
}

function shortNumber(value: number): string {
  return Math.abs(value) >= 10_000 ? `${+(value / 1000).toFixed(1)}k` : String(+value.toPrecision(5));
}
function longNumber(value: number | null): string {
  return value === null || value === undefined ? "–" : String(+value.toPrecision(5));
}

/** All plots: they share the times that they show. */
export class Plots {
  shownMs = NaN; // of the frame that is shown
  readonly #plots = new Map<string, Plot>();
  readonly #changed: () => void;
  #window = 2;
  #endMs = NaN;
  #held: [number, number] | null = null;
  #drawnMs = -Infinity;
  #due = 0;

  constructor(parent: HTMLElement, names: readonly string[], changed: () => void) {
    this.#changed = changed;
    for (const name of names) this.#plots.set(name, new Plot(this, parent, name));
    new ResizeObserver(() => this.#plots.forEach((plot) => plot.resize())).observe(parent);
  }

  /** From when to when, in milliseconds. */
  get span(): [number, number] {
    return this.#held ?? [this.#endMs - kWindowsMs[this.#window], this.#endMs];
  }
  get held(): boolean {
    return this.#held !== null;
  }
  get windowMs(): number {
    return kWindowsMs[this.#window];
  }

  hold(): void {
    this.#held = this.#held ? null : this.span;
    this.#changed();
  }
  release(): void {
    this.#held = null;
    this.#changed();
  }
  widen(by: 1 | -1): void {
    this.#window = Math.min(Math.max(this.#window + by, 0), kWindowsMs.length - 1);
    this.#held = null;
    this.#changed();
  }
  zoomTo(chart: uPlot): void {
    const { left, width } = chart.select;
    if (width < 2) return;
    this.#held = [chart.posToVal(left, "x") * 1000, chart.posToVal(left + width, "x") * 1000];
    chart.setSelect({ left: 0, top: 0, width: 0, height: 0 }, false);
    this.#changed();
  }
  /** Colours have changed. */
  paint(): void {
    this.#plots.forEach((plot) => plot.forget());
    this.#changed();
  }

  /** The frame of that time is shown now. Live, the plots end with it; else it moves within them. */
  follow(ms: number, live: boolean): void {
    this.shownMs = ms;
    const [fromMs, toMs] = [this.#endMs - this.windowMs, this.#endMs];
    if (live || !(ms <= toMs)) this.#endMs = ms;
    else if (ms < fromMs) this.#endMs = ms + this.windowMs / 2;
  }

  /** Soon, and not more often than can be read. */
  draw(contents: () => ReadonlyMap<string, Content | Losses | null>): void {
    if (this.#due !== 0) return;
    const waitMs = Math.max(0, this.#drawnMs + kRedrawMs - performance.now());
    this.#due = window.setTimeout(() => {
      this.#due = 0;
      this.#drawnMs = performance.now();
      for (const [name, content] of contents()) {
        const plot = this.#plots.get(name);
        if (content && "marks" in content) plot?.showLosses(content);
        else plot?.show(content);
      }
    }, waitMs);
  }
}
