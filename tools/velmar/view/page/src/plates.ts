// Force plates: their outlines, and what acts on them.
import { type Object3D, Vector3 } from "three";

import type { Described, PlateShape } from "./described";
import { wordOf } from "./items";
import type { Labels } from "./labels";
import { Lines } from "./lines";
import { type Frame, kPlate } from "./protocol";
import { drawable } from "./space";
import type { Theme } from "./theme";

const kMetresPerNewton = 1 / 1000;
const kLeastForce = 5; // newtons: below, the centre of pressure is noise
const kDashes = 12; // of each side of an outline that is assumed
const kTip = 0.08; // in metres: of the arrow's head

export class Plates {
  readonly #outlines: Lines;
  readonly #arrows: Lines;
  readonly #labels: Labels;
  #theme: Theme | null = null;

  constructor(parent: Object3D, labels: Labels) {
    this.#outlines = new Lines(parent, 2);
    this.#arrows = new Lines(parent, 4);
    this.#labels = labels;
  }

  paint(theme: Theme): void {
    this.#theme = theme;
  }

  /** Outlines are there before the first frame, and when frames have no forces. */
  draw(frame: Frame | null, described: Described, unitsPerMetre: number): void {
    this.#outlines.begin();
    this.#arrows.begin();
    described.plates.forEach((plate, i) => this.#drawOutline(plate, i, unitsPerMetre));
    for (let i = 0; frame && i < frame.plates.count; ++i) this.#drawForce(frame, i, unitsPerMetre);
    this.#outlines.end();
    this.#arrows.end();
  }

  #drawOutline(plate: PlateShape, number: number, unitsPerMetre: number): void {
    const color = this.#theme?.color(plate.assumed ? "plate-assumed" : "plate");
    if (!color || plate.corners.length === 0) return;
    plate.corners.forEach(([ax, ay, az], i) => {
      const [bx, by, bz] = plate.corners[(i + 1) % plate.corners.length];
      const pieces = plate.assumed ? kDashes : 1;
      for (let k = 0; k < pieces; ++k) {
        const from = k / pieces;
        const to = plate.assumed ? (k + 0.5) / pieces : 1;
        const at = (a: number, b: number, part: number): number => a + (b - a) * part;
        this.#outlines.add(
          at(ax, bx, from),
          at(ay, by, from),
          at(az, bz, from),
          at(ax, bx, to),
          at(ay, by, to),
          at(az, bz, to),
          color,
        );
      }
    });
    const [x, y, z] = plate.corners[0];
    this.#labels.put(`${number + 1}`, x, y, z + 0.01 * unitsPerMetre, "plate-number");
  }

  #drawForce(frame: Frame, plate: number, unitsPerMetre: number): void {
    const at = wordOf(frame, "plate", plate);
    const { floats } = frame;
    if (!drawable(floats, at + kPlate.force) || !drawable(floats, at + kPlate.centre)) return;
    const force = new Vector3().fromArray(floats, at + kPlate.force);
    const newtons = force.length();
    if (newtons < kLeastForce || !this.#theme) return;
    const color = this.#theme.color("force");
    const from = new Vector3().fromArray(floats, at + kPlate.centre);
    const to = from.clone().addScaledVector(force, kMetresPerNewton * unitsPerMetre);
    this.#arrows.add(from.x, from.y, from.z, to.x, to.y, to.z, color);
    this.#drawTip(from, to, Math.min(kTip * unitsPerMetre, to.distanceTo(from) / 3));
    const moment = floats[at + kPlate.freeMoment];
    const momentText = Number.isFinite(moment) ? `${moment.toFixed(1)} N m` : "moment not a number";
    this.#labels.put(`${newtons.toFixed(0)} N · ${momentText}`, to.x, to.y, to.z, "force above");
  }

  #drawTip(from: Vector3, to: Vector3, size: number): void {
    const along = to.clone().sub(from).normalize();
    const helper = Math.abs(along.x) < 0.9 ? new Vector3(1, 0, 0) : new Vector3(0, 1, 0);
    const right = new Vector3().crossVectors(along, helper).normalize();
    const other = new Vector3().crossVectors(along, right);
    for (const side of [right, other]) {
      for (const sign of [-1, 1]) {
        const end = to
          .clone()
          .addScaledVector(along, -size)
          .addScaledVector(side, (sign * size) / 2.5);
        if (this.#theme) this.#arrows.add(to.x, to.y, to.z, end.x, end.y, end.z, this.#theme.color("force"));
      }
    }
  }
}
