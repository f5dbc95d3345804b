// What can be picked in a frame, and its values.
import type { Described } from "./described";
import { type Frame, kBody, kLabelled, kPlate, kWords, type Section } from "./protocol";

export type Kind = "labelled" | "body" | "bone" | "other" | "set" | "plate";
export const kKinds: readonly Kind[] = ["labelled", "body", "bone", "other", "set", "plate"];

/** What is picked, in whatever frame. Slots may change from frame to frame, ids stay. `id` is the server's where it
 * gives one; "2/5" is bone 5 of skeleton 2, and marker 5 of set 2; others count from 0. */
export interface Pick {
  readonly kind: Kind;
  readonly id: string;
}

/** Values of an item in the order of their names. */
interface Layout {
  readonly section: (frame: Frame) => Section;
  readonly words: number;
  readonly position: number; // its first word
  readonly values: readonly (readonly [name: string, word: number])[];
}

const kXyz = ["x", "y", "z"];
const kPose = [
  ...kXyz.map((name, i) => [name, kBody.position + i] as const),
  ...["qx", "qy", "qz", "qw"].map((name, i) => [name, kBody.orientation + i] as const),
  ["residual", kBody.residual] as const,
];
const kPoint = kXyz.map((name, i) => [name, i] as const);

const kLayouts: Readonly<Record<Kind, Layout>> = {
  labelled: {
    section: (f) => f.labelled,
    words: kWords.labelled,
    position: kLabelled.position,
    values: [...kXyz.map((name, i) => [name, kLabelled.position + i] as const), ["size", kLabelled.size]],
  },
  body: { section: (f) => f.bodies, words: kWords.body, position: kBody.position, values: kPose },
  bone: { section: (f) => f.bones, words: kWords.body, position: kBody.position, values: kPose },
  other: { section: (f) => f.others, words: kWords.triple, position: 0, values: kPoint },
  set: { section: (f) => f.setMarkers, words: kWords.triple, position: 0, values: kPoint },
  plate: {
    section: (f) => f.plates,
    words: kWords.plate,
    position: kPlate.centre,
    values: [
      ...kXyz.map((name, i) => [name, kPlate.centre + i] as const),
      ...["fx", "fy", "fz"].map((name, i) => [name, kPlate.force + i] as const),
      ["moment", kPlate.freeMoment],
    ],
  },
};

/** Groups of values that are looked at together. */
export const kGroups: readonly (readonly [name: string, values: readonly string[]])[] = [
  ["position", kXyz],
  ["orientation", ["qx", "qy", "qz", "qw"]],
  ["residual", ["residual"]],
  ["size", ["size"]],
  ["force", ["fx", "fy", "fz"]],
  ["free moment", ["moment"]],
];

export function valueNames(kind: Kind): string[] {
  return kLayouts[kind].values.map(([name]) => name);
}

export function countOf(frame: Frame, kind: Kind, described: Described): number {
  return kind === "labelled" && !described.labels ? 0 : kLayouts[kind].section(frame).count;
}

/** The first word of an item. */
export function wordOf(frame: Frame, kind: Kind, slot: number): number {
  return kLayouts[kind].section(frame).at + slot * kLayouts[kind].words;
}

/** The word at which x, y, z of an item begin. */
export function positionAt(frame: Frame, kind: Kind, slot: number): number {
  return wordOf(frame, kind, slot) + kLayouts[kind].position;
}

export function valuesOf(frame: Frame, kind: Kind, slot: number): number[] {
  const at = wordOf(frame, kind, slot);
  return kLayouts[kind].values.map(([, word]) => frame.floats[at + word]);
}

/** The set or skeleton that an item of it belongs to, and its place in there. */
export function groupOf(frame: Frame, kind: "set" | "bone", slot: number): { group: number; place: number } {
  const groups = kind === "set" ? frame.sets : frame.skeletons;
  const words = kind === "set" ? 1 : kWords.skeleton;
  let place = slot;
  for (let group = 0; group < groups.count; ++group) {
    const count = frame.ints[groups.at + group * words + words - 1] >>> 0;
    if (place < count) return { group, place };
    place -= count;
  }
  return { group: -1, place };
}

function skeletonIdOf(frame: Frame, slot: number): number {
  return frame.ints[frame.skeletons.at + groupOf(frame, "bone", slot).group * kWords.skeleton];
}

export function idOf(frame: Frame, kind: Kind, slot: number): string {
  const first = frame.ints[wordOf(frame, kind, slot)]; // the id of what has one
  switch (kind) {
    case "labelled":
    case "body":
      return String(first);
    case "bone":
      return `${skeletonIdOf(frame, slot)}/${first}`;
    case "set": {
      const { group, place } = groupOf(frame, "set", slot);
      return `${group}/${place}`;
    }
    default:
      return String(slot);
  }
}

/** The slot of an item in this frame, -1 when it is not in it. The slot of the frame before is looked at first. */
export function slotOf(frame: Frame, pick: Pick, hint: number): number {
  const count = kLayouts[pick.kind].section(frame).count;
  if (hint >= 0 && hint < count && idOf(frame, pick.kind, hint) === pick.id) return hint;
  const [last, group] = pick.id.split("/").map(Number).reverse();
  const counted = pick.kind === "set" ? firstOfSet(frame, group) + last : last;
  if (!hasId(pick.kind))
    return counted >= 0 && counted < count && idOf(frame, pick.kind, counted) === pick.id ? counted : -1;
  for (let slot = 0; slot < count; ++slot)
    if (frame.ints[wordOf(frame, pick.kind, slot)] === last && idOf(frame, pick.kind, slot) === pick.id)
      return slot;
  return -1;
}

function hasId(kind: Kind): boolean {
  return kind === "labelled" || kind === "body" || kind === "bone";
}

function firstOfSet(frame: Frame, set: number): number {
  let first = 0;
  for (let i = 0; i < Math.min(set, frame.sets.count); ++i) first += frame.ints[frame.sets.at + i] >>> 0;
  return first;
}

export function nameOf(frame: Frame, kind: Kind, slot: number, described: Described): string {
  const first = frame.ints[wordOf(frame, kind, slot)];
  switch (kind) {
    case "labelled": {
      const wearer = frame.ints[wordOf(frame, kind, slot) + kLabelled.skeletonId];
      return wearer < 0 ? `marker ${first}` : `${described.skeletonName(wearer)} · marker ${first}`;
    }
    case "body":
      return described.bodyName(first);
    case "bone": {
      const skeleton = skeletonIdOf(frame, slot);
      return `${described.skeletonName(skeleton)} · ${described.boneName(skeleton, first)}`;
    }
    case "set": {
      const { group, place } = groupOf(frame, "set", slot);
      return `${described.setName(group)} · ${described.setMarkerName(group, place)}`;
    }
    case "other":
      return `unlabelled ${slot}`;
    case "plate":
      return `force plate ${slot + 1}`;
  }
}
