// Skeletons and rigid bodies: bones as lines to their parents where the descriptions tell these, else as small axes.
import { type Color, type Object3D, Quaternion, Vector3 } from "three";

import type { Described } from "./described";
import { positionAt, wordOf } from "./items";
import type { Labels } from "./labels";
import { Lines } from "./lines";
import { type Frame, kBody, kWords } from "./protocol";
import { drawable } from "./space";
import type { Theme } from "./theme";

const kBoneAxisMetres = 0.05;
const kBodyAxisMetres = 0.12;
const kMostNames = 50; // more of them would hide what they name

export class Figures {
  readonly #bones: Lines;
  readonly #axes: Lines;
  readonly #labels: Labels;
  readonly #axis = new Vector3();
  readonly #turn = new Quaternion();
  #axisColors: readonly Color[] = [];
  #boneColor: Color | null = null;

  constructor(parent: Object3D, labels: Labels) {
    this.#bones = new Lines(parent, 3);
    this.#axes = new Lines(parent, 2);
    this.#labels = labels;
  }

  paint(theme: Theme): void {
    this.#axisColors = ["axis-x", "axis-y", "axis-z"].map((name) => theme.color(name));
    this.#boneColor = theme.color("bone");
  }

  draw(frame: Frame, described: Described, unitsPerMetre: number): void {
    this.#bones.begin();
    this.#axes.begin();
    let first = 0;
    for (let i = 0; i < frame.skeletons.count; ++i) {
      const at = frame.skeletons.at + i * kWords.skeleton;
      const count = frame.ints[at + 1] >>> 0;
      this.#drawSkeleton(frame, described, frame.ints[at], first, count, unitsPerMetre);
      if (i < kMostNames)
        this.#nameSkeleton(frame, described.skeletonName(frame.ints[at]), first, count, unitsPerMetre);
      first += count;
    }
    this.#drawBodies(frame, described, unitsPerMetre);
    this.#bones.end();
    this.#axes.end();
  }

  #drawSkeleton(
    frame: Frame,
    described: Described,
    id: number,
    first: number,
    count: number,
    unitsPerMetre: number,
  ): void {
    const { floats } = frame;
    const parents = described.parentsOf(frame, id, first, count);
    const joined = new Uint8Array(count); // bones that a line begins or ends at
    for (let bone = 0; bone < count && parents && this.#boneColor; ++bone) {
      const parent = parents[bone];
      if (parent < 0) continue;
      const a = positionAt(frame, "bone", first + bone);
      const b = positionAt(frame, "bone", first + parent);
      joined[bone] = joined[parent] = 1;
      if (!drawable(floats, a) || !drawable(floats, b)) continue;
      this.#bones.add(
        floats[a],
        floats[a + 1],
        floats[a + 2],
        floats[b],
        floats[b + 1],
        floats[b + 2],
        this.#boneColor,
      );
    }
    for (let bone = 0; bone < count; ++bone)
      if (!joined[bone])
        this.#drawAxes(frame, wordOf(frame, "bone", first + bone), kBoneAxisMetres * unitsPerMetre);
  }

  // Above the highest of its bones.
  #nameSkeleton(frame: Frame, name: string, first: number, count: number, unitsPerMetre: number): void {
    let highest = -1;
    for (let bone = first; bone < first + count; ++bone) {
      const at = positionAt(frame, "bone", bone);
      if (drawable(frame.floats, at) && (highest < 0 || frame.floats[at + 2] > frame.floats[highest + 2]))
        highest = at;
    }
    if (highest < 0) return;
    const [x, y, z] = frame.floats.subarray(highest, highest + 3);
    this.#labels.put(name, x, y, z + 0.12 * unitsPerMetre, "name above");
  }

  #drawBodies(frame: Frame, described: Described, unitsPerMetre: number): void {
    for (let slot = 0; slot < frame.bodies.count; ++slot) {
      const at = wordOf(frame, "body", slot);
      this.#drawAxes(frame, at, kBodyAxisMetres * unitsPerMetre);
      const p = at + kBody.position;
      if (slot < kMostNames && drawable(frame.floats, p))
        this.#labels.put(
          described.bodyName(frame.ints[at]),
          frame.floats[p],
          frame.floats[p + 1],
          frame.floats[p + 2],
          "name",
        );
    }
  }

  // A quaternion without a length turns nothing.
  #drawAxes(frame: Frame, at: number, length: number): void {
    const { floats } = frame;
    const p = at + kBody.position;
    if (!drawable(floats, p)) return;
    const q = at + kBody.orientation;
    this.#turn.set(floats[q], floats[q + 1], floats[q + 2], floats[q + 3]);
    const size = this.#turn.length();
    if (size > 0 && Number.isFinite(size)) this.#turn.normalize();
    else this.#turn.identity();
    this.#axisColors.forEach((color, i) => {
      const axis = this.#axis.set(0, 0, 0).setComponent(i, length).applyQuaternion(this.#turn);
      this.#axes.add(
        floats[p],
        floats[p + 1],
        floats[p + 2],
        floats[p] + axis.x,
        floats[p + 1] + axis.y,
        floats[p + 2] + axis.z,
        color,
      );
    });
  }
}
