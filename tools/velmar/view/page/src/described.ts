// What the descriptions say, checked: names, who is whose parent, where force plates lie. Descriptions may be
// missing, and may lie about the frames.
import {
  type Descriptions,
  type Frame,
  isObject,
  type Json,
  kBody,
  kWords,
  listIn,
  numberIn,
  textIn,
} from "./protocol";

const kNoParent = -1;

/** A force plate in the volume: its corners if they are known, else those of a square that is assumed. */
export interface PlateShape {
  readonly corners: readonly (readonly [number, number, number])[];
  readonly assumed: boolean;
}

interface Bone {
  readonly name: string;
  readonly parentId: number;
}

interface Skeleton {
  readonly name: string;
  readonly bones: Map<number, Bone>;
  readonly told: boolean; // whether the hierarchy is
}

// The parents of the bones of one skeleton of the frames, as slots among its bones.
interface Parents {
  readonly ids: Int32Array;
  readonly slots: Int32Array;
  readonly undescribed: number;
}

export class Described {
  readonly labels: boolean;
  readonly known: boolean;
  /** What the server says of itself, as far as that is text. */
  readonly server: { readonly name: string; readonly version: string };
  readonly plates: readonly PlateShape[];
  /** What is wrong with the descriptions themselves. */
  readonly notices: readonly string[];
  readonly #skeletons = new Map<number, Skeleton>();
  readonly #bodies = new Map<number, string>();
  readonly #sets = new Map<string, readonly string[]>();
  readonly #parents = new Map<number, Parents>();
  #setNames: readonly string[] = [];

  constructor(descriptions: Descriptions | null, unitsPerMetre: number) {
    const notices: string[] = [];
    const list = descriptions?.known ? descriptions.list : [];
    const entries = (type: string): Json[] => list.filter((entry) => entry["type"] === type) as Json[];
    this.known = descriptions?.known === true;
    const server = descriptions?.server ?? {};
    this.server = { name: textIn(server, "name") || textIn(server, "text"), version: textIn(server, "version") };
    this.labels = descriptions?.labels === true;
    if (descriptions && !this.known)
      notices.push(`No descriptions: ${descriptions.reason || "the server gives none"}.`);
    for (const entry of entries("skeleton")) this.#addSkeleton(entry, notices);
    for (const entry of entries("rigid body")) this.#bodies.set(numberIn(entry, "id"), textIn(entry, "name"));
    for (const entry of entries("marker set"))
      this.#sets.set(
        textIn(entry, "name"),
        listIn(entry, "markers").map((name) => String(name)),
      );
    this.plates = entries("force plate").map((entry, i) => plateShape(entry, i, unitsPerMetre, notices));
    this.notices = notices;
  }

  setNames(names: readonly string[]): void {
    this.#setNames = names;
  }

  skeletonName(id: number): string {
    return this.#skeletons.get(id)?.name || `skeleton ${id}`;
  }
  boneName(skeletonId: number, id: number): string {
    return this.#skeletons.get(skeletonId)?.bones.get(id)?.name || `bone ${id}`;
  }
  bodyName(id: number): string {
    return this.#bodies.get(id) || `body ${id}`;
  }
  setName(set: number): string {
    return this.#setNames[set] || `set ${set + 1}`;
  }
  setMarkerName(set: number, marker: number): string {
    const name = this.#setNames[set];
    return (name !== undefined && this.#sets.get(name)?.[marker]) || `marker ${marker + 1}`;
  }

  /** For each bone of a skeleton of the frame the slot of its parent among them, -1 for none; null when the
   * descriptions do not tell. */
  parentsOf(frame: Frame, skeletonId: number, first: number, count: number): Int32Array | null {
    const skeleton = this.#skeletons.get(skeletonId);
    if (!skeleton?.told) return null;
    const kept = this.#parents.get(skeletonId);
    if (kept && sameIds(frame, first, count, kept.ids)) return kept.slots;
    const made = resolve(frame, first, count, skeleton);
    this.#parents.set(skeletonId, made);
    return made.slots;
  }

  /** What the frame has and the descriptions do not. */
  lies(frame: Frame): string[] {
    const notices: string[] = [];
    if (!this.known) return notices;
    let first = 0;
    for (let i = 0; i < frame.skeletons.count; ++i) {
      const at = frame.skeletons.at + i * kWords.skeleton;
      const count = frame.ints[at + 1] >>> 0;
      const text = this.#lieOf(frame, frame.ints[at], first, count);
      if (text) notices.push(text);
      first += count;
    }
    if (frame.plates.count > this.plates.length)
      notices.push(`The frames have ${frame.plates.count} force plates, the descriptions ${this.plates.length}.`);
    return notices;
  }

  #lieOf(frame: Frame, id: number, first: number, count: number): string | undefined {
    const skeleton = this.#skeletons.get(id);
    if (!skeleton) return `Skeleton ${id} of the frames is not described.`;
    this.parentsOf(frame, id, first, count);
    const undescribed = this.#parents.get(id)?.undescribed ?? Math.max(0, count - skeleton.bones.size);
    if (undescribed === 0) return undefined;
    return `${skeleton.name}: ${undescribed} of its ${count} bones ${undescribed === 1 ? "is" : "are"} not described.`;
  }

  #addSkeleton(entry: Json, notices: string[]): void {
    const name = textIn(entry, "name") || `skeleton ${numberIn(entry, "id")}`;
    const bones = new Map<number, Bone>();
    const described = listIn(entry, "bones").filter(isObject);
    const told =
      described.length > 0 &&
      described.every((bone) => typeof bone["id"] === "number" && typeof bone["parentId"] === "number");
    described.forEach((bone, i) => {
      const id = numberIn(bone, "id", i);
      if (bones.has(id)) notices.push(`${name}: more than one bone has the id ${id}.`);
      else bones.set(id, { name: textIn(bone, "name"), parentId: numberIn(bone, "parentId", kNoParent) });
    });
    if (told) notices.push(...faultsOf(name, bones));
    this.#skeletons.set(numberIn(entry, "id"), { name, bones, told });
  }
}

function faultsOf(name: string, bones: Map<number, Bone>): string[] {
  const strays = [...bones].filter(([, bone]) => bone.parentId !== kNoParent && !bones.has(bone.parentId));
  const notices = strays.slice(0, 1).map(([id, bone]) => {
    const others = strays.length > 1 ? `, and ${strays.length - 1} more` : "";
    return `${name}: the parent ${bone.parentId} of bone ${bone.name || id} is none of its bones${others}.`;
  });
  const circle = circleIn(bones);
  if (circle !== undefined)
    notices.push(`${name}: the parents of bone ${bones.get(circle)?.name || circle} go in a circle.`);
  return notices;
}

// A bone from which the way to the root never ends.
function circleIn(bones: Map<number, Bone>): number | undefined {
  const ends = new Set<number>();
  for (const start of bones.keys()) {
    const way = new Set<number>();
    let id: number | undefined = start;
    while (id !== undefined && !ends.has(id)) {
      if (way.has(id)) return id;
      way.add(id);
      const parent: number | undefined = bones.get(id)?.parentId;
      id = parent !== undefined && bones.has(parent) ? parent : undefined;
    }
    way.forEach((passed) => ends.add(passed));
  }
  return undefined;
}

function idOf(frame: Frame, bone: number): number {
  return frame.ints[frame.bones.at + bone * kWords.body + kBody.id];
}

function sameIds(frame: Frame, first: number, count: number, ids: Int32Array): boolean {
  if (ids.length !== count) return false;
  for (let i = 0; i < count; ++i) if (idOf(frame, first + i) !== ids[i]) return false;
  return true;
}

function resolve(frame: Frame, first: number, count: number, skeleton: Skeleton): Parents {
  const ids = new Int32Array(count).map((_, i) => idOf(frame, first + i));
  const slotOf = new Map<number, number>();
  ids.forEach((id, slot) => slotOf.has(id) || slotOf.set(id, slot));
  const bones = [...ids].map((id) => skeleton.bones.get(id));
  const slots = Int32Array.from(bones, (bone) => (bone ? (slotOf.get(bone.parentId) ?? -1) : -1));
  return { ids, slots, undescribed: bones.filter((bone) => !bone).length };
}

const kAssumedHalfMetres = 0.25;

function plateShape(entry: Json, i: number, unitsPerMetre: number, notices: string[]): PlateShape {
  const numbers = (key: string): number[] => listIn(entry, key).flat(1).map(Number);
  const [origin, offset, rotation] = [numbers("origin"), numbers("sensorOffset"), numbers("rotation")];
  if (origin.length !== 3 || rotation.length !== 9 || ![...origin, ...rotation].every(Number.isFinite)) {
    notices.push(`Force plate ${i + 1} is described without a place: it is not drawn.`);
    return { corners: [], assumed: true };
  }
  const kEightChannels = 3;
  const measured = numberIn(entry, "channelLayout") === kEightChannels && offset[0] > 0 && offset[1] > 0;
  const a = measured ? offset[0] : kAssumedHalfMetres * unitsPerMetre;
  const b = measured ? offset[1] : kAssumedHalfMetres * unitsPerMetre;
  const corner = (x: number, y: number): [number, number, number] => {
    const along = (row: number): number => origin[row] + rotation[3 * row] * x + rotation[3 * row + 1] * y;
    return [along(0), along(1), along(2)];
  };
  return { corners: [corner(-a, -b), corner(a, -b), corner(a, b), corner(-a, b)], assumed: !measured };
}
