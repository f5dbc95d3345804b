// Where one looks from. z is up.
import { PerspectiveCamera, Vector3 } from "three";
import { OrbitControls } from "three/examples/jsm/controls/OrbitControls.js";

import type { Bounds } from "./space";

const kFieldOfView = 40;
const kSmallestRadius = 0.5; // metres: one marker alone is not looked at through a microscope
const kPoleMargin = 1e-3; // straight down there would be no up
const kSlant = new Vector3(0.75, -1, 0.45);

export type Side = "front" | "side" | "top";
const kSides: Readonly<Record<Side, Vector3>> = {
  front: new Vector3(0, -1, 0.02),
  side: new Vector3(1, 0, 0.02),
  top: new Vector3(0, -kPoleMargin, 1),
};

export class Camera {
  readonly camera = new PerspectiveCamera(kFieldOfView, 1, 0.01, 1000);
  follows = false;
  /** Whether the user has looked around. */
  touched = false;
  readonly #controls: OrbitControls;
  readonly #followed = new Vector3();
  #isFollowing = false;

  constructor(canvas: HTMLCanvasElement, changed: () => void) {
    this.camera.up.set(0, 0, 1);
    this.camera.position.copy(kSlant).setLength(6);
    this.#controls = new OrbitControls(this.camera, canvas);
    this.#controls.minDistance = 1e-3;
    this.#controls.target.set(0, 0, 0.9);
    this.#controls.update();
    this.#controls.addEventListener("change", changed);
    this.#controls.addEventListener("start", () => (this.touched = true));
  }

  get distance(): number {
    return this.camera.position.distanceTo(this.#controls.target);
  }
  get target(): Vector3 {
    return this.#controls.target;
  }

  resize(aspect: number): void {
    this.camera.aspect = aspect;
    this.camera.updateProjectionMatrix();
  }

  /** Near and far planes for what is looked at now. */
  prepare(): void {
    this.camera.near = this.distance / 200;
    this.camera.far = this.distance * 200;
    this.camera.updateProjectionMatrix();
    this.camera.updateMatrixWorld();
  }

  /** Shows all of it, from a side, or else from where the camera is. */
  fit(bounds: Bounds, unitsPerMetre: number, side?: Side): void {
    const from = side === undefined ? this.#offset() : kSides[side];
    if (bounds.empty) return this.#look(this.#controls.target.clone(), from, this.distance);
    const radius = Math.max(bounds.radius, kSmallestRadius * unitsPerMetre);
    const half = (kFieldOfView / 2) * (Math.PI / 180);
    const narrow = Math.min(1, this.camera.aspect);
    const center = new Vector3(bounds.center(0), bounds.center(1), bounds.center(2));
    this.#look(center, from, (0.78 * radius) / Math.sin(half) / narrow);
  }

  /** Around the target, in radians. */
  orbit(around: number, up: number): void {
    this.touched = true;
    const offset = this.#offset();
    const distance = offset.length();
    const azimuth = Math.atan2(offset.y, offset.x) + around;
    const limit = Math.PI / 2 - kPoleMargin;
    const elevation = Math.min(Math.max(Math.asin(offset.z / distance) + up, -limit), limit);
    const flat = Math.cos(elevation);
    this.#look(
      this.target.clone(),
      new Vector3(Math.cos(azimuth) * flat, Math.sin(azimuth) * flat, Math.sin(elevation)),
      distance,
    );
  }

  /** In parts of the distance, to the right and up as one sees it. */
  pan(right: number, up: number): void {
    this.touched = true;
    const matrix = this.camera.matrixWorld;
    const shift = new Vector3().setFromMatrixColumn(matrix, 0).multiplyScalar(right * this.distance);
    shift.addScaledVector(new Vector3().setFromMatrixColumn(matrix, 1), up * this.distance);
    this.#shift(shift);
  }

  zoom(factor: number): void {
    this.touched = true;
    this.#look(this.target.clone(), this.#offset(), this.distance * factor);
  }

  /** Moves along with what is followed. */
  follow(position: readonly [number, number, number] | null): void {
    if (!this.follows || !position) {
      this.#isFollowing = false;
      return;
    }
    const now = new Vector3(...position);
    this.#shift(this.#isFollowing ? now.clone().sub(this.#followed) : now.clone().sub(this.target));
    this.#followed.copy(now);
    this.#isFollowing = true;
  }

  /** What is followed is another one from now on. */
  followAnew(): void {
    this.#isFollowing = false;
  }

  #offset(): Vector3 {
    return this.camera.position.clone().sub(this.target);
  }

  #look(target: Vector3, from: Vector3, distance: number): void {
    this.#controls.target.copy(target);
    this.camera.position.copy(target).addScaledVector(from.clone().normalize(), distance);
    this.#controls.update();
  }

  #shift(by: Vector3): void {
    if (by.lengthSq() === 0) return;
    this.camera.position.add(by);
    this.#controls.target.add(by);
    this.#controls.update();
  }
}
