// What the keys do.
import type { Camera } from "./camera";
import type { Binding } from "./keys";
import type { Plots } from "./plots";
import type { Timeline } from "./timeline";

/** What there is to control. */
export interface Controlled {
  readonly timeline: Timeline;
  readonly camera: Camera;
  readonly plots: Plots;
  fit(side?: "front" | "side" | "top"): void;
  toggle(button: string, what: "follow" | "trail"): void;
  pickNext(by: 1 | -1): void;
  pickNothing(): void;
  plotNext(): void;
  light(): void;
  fold(part: string, button: string): void;
  help(): void;
  /** Behind each of these. */
  done(): void;
}

export function bindingsOf(page: Controlled): Binding[] {
  const { timeline, camera, plots } = page;
  const key = (keys: string[], shown: string, does: string, act: () => void): Binding => {
    return { keys, shown, does, act: () => (act(), page.done()) };
  };
  return [
    key([" "], "space", "pause, go on", () => timeline.pauseOrGo()),
    key(["ArrowLeft"], "←", "a frame back", () => timeline.step(-1)),
    key(["ArrowRight"], "→", "a frame on", () => timeline.step(1)),
    key(["Shift+ArrowLeft"], "shift ←", "a second back", () => timeline.seconds(-1)),
    key(["Shift+ArrowRight"], "shift →", "a second on", () => timeline.seconds(1)),
    key(["Home"], "Home", "oldest frame", () => timeline.first()),
    key(["l", "End"], "l, End", "newest frame, live", () => timeline.live()),
    key(["-", "_"], "−", "slower", () => timeline.slower()),
    key(["+", "="], "+", "faster", () => timeline.faster()),
    key(["1"], "1", "front", () => page.fit("front")),
    key(["2"], "2", "side", () => page.fit("side")),
    key(["3"], "3", "top", () => page.fit("top")),
    key(["0"], "0", "show all", () => page.fit()),
    key(["f"], "f", "follow the figure, or what is picked", () => page.toggle("follow", "follow")),
    key(["a"], "a d w s", "turn", () => camera.orbit(-0.1, 0)),
    key(["d"], "", "", () => camera.orbit(0.1, 0)),
    key(["w"], "", "", () => camera.orbit(0, 0.1)),
    key(["s"], "", "", () => camera.orbit(0, -0.1)),
    key(["A"], "shift a d w s", "move", () => camera.pan(-0.05, 0)),
    key(["D"], "", "", () => camera.pan(0.05, 0)),
    key(["W"], "", "", () => camera.pan(0, 0.05)),
    key(["S"], "", "", () => camera.pan(0, -0.05)),
    key(["e"], "e, q", "nearer, farther", () => camera.zoom(1 / 1.15)),
    key(["q"], "", "", () => camera.zoom(1.15)),
    key(["n"], "n", "pick the next", () => page.pickNext(1)),
    key(["p"], "p", "pick the one before", () => page.pickNext(-1)),
    key(["x"], "x", "pick nothing", () => page.pickNothing()),
    key(["t"], "t", "trail of what is picked", () => page.toggle("trails", "trail")),
    key(["v"], "v", "plot its next value", () => page.plotNext()),
    key(["k"], "k", "hold the plots", () => plots.hold()),
    key(["["], "[", "plot a shorter time", () => plots.widen(-1)),
    key(["]"], "]", "plot a longer time", () => plots.widen(1)),
    key(["m"], "m", "light or dark", () => page.light()),
    key(["i"], "i", "values and plots", () => page.fold("panel", "panel-toggle")),
    key(["g"], "g", "log", () => page.fold("log", "log-toggle")),
    key(["h", "?"], "h, ?", "this help", () => page.help()),
  ];
}
