// What goes between the program and this page, decoded. The table of the same bytes stands in ../../PageProtocol.h.
// Nothing here throws: what does not fit comes back as a text that says why.

const kMagic = 0x31524656;
const kHeaderBytes = 112;

/** Words (of four bytes) of one item of each kind. */
export const kWords = { plate: 7, triple: 3, labelled: 6, body: 10, skeleton: 2 } as const;

/** Words of a rigid body, and of a bone. */
export const kBody = { id: 0, position: 1, orientation: 4, residual: 8, flags: 9 } as const;
/** Words of a force plate. */
export const kPlate = { force: 0, centre: 3, freeMoment: 6 } as const;
/** Words of a labelled marker, where the descriptions tell that they are these. */
export const kLabelled = { id: 0, position: 1, size: 4, skeletonId: 5 } as const;

/** Where items of a kind lie in the words of a frame. */
export interface Section {
  readonly at: number;
  readonly count: number;
}

/** One frame. Its items are read out of `floats` and `ints`, two views of the same words. */
export interface Frame {
  readonly skipped: number;
  readonly sentMs: number;
  readonly oldest: number;
  readonly newest: number;
  readonly index: number;
  readonly arrivalMs: number;
  readonly deliveredMs: number;
  readonly kernelMs: number;
  readonly number: number;
  readonly timecode: number;
  readonly subframe: number;
  readonly flags: number;
  readonly floats: Float32Array;
  readonly ints: Int32Array;
  readonly plates: Section;
  readonly analog: Section;
  readonly sets: Section;
  readonly setMarkers: Section;
  readonly others: Section;
  readonly labelled: Section;
  readonly bodies: Section;
  readonly skeletons: Section;
  readonly bones: Section;
}

// In the order in which they lie behind the header, as the counts do in it.
const kSections = [
  ["plates", kWords.plate],
  ["analog", 1],
  ["sets", 1],
  ["setMarkers", kWords.triple],
  ["others", kWords.triple],
  ["labelled", kWords.labelled],
  ["bodies", kWords.body],
  ["skeletons", kWords.skeleton],
  ["bones", kWords.body],
] as const;
const kFirstCount = 76;

type SectionName = (typeof kSections)[number][0];

/** A frame, or why the bytes are none. */
export function decodeFrame(bytes: ArrayBuffer): Frame | string {
  if (bytes.byteLength < kHeaderBytes) return `a frame of ${bytes.byteLength} bytes has no whole header`;
  if (bytes.byteLength % 4 !== 0) return `a frame of ${bytes.byteLength} bytes ends within a word`;
  const header = new DataView(bytes, 0, kHeaderBytes);
  if (header.getUint32(0, true) !== kMagic) return "a message without the mark of a frame";
  const sections = sectionsOf(header, bytes.byteLength);
  if (typeof sections === "string") return sections;
  const u32 = (at: number): number => header.getUint32(at, true);
  const f64 = (at: number): number => header.getFloat64(at, true);
  const frame: Frame = {
    skipped: u32(4),
    sentMs: f64(8),
    oldest: f64(16),
    newest: f64(24),
    index: f64(32),
    arrivalMs: f64(40),
    deliveredMs: f64(48),
    kernelMs: header.getFloat32(56, true),
    number: header.getInt32(60, true),
    timecode: u32(64),
    subframe: u32(68),
    flags: u32(72),
    floats: new Float32Array(bytes), // every machine that runs a browser is little-endian, as the message is
    ints: new Int32Array(bytes),
    ...sections,
  };
  return faultOf(frame) ?? frame;
}

function sectionsOf(header: DataView, byteLength: number): Record<SectionName, Section> | string {
  const found: Partial<Record<SectionName, Section>> = {};
  let at = kHeaderBytes / 4;
  kSections.forEach(([name, words], i) => {
    const count = header.getUint32(kFirstCount + 4 * i, true);
    found[name] = { at, count };
    at += count * words; // far below what a number holds exactly, whatever the counts
  });
  if (at * 4 !== byteLength) return `a frame of ${byteLength} bytes whose counts say ${at * 4}`;
  return found as Record<SectionName, Section>;
}

function faultOf(frame: Frame): string | undefined {
  const places = [frame.index, frame.oldest, frame.newest];
  if (!places.every((place) => Number.isSafeInteger(place) && place >= 0)) return "a frame without a place";
  if (!Number.isFinite(frame.arrivalMs)) return "a frame without a time";
  const inSets = sumOf(frame, frame.sets, 1, 0);
  if (inSets !== frame.setMarkers.count) return `marker sets of ${inSets} markers with ${frame.setMarkers.count}`;
  const inSkeletons = sumOf(frame, frame.skeletons, kWords.skeleton, 1);
  if (inSkeletons !== frame.bones.count) return `skeletons of ${inSkeletons} bones with ${frame.bones.count}`;
  return undefined;
}

function sumOf(frame: Frame, section: Section, words: number, word: number): number {
  let sum = 0;
  for (let i = 0; i < section.count; ++i) sum += frame.ints[section.at + i * words + word] >>> 0;
  return sum;
}

/** Hours, minutes, seconds and frames, and the subframe behind them. */
export function timecodeText(frame: Frame): string {
  const part = (shift: number): string => String((frame.timecode >>> shift) & 0xff).padStart(2, "0");
  return `${part(24)}:${part(16)}:${part(8)}:${part(0)}.${frame.subframe}`;
}

// --- state ---------------------------------------------------------------------------------------------------

export interface Hello {
  readonly type: "hello";
  readonly version: string;
  readonly kind: "server" | "recording";
  readonly name: string;
  readonly unit: string;
  readonly historySeconds: number;
}

/** Entries come from the capture server: `described.ts` looks at what is in them. */
export interface Descriptions {
  readonly type: "descriptions";
  readonly known: boolean;
  readonly server: Json | null;
  readonly list: readonly Json[];
  readonly labels: boolean;
  readonly reason: string;
}

export interface Sets {
  readonly type: "sets";
  readonly names: readonly string[];
}

export interface Status {
  readonly type: "status";
  readonly state: string;
  readonly text: string;
  readonly notices: readonly string[];
}

export interface History {
  readonly oldest: number;
  readonly newest: number;
  readonly oldestMs: number;
  readonly newestMs: number;
  readonly frames: number;
  readonly bytes: number;
}

export interface Statistics {
  readonly type: "statistics";
  readonly values: Json;
  readonly rateHz: number | null;
  readonly passedOver: number;
  readonly pages: number;
  readonly lost: Readonly<Record<Cause, number>>;
  readonly history: History | null;
}

/** Why frames are lost, in the order in which they are shown. */
export const kCauses = ["too_slow", "incomplete", "undecodable", "never_seen"] as const;
export type Cause = (typeof kCauses)[number];
export type Mark = Readonly<Record<Cause | "ms", number>>;

export interface Losses {
  readonly type: "losses";
  readonly anew: boolean;
  readonly marks: readonly Mark[];
}

export interface LogLine {
  readonly level: number;
  readonly text: string;
}

export interface Log {
  readonly type: "log";
  readonly anew: boolean;
  readonly lines: readonly LogLine[];
}

export interface Pong {
  readonly type: "pong";
  readonly id: number;
  readonly clockMs: number;
}

export type State = Hello | Descriptions | Sets | Status | Statistics | Losses | Log | Pong;

/** An object of which nothing is known. */
export type Json = Readonly<Record<string, unknown>>;

export function isObject(value: unknown): value is Json {
  return typeof value === "object" && value !== null && !Array.isArray(value);
}
export function numberIn(object: Json, key: string, otherwise = NaN): number {
  const value = object[key];
  return typeof value === "number" ? value : otherwise;
}
export function textIn(object: Json, key: string): string {
  const value = object[key];
  return typeof value === "string" ? value : "";
}
export function listIn(object: Json, key: string): readonly unknown[] {
  const value = object[key];
  return Array.isArray(value) ? value : [];
}
function objectsIn(object: Json, key: string): readonly Json[] {
  return listIn(object, key).map((item) => (isObject(item) ? item : {}));
}
function textsIn(object: Json, key: string): readonly string[] {
  return listIn(object, key).map((item) => (typeof item === "string" ? item : String(item)));
}

/** A state, or why the text is none. */
export function decodeState(text: string): State | string {
  let message: unknown;
  try {
    message = JSON.parse(text);
  } catch {
    return "a message that is no JSON";
  }
  if (!isObject(message)) return "a message that is no object";
  const type = textIn(message, "type");
  const decode = Object.hasOwn(kStates, type) ? kStates[type as State["type"]] : undefined;
  return decode ? decode(message) : `a message of the unknown type "${type.slice(0, 40)}"`;
}

const kStates: { readonly [Type in State["type"]]: (message: Json) => State | string } = {
  hello: (m) => {
    const source = isObject(m["source"]) ? m["source"] : {};
    const kind = textIn(source, "kind");
    if (kind !== "server" && kind !== "recording") return `a source of the unknown kind "${kind.slice(0, 40)}"`;
    return {
      type: "hello",
      version: textIn(m, "version"),
      kind,
      name: textIn(source, "name"),
      unit: textIn(m, "unit") || "m",
      historySeconds: numberIn(m, "historySeconds", 0),
    };
  },
  descriptions: (m) => ({
    type: "descriptions",
    known: m["known"] === true,
    server: isObject(m["server"]) ? m["server"] : null,
    list: objectsIn(m, "list"),
    labels: m["labels"] === true,
    reason: textIn(m, "reason"),
  }),
  sets: (m) => ({ type: "sets", names: textsIn(m, "names") }),
  status: (m) => ({
    type: "status",
    state: textIn(m, "state"),
    text: textIn(m, "text"),
    notices: textsIn(m, "notices"),
  }),
  statistics: (m) => ({
    type: "statistics",
    values: m,
    rateHz: Number.isFinite(numberIn(m, "rate_hz")) ? numberIn(m, "rate_hz") : null,
    passedOver: numberIn(m, "passed_over", 0),
    pages: numberIn(m, "pages", 0),
    lost: causesIn(m, "missing_"),
    history: isObject(m["history"]) ? historyIn(m["history"]) : null,
  }),
  losses: (m) => ({
    type: "losses",
    anew: m["anew"] === true,
    marks: objectsIn(m, "marks")
      .map((mark) => ({ ms: numberIn(mark, "ms"), ...causesIn(mark, "") }))
      .filter((mark) => Number.isFinite(mark.ms)),
  }),
  log: (m) => ({
    type: "log",
    anew: m["anew"] === true,
    lines: objectsIn(m, "lines").map((line) => ({
      level: numberIn(line, "level", 1),
      text: textIn(line, "text"),
    })),
  }),
  pong: (m) => ({ type: "pong", id: numberIn(m, "id"), clockMs: numberIn(m, "clock_ms") }),
};

function causesIn(object: Json, prefix: string): Record<Cause, number> {
  const of = (cause: Cause): number => Math.max(0, numberIn(object, prefix + cause, 0));
  return {
    too_slow: of("too_slow"),
    incomplete: of("incomplete"),
    undecodable: of("undecodable"),
    never_seen: of("never_seen"),
  };
}

function historyIn(object: Json): History | null {
  const history = {
    oldest: numberIn(object, "oldest"),
    newest: numberIn(object, "newest"),
    oldestMs: numberIn(object, "oldest_ms"),
    newestMs: numberIn(object, "newest_ms"),
    frames: numberIn(object, "frames", 0),
    bytes: numberIn(object, "bytes", 0),
  };
  return [history.oldest, history.newest, history.oldestMs, history.newestMs].every(Number.isFinite)
    ? history
    : null;
}

// --- from the page -------------------------------------------------------------------------------------------

/** Which frame is asked for: of a place, or the latest that arrived up to a time. */
export type Where = { readonly index: number } | { readonly ms: number };

export const kTaken = JSON.stringify({ type: "taken" });
export const kLive = JSON.stringify({ type: "live" });
export function atText(where: Where): string {
  return JSON.stringify({ type: "at", ...where });
}
export function pingText(id: number): string {
  return JSON.stringify({ type: "ping", id });
}

/** Whether a frame is what was asked for, and not one that was on its way already. */
export function answers(frame: Frame, where: Where): boolean {
  if ("index" in where) return frame.index === Math.min(Math.max(where.index, frame.oldest), frame.newest);
  return frame.arrivalMs <= where.ms || frame.index === frame.oldest;
}
