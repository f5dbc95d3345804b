// The page: brings connection, time line, picture, plots and words together.
//
// window.velmar is the App. What is documented here as for scripts stays by its name: tests and measurements use it.
import { Connection } from "./connection";
import { bindingsOf, type Controlled } from "./controls";
import { Delays } from "./delays";
import { Described } from "./described";
import { byId, setText } from "./dom";
import { kGroups, kKinds, type Kind, positionAt, valueNames } from "./items";
import { fillHelp, listen } from "./keys";
import { Losses } from "./losses";
import { frameNotices, showLog, showNotices, showPicked, showStatus, showTimeline } from "./panel";
import { Picking } from "./picking";
import { Plots } from "./plots";
import {
  type Descriptions,
  type Frame,
  type Hello,
  type Sets,
  type State,
  type Statistics,
  type Status,
} from "./protocol";
import { Samples } from "./samples";
import { Scene } from "./scene";
import { Bounds, boundsOf, middleOf, undrawable } from "./space";
import { Strip } from "./strip";
import "./style.css";
import { currentTheme, Lighting, type Theme } from "./theme";
import { Timeline } from "./timeline";

const kWordsEveryMs = 100; // what is in words changes no faster than one can read
const kClickPixels = 4; // a pointer that moved farther has turned the picture
const kUnitsPerMetre: Readonly<Record<string, number>> = {
  m: 1,
  dm: 10,
  cm: 100,
  mm: 1000,
  in: 39.3701,
  ft: 3.28084,
};
const kPlotNames = ["force", "picked", "interval", "lost"];

/** The latest state of each type. */
interface Known {
  hello?: Hello;
  descriptions?: Descriptions;
  sets?: Sets;
  status?: Status;
  statistics?: Statistics;
}

class App {
  /** For scripts: the latest state of each type, decoded. */
  readonly status: Known = {};
  /** For scripts: has mode, index, speed, frame. */
  readonly timeline: Timeline;
  /** For scripts: how many pictures were drawn. */
  pictures = 0;
  /** For scripts: frames that have been received. */
  framesReceived = 0;
  /** For scripts: messages of the program that could not be read. */
  faults = 0;

  readonly #lighting = new Lighting(() => this.#paint());
  readonly #connection: Connection;
  readonly #scene: Scene;
  readonly #plots: Plots;
  readonly #strip: Strip;
  readonly #picking = new Picking();
  readonly #losses = new Losses();
  readonly #delays = new Delays();
  readonly #samples = new Samples(this.#picking, this.#losses);
  #theme: Theme = currentTheme();
  #described = new Described(null, 1);
  #drawn: Frame | null = null;
  #isNew = false; // whether the frame that is shown has not been drawn yet
  #skipped = 0;
  #wordsMs = -Infinity;
  #wakeForWords = 0;
  #picture = 0;
  #fault = "";
  #frameNotices: readonly string[] = [];
  #retrying = false;
  #seen = new Bounds(); // up to now, as long as the camera has not been touched
  #isPictureOld = true;
  #plotted = kGroups[0][0];

  constructor() {
    const changed = (): void => this.#invalidate();
    this.#scene = new Scene(byId<HTMLCanvasElement>("view"), byId("labels"), changed);
    this.#plots = new Plots(byId("plots"), kPlotNames, changed);
    this.timeline = new Timeline({
      send: (text) => this.#connection.send(text),
      show: (frame, receivedMs) => this.#show(frame, receivedMs),
      changed,
    });
    this.#strip = new Strip(byId<HTMLCanvasElement>("strip"), this.timeline);
    this.#listen();
    this.#offerValues();
    this.#connection = new Connection(streamUrl(), {
      opened: () => this.#opened(),
      closed: () => this.#closed(),
      state: (state) => this.#take(state),
      frame: (frame, receivedMs) => this.#came(frame, receivedMs),
      fault: (text) => this.#failed(text),
    });
    setInterval(() => this.#wake(), 500); // times pass without frames too
    this.#invalidate();
  }

  /** For scripts: CSS pixels of the page where a position is seen, null behind the camera. */
  project(position: readonly number[]): [number, number] | null {
    return this.#scene.project(position);
  }

  /** For scripts: the frame that is drawn, decoded; null before the first one. */
  get frame(): Frame | null {
    return this.#drawn;
  }

  /** For scripts: kind, id, name, slot and values by name; null when nothing is, or the frame does not have it. */
  get picked(): ReturnType<Picking["find"]> {
    return this.#picking.find(this.#drawn, this.#described);
  }

  /** For scripts: picks by kind ("labelled", "body", "bone", "other", "set", "plate") and id (see items.ts). */
  pick(kind: Kind, id: string | number): void {
    if (kKinds.includes(kind)) this.#picking.set({ kind, id: String(id) });
    this.#pickedAnother();
  }

  /** For scripts: the texts that stand as notices. */
  get notices(): string[] {
    const lost = this.#retrying ? ["The connection to velmar view is lost. Trying again …"] : [];
    const fault = this.#fault ? [this.#fault] : [];
    const labelled = (this.#drawn?.labelled.count ?? 0) > 0;
    const unknown =
      labelled && !this.#described.labels
        ? ["Labelled markers are not drawn: their words are the server's own."]
        : [];
    return [
      ...lost,
      ...(this.status.status?.notices ?? []),
      ...fault,
      ...this.#described.notices,
      ...unknown,
      ...this.#frameNotices,
    ];
  }

  /** For scripts: times and values of "force 1" and so on, "interval", "added" (delay from the library to this page,
   * milliseconds), "lost" (of each second), and of what is picked "picked x", "picked qw", "picked residual" ... */
  plotValues(name: string): { ms: number[]; values: number[] } {
    return this.#samples.values(name);
  }

  /** For scripts: what is to be added to performance.now() to get the program's clock; null when not yet known. */
  get clockOffsetMs(): number | null {
    return this.#connection.clockOffsetMs;
  }

  get #unit(): string {
    return this.status.hello?.unit ?? "m";
  }
  get #unitsPerMetre(): number {
    return kUnitsPerMetre[this.#unit] ?? 1;
  }

  // --- what comes ---

  #opened(): void {
    this.#retrying = false;
    this.#samples.interrupt();
    this.#invalidate();
  }

  #closed(): void {
    this.#retrying = true;
    this.#wordsMs = -Infinity;
    this.#invalidate();
  }

  #failed(text: string): void {
    ++this.faults;
    this.#fault = `Not understood: ${text}.`;
    this.#invalidate();
  }

  #take(state: State): void {
    switch (state.type) {
      case "hello":
        this.status.hello = state;
        this.#describe();
        this.timeline.begin(state);
        break;
      case "descriptions":
        this.status.descriptions = state;
        this.#describe();
        break;
      case "sets":
        this.status.sets = state;
        this.#described.setNames(state.names);
        break;
      case "status":
        this.status.status = state;
        break;
      case "statistics":
        this.status.statistics = state;
        this.timeline.know(state.history);
        break;
      case "losses":
        this.#losses.take(state);
        break;
      case "log":
        showLog(state);
        break;
      case "pong":
        break;
    }
    this.#wordsMs = -Infinity;
    this.#wake();
  }

  #describe(): void {
    this.#described = new Described(this.status.descriptions ?? null, this.#unitsPerMetre);
    this.#described.setNames(this.status.sets?.names ?? []);
    this.#isPictureOld = true;
  }

  #came(frame: Frame, receivedMs: number): void {
    ++this.framesReceived;
    this.#skipped = frame.skipped;
    this.timeline.take(frame, receivedMs);
  }

  // Of every frame that is to be seen, whether there is time to draw it or not.
  #show(frame: Frame, receivedMs: number): void {
    this.#drawn = frame;
    this.#isNew = true;
    this.#fault = "";
    if (this.timeline.mode === "live") this.#measure(frame, receivedMs);
    this.#samples.take(frame);
    this.#plots.follow(frame.arrivalMs, this.timeline.mode === "live");
    this.#invalidate();
  }

  #measure(frame: Frame, receivedMs: number): void {
    const offsetMs = this.#connection.clockOffsetMs;
    if (frame.deliveredMs <= 0) return;
    this.#delays.came(frame.kernelMs, frame.sentMs - frame.deliveredMs);
    if (offsetMs !== null) this.#samples.takeDelay(frame, receivedMs + offsetMs - frame.deliveredMs);
  }

  // --- what is seen ---

  // The picture is another one.
  #invalidate(): void {
    this.#isPictureOld = true;
    this.#wake();
  }

  // At the next picture's time, what has changed is drawn and written.
  #wake(): void {
    if (this.#picture === 0) this.#picture = requestAnimationFrame((nowMs) => this.#draw(nowMs));
  }

  #draw(nowMs: number): void {
    this.#picture = 0;
    const plays = this.timeline.tick(performance.now());
    if (this.#isPictureOld) this.#drawPicture();
    if (nowMs - this.#wordsMs >= kWordsEveryMs) this.#write(nowMs);
    else this.#wakeForWords ||= window.setTimeout(() => this.#wake(), kWordsEveryMs);
    this.#plots.draw(() => {
      const showsLosses = !this.timeline.recording || this.#losses.marks.length > 0;
      return this.#samples.contents(this.#drawn?.plates.count ?? 0, this.#plotted, showsLosses);
    });
    if (plays) this.#wake();
  }

  #drawPicture(): void {
    this.#look();
    this.#isPictureOld = false; // looking around has made it old
    const picked = this.picked;
    this.#scene.draw(this.#drawn, {
      described: this.#described,
      unitsPerMetre: this.#unitsPerMetre,
      picked:
        picked && this.#drawn
          ? { name: picked.name, at: positionAt(this.#drawn, picked.kind, picked.slot) }
          : null,
      trail: this.#picking.series,
    });
    ++this.pictures;
    this.#measureDrawn();
  }

  #look(): void {
    if (!this.#drawn) return;
    const { camera } = this.#scene;
    // Until the user looks around, all that has been seen stays in the picture.
    if (!camera.touched && !camera.follows && this.#seen.widen(boundsOf(this.#drawn, this.#described)))
      camera.fit(this.#seen, this.#unitsPerMetre);
    camera.follow(this.#followed());
  }

  #followed(): [number, number, number] | null {
    if (!this.#drawn || !this.#scene.camera.follows) return null;
    const values = this.picked?.values;
    const position = values && (["x", "y", "z"] as const).map((name) => values[name]);
    if (position?.every(Number.isFinite)) return position as [number, number, number];
    return middleOf(this.#drawn, this.#described);
  }

  #measureDrawn(): void {
    if (!this.#isNew || !this.#drawn) return;
    this.#isNew = false;
    const offsetMs = this.#connection.clockOffsetMs;
    const live = this.timeline.mode === "live" && this.#drawn.deliveredMs > 0;
    if (live && offsetMs !== null) this.#delays.drawn(performance.now() + offsetMs - this.#drawn.sentMs);
  }

  #write(nowMs: number): void {
    this.#wordsMs = nowMs;
    window.clearTimeout(this.#wakeForWords);
    this.#wakeForWords = 0;
    const { hello = null, status = null, statistics = null } = this.status;
    const { connected } = this.#connection;
    showStatus({
      hello,
      server: this.#described.server,
      status,
      statistics,
      connected,
      delays: this.#delays,
      skipped: this.#skipped,
    });
    showTimeline(this.timeline);
    showPicked(
      this.picked,
      this.#picking.pick ? `${this.#picking.pick.kind} ${this.#picking.pick.id}` : null,
      this.#unit,
    );
    const drawn = this.#drawn;
    this.#frameNotices = drawn
      ? [...frameNotices(drawn, undrawable(drawn, this.#described)), ...this.#described.lies(drawn)]
      : [];
    showNotices(this.notices);
    setText(byId("scale"), `grid ${+this.#scene.gridStep.toPrecision(3)} ${this.#unit}`);
    this.#strip.draw(this.#losses, this.#theme);
    setText(byId("plot-window"), `${this.#plots.windowMs / 1000} s`);
    byId("plot-hold").setAttribute("aria-pressed", String(this.#plots.held));
  }

  #paint(): void {
    this.#theme = currentTheme();
    this.#scene.paint();
    this.#plots.paint();
    this.#wordsMs = -Infinity;
  }

  // --- what the user does ---

  #pickedAnother(): void {
    if (this.#drawn) this.#picking.sample(this.#drawn);
    this.#scene.camera.followAnew();
    this.#offerValues();
    this.#wordsMs = -Infinity;
    this.#invalidate();
  }

  #offerValues(): void {
    const select = byId<HTMLSelectElement>("plotted");
    const names = this.#picking.pick ? valueNames(this.#picking.pick.kind) : [];
    const groups = kGroups.filter(
      ([, values]) => names.length > 0 && values.every((value) => names.includes(value)),
    );
    select.replaceChildren(...groups.map(([name]) => new Option(name, name)));
    select.disabled = groups.length === 0;
    if (!groups.some(([name]) => name === this.#plotted) && groups.length > 0) this.#plotted = groups[0][0];
    select.value = this.#plotted;
  }

  #plotNext(): void {
    const select = byId<HTMLSelectElement>("plotted");
    if (select.options.length === 0) return;
    select.selectedIndex = (select.selectedIndex + 1) % select.options.length;
    this.#plotted = select.value;
    this.#invalidate();
  }

  #next(by: 1 | -1): void {
    if (this.#drawn) this.#picking.next(this.#drawn, this.#described, by);
    this.#pickedAnother();
  }

  #toggle(id: string, what: "follow" | "trail"): void {
    const { camera, trail } = this.#scene;
    const on = what === "follow" ? (camera.follows = !camera.follows) : (trail.shown = !trail.shown);
    byId(id).setAttribute("aria-pressed", String(on));
    this.#invalidate();
  }

  #fold(id: string, button: string): void {
    const part = byId(id);
    part.hidden = !part.hidden;
    byId(button).setAttribute("aria-expanded", String(!part.hidden));
  }

  #help(): void {
    const help = byId<HTMLDialogElement>("help");
    if (help.open) help.close();
    else help.showModal();
  }

  #fit(side?: "front" | "side" | "top"): void {
    if (!this.#drawn) return;
    this.#scene.camera.touched = true;
    this.#scene.camera.fit(boundsOf(this.#drawn, this.#described), this.#unitsPerMetre, side);
    this.#scene.camera.followAnew();
    this.#invalidate();
  }

  #listen(): void {
    const bindings = bindingsOf(this.#controlled());
    listen(bindings);
    fillHelp(bindings);
    const acts = new Map(bindings.flatMap(({ keys, act }) => keys.map((key) => [key, act] as const)));
    for (const button of document.querySelectorAll<HTMLButtonElement>("button[data-key]"))
      button.addEventListener("click", () => acts.get(button.dataset["key"] ?? "")?.());
    const slider = byId<HTMLInputElement>("timeline");
    slider.addEventListener("input", () => this.timeline.seek(Number(slider.value)));
    byId("plotted").addEventListener("change", (event) => {
      this.#plotted = (event.target as HTMLSelectElement).value;
      this.#invalidate();
    });
    this.#listenToClicks(byId<HTMLCanvasElement>("view"));
  }

  #listenToClicks(canvas: HTMLCanvasElement): void {
    let down: PointerEvent | null = null;
    canvas.addEventListener("pointerdown", (event) => (down = event));
    canvas.addEventListener("pointerup", (event) => {
      const moved = down ? Math.hypot(event.clientX - down.clientX, event.clientY - down.clientY) : Infinity;
      if (event.button !== 0 || moved > kClickPixels || !this.#drawn) return;
      this.#picking.at(this.#drawn, this.#described, event.clientX, event.clientY, (p, at) =>
        this.#scene.project(p, at),
      );
      this.#pickedAnother();
    });
  }

  #controlled(): Controlled {
    return {
      timeline: this.timeline,
      camera: this.#scene.camera,
      plots: this.#plots,
      fit: (side) => this.#fit(side),
      toggle: (button, what) => this.#toggle(button, what),
      pickNext: (by) => this.#next(by),
      pickNothing: () => {
        this.#picking.set(null);
        this.#pickedAnother();
      },
      plotNext: () => this.#plotNext(),
      light: () => this.#lighting.toggle(),
      fold: (part, button) => this.#fold(part, button),
      help: () => this.#help(),
      done: () => {
        this.#wordsMs = -Infinity;
        this.#invalidate();
      },
    };
  }
}

// Where this page comes from, with the token that it was opened with.
function streamUrl(): string {
  const { protocol, host, search } = location;
  return `${protocol === "https:" ? "wss:" : "ws:"}//${host}/stream${search}`;
}

declare global {
  interface Window {
    velmar: App;
  }
}

try {
  window.velmar = new App();
} catch (error) {
  showNotices([`The page cannot start: ${error instanceof Error ? error.message : String(error)}`]);
}
