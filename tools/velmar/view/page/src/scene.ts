// The picture: draws one frame as the camera sees it.
import { DirectionalLight, Fog, HemisphereLight, Scene as Space, Vector3, WebGLRenderer } from "three";

import { Camera } from "./camera";
import type { Described } from "./described";
import { Figures } from "./figures";
import { Grid } from "./grid";
import { Labels } from "./labels";
import { Markers } from "./markers";
import { Plates } from "./plates";
import type { Frame } from "./protocol";
import type { Series } from "./series";
import { drawable } from "./space";
import { currentTheme } from "./theme";
import { Trail } from "./trail";

const kMostPixelRatio = 2;

/** What is drawn besides the frame. */
export interface Extras {
  readonly described: Described;
  readonly unitsPerMetre: number;
  readonly picked: { readonly name: string; readonly at: number } | null; // word of its position
  readonly trail: Series | null;
}

export class Scene {
  readonly camera: Camera;
  readonly trail: Trail;
  readonly #canvas: HTMLCanvasElement;
  readonly #renderer: WebGLRenderer;
  readonly #space = new Space();
  readonly #sun = new DirectionalLight(0xffffff, 2);
  readonly #labels: Labels;
  readonly #grid: Grid;
  readonly #markers: Markers;
  readonly #figures: Figures;
  readonly #plates: Plates;
  readonly #point = new Vector3();

  /** Throws when the browser has no WebGL 2. */
  constructor(canvas: HTMLCanvasElement, labelLayer: HTMLElement, changed: () => void) {
    this.#canvas = canvas;
    this.#renderer = new WebGLRenderer({ canvas, antialias: true });
    this.#labels = new Labels(labelLayer);
    this.camera = new Camera(canvas, changed);
    this.#grid = new Grid(this.#space, this.#labels);
    this.#plates = new Plates(this.#space, this.#labels);
    this.#figures = new Figures(this.#space, this.#labels);
    this.#markers = new Markers(this.#space);
    this.trail = new Trail(this.#space);
    this.#space.add(new HemisphereLight(0xffffff, 0xaaaaaa, 2.4), this.#sun);
    this.paint();
    new ResizeObserver(() => {
      this.#resize();
      changed();
    }).observe(canvas);
    this.#resize();
  }

  get gridStep(): number {
    return this.#grid.step;
  }

  /** Takes the colours anew. */
  paint(): void {
    const theme = currentTheme();
    this.#renderer.setClearColor(theme.color("scene"));
    this.#space.fog = new Fog(theme.color("scene"));
    for (const part of [this.#grid, this.#plates, this.#figures, this.#markers, this.trail]) part.paint(theme);
  }

  draw(frame: Frame | null, extras: Extras): void {
    const { described, unitsPerMetre } = extras;
    const { camera } = this.camera;
    this.camera.prepare();
    this.#labels.begin();
    this.#grid.draw(this.camera);
    this.#plates.draw(frame, described, unitsPerMetre);
    if (frame) {
      this.#figures.draw(frame, described, unitsPerMetre);
      this.#markers.draw(frame, described, camera.position, unitsPerMetre);
      this.trail.draw(extras.trail, frame.arrivalMs);
      this.#labelPicked(frame, extras);
    }
    this.#sun.position.copy(camera.position);
    if (this.#space.fog instanceof Fog) {
      this.#space.fog.near = this.camera.distance * 1.2;
      this.#space.fog.far = this.camera.distance * 4;
    }
    this.#renderer.render(this.#space, camera);
    this.#labels.place(camera, this.#canvas.clientWidth, this.#canvas.clientHeight);
  }

  /** CSS pixels of the page where a position is seen; null behind the camera. */
  project(position: ArrayLike<number>, at = 0): [number, number] | null {
    const seen = this.#point.set(position[at], position[at + 1], position[at + 2]).project(this.camera.camera);
    if (!(seen.z > -1 && seen.z < 1)) return null;
    const box = this.#canvas.getBoundingClientRect();
    return [box.left + ((seen.x + 1) / 2) * box.width, box.top + ((1 - seen.y) / 2) * box.height];
  }

  #labelPicked(frame: Frame, { picked }: Extras): void {
    if (!picked || !drawable(frame.floats, picked.at)) return;
    const [x, y, z] = frame.floats.subarray(picked.at, picked.at + 3);
    this.#labels.put("", x, y, z, "ring");
    this.#labels.put(picked.name, x, y, z, "name picked");
  }

  #resize(): void {
    const { clientWidth: width, clientHeight: height } = this.#canvas;
    if (width === 0 || height === 0) return;
    this.#renderer.setPixelRatio(Math.min(devicePixelRatio, kMostPixelRatio));
    this.#renderer.setSize(width, height, false);
    this.camera.resize(width / height);
  }
}
