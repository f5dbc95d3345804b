// What stands around the picture in words: the line of status, the time line's place, what is picked, notices, log.
import type { Delays } from "./delays";
import type { Described } from "./described";
import { byId, make, setText } from "./dom";
import { kGroups } from "./items";
import { kCauseNames } from "./losses";
import type { Picked } from "./picking";
import {
  type Frame,
  type Hello,
  kCauses,
  type Log,
  type LogLine,
  type Statistics,
  type Status,
  timecodeText,
} from "./protocol";
import type { Timeline } from "./timeline";

const kMostLogLines = 600;
const kLevels = ["", "info", "warning", "error", "debug"];

/** What the line of status is made of. */
export interface Situation {
  readonly hello: Hello | null;
  readonly server: Described["server"];
  readonly status: Status | null;
  readonly statistics: Statistics | null;
  readonly connected: boolean;
  readonly delays: Delays;
  readonly skipped: number;
}

export function showStatus({ hello, server, status, statistics, connected, delays, skipped }: Situation): void {
  const recording = hello?.kind === "recording";
  const state = connected ? (status?.state ?? "connecting") : "disconnected";
  const dot = byId("s-state");
  if (dot.dataset["state"] !== state) dot.dataset["state"] = state;
  setText(dot, connected ? status?.text || state : "The program is not reached: trying again");
  setText(byId("s-source"), hello ? hello.name : "");
  setText(byId("s-server"), server.version);
  byId("s-server").title = server.name;
  setText(byId("s-version"), hello ? `velmar ${hello.version}` : "");
  setText(byId("s-rate"), statistics?.rateHz != null ? `${statistics.rateHz.toFixed(1)} Hz` : "–");
  showLost(statistics);
  const ms = (value: number): string => (Number.isFinite(value) ? value.toFixed(1) : "–");
  setText(byId("s-delay"), recording ? "–" : `${ms(delays.total)} ms`);
  const parts = `${ms(delays.kernelToLibrary)} + ${ms(delays.libraryToSocket)} + ${ms(delays.socketToDrawn)}`;
  setText(byId("s-delay-parts"), recording ? "" : parts);
  setText(byId("s-skipped"), String(skipped));
  setText(byId("s-passed"), statistics ? String(statistics.passedOver) : "–");
}

function showLost(statistics: Statistics | null): void {
  const lost = statistics?.lost;
  const causes = lost ? kCauses.filter((cause) => lost[cause] > 0) : [];
  setText(byId("s-lost"), lost ? String(causes.reduce((sum, cause) => sum + lost[cause], 0)) : "–");
  const place = byId("s-causes");
  const text = causes.map((cause) => `${lost?.[cause]} ${kCauseNames[cause]}`);
  if (place.dataset["text"] === text.join()) return;
  place.dataset["text"] = text.join();
  place.replaceChildren(...causes.map((cause, i) => make("span", `cause ${cause}`, text[i])));
}

export function showTimeline(timeline: Timeline): void {
  const { mode, speed, frame, recording } = timeline;
  const mark = byId("mode");
  mark.dataset["mode"] = mode;
  setText(mark, mode === "paused" && recording && timeline.atEnd ? "end" : mode);
  setText(byId("speed"), speed >= 1 ? `${speed}×` : `1/${1 / speed}×`);
  const pause = byId("pause");
  const label = mode === "paused" ? "Go on" : "Pause";
  setText(pause, mode === "paused" ? "▶" : "❚❚");
  if (pause.getAttribute("aria-label") !== label) pause.setAttribute("aria-label", label);
  const slider = byId<HTMLInputElement>("timeline");
  slider.min = String(timeline.oldest);
  slider.max = String(Math.max(timeline.newest, timeline.oldest));
  slider.value = String(Math.max(timeline.index, 0));
  slider.setAttribute("aria-valuetext", frame ? `frame ${frame.number}` : "no frame");
  setText(byId("frame"), frame ? `frame ${frame.number} · ${timecodeText(frame)}` : "no frame yet");
  setText(byId("behind"), behindText(timeline));
}

// While it is held, that frames go on is to be seen.
function behindText(timeline: Timeline): string {
  const { frame, recording, mode, newest, oldestMs, newestMs, behindMs } = timeline;
  if (!frame) return "";
  const seconds = (ms: number): string => `${(ms / 1000).toFixed(2)} s`;
  if (recording) return `${seconds(frame.arrivalMs - oldestMs)} of ${seconds(newestMs - oldestMs)}`;
  return mode === "live" ? "" : `${seconds(behindMs)} behind · ${newest - frame.index} frames have come since`;
}

/** What is picked, all its values; or the way to pick something. */
export function showPicked(picked: Picked | null, missing: string | null, unit: string): void {
  const panel = byId("picked");
  const rows: [string, string][] = picked ? pickedRows(picked, unit) : [];
  const heading =
    picked?.name ??
    (missing ? `${missing}: not in this frame` : "Nothing is picked: click at something, or press n");
  setText(byId("picked-name"), heading);
  panel.classList.toggle("empty", !picked);
  const list = byId("picked-values");
  while (list.children.length > rows.length * 2) list.lastElementChild?.remove();
  while (list.children.length < rows.length * 2) list.append(make("dt", "", ""), make("dd", "", ""));
  rows.flat().forEach((text, i) => setText(list.children[i] as HTMLElement, text));
}

function pickedRows(picked: Picked, unit: string): [string, string][] {
  const units: Readonly<Record<string, string>> = {
    position: unit,
    residual: unit,
    size: unit,
    force: "N",
    "free moment": "N m",
  };
  const rows: [string, string][] = [["id", picked.id]];
  for (const [group, names] of kGroups) {
    if (!names.every((name) => name in picked.values)) continue;
    const label = group === "position" && picked.kind === "plate" ? "pressure at" : group;
    rows.push([label, `${names.map((name) => valueText(picked.values[name])).join("  ")} ${units[group] ?? ""}`]);
  }
  return rows;
}

export function valueText(value: number): string {
  if (!Number.isFinite(value)) return Number.isNaN(value) ? "not a number" : "infinite";
  return Math.abs(value) >= 1000 ? value.toFixed(1) : value.toFixed(4);
}

export function showNotices(notices: readonly string[]): void {
  const place = byId("notices");
  if (place.dataset["text"] === notices.join("\n")) return;
  place.dataset["text"] = notices.join("\n");
  place.replaceChildren(...notices.map((text) => make("p", "", text)));
}

export function showLog(message: Log): void {
  const list = byId("log-lines");
  if (message.anew) list.replaceChildren();
  list.append(...message.lines.map(logLine));
  while (list.children.length > kMostLogLines) list.firstElementChild?.remove();
  list.scrollTop = list.scrollHeight;
}

function logLine({ level, text }: LogLine): HTMLElement {
  return make("li", kLevels[level] ?? "", text.trimEnd());
}

/** Notices about one frame. */
export function frameNotices(frame: Frame, undrawable: { noNumber: number; far: number }): string[] {
  const notices: string[] = [];
  const sections = [
    frame.setMarkers,
    frame.others,
    frame.labelled,
    frame.bodies,
    frame.bones,
    frame.plates,
    frame.analog,
  ];
  if (sections.every(({ count }) => count === 0)) notices.push("The frame has no content.");
  const { noNumber, far } = undrawable;
  if (noNumber > 0)
    notices.push(`${noNumber} ${noNumber === 1 ? "position is" : "positions are"} not a number: not drawn.`);
  if (far > 0) notices.push(`${far} ${far === 1 ? "position is" : "positions are"} too far away to be drawn.`);
  return notices;
}
