// The floor: a grid whose step follows what is seen, and the axes of the volume.
import { BufferGeometry, Float32BufferAttribute, LineBasicMaterial, LineSegments, type Object3D } from "three";

import type { Camera } from "./camera";
import type { Labels } from "./labels";
import { Lines } from "./lines";
import type { Theme } from "./theme";

const kLines = 24; // to each side of the middle

export class Grid {
  step = 1;
  readonly #floor = new LineSegments(new BufferGeometry(), new LineBasicMaterial({ depthWrite: false }));
  readonly #axes: Lines;
  readonly #labels: Labels;
  #theme: Theme | null = null;

  constructor(parent: Object3D, labels: Labels) {
    const points: number[] = [];
    // Step by step: the fog of a line that passes the eye would be wrong all along.
    for (let i = -kLines; i <= kLines; ++i)
      for (let k = -kLines; k < kLines; ++k) points.push(i, k, 0, i, k + 1, 0, k, i, 0, k + 1, i, 0);
    this.#floor.geometry.setAttribute("position", new Float32BufferAttribute(points, 3));
    this.#floor.frustumCulled = false;
    this.#floor.renderOrder = -1; // below the axes and outlines that lie in it
    parent.add(this.#floor);
    this.#axes = new Lines(parent, 2.5);
    this.#labels = labels;
  }

  paint(theme: Theme): void {
    this.#theme = theme;
    this.#floor.material.color = theme.color("grid");
  }

  /** The largest power of ten of which two steps or more lie between eye and target. */
  draw(camera: Camera): void {
    this.step = 10 ** Math.floor(Math.log10(camera.distance / 2));
    const snap = (value: number): number => Math.round(value / this.step) * this.step;
    this.#floor.position.set(snap(camera.target.x), snap(camera.target.y), 0);
    this.#floor.scale.setScalar(this.step);
    this.#floor.updateMatrixWorld();
    this.#axes.begin();
    ["x", "y", "z"].forEach((name, i) => {
      const end = [0, 0, 0];
      end[i] = this.step;
      if (this.#theme) this.#axes.add(0, 0, 0, end[0], end[1], end[2], this.#theme.color(`axis-${name}`));
      const [x, y, z] = end.map((value) => value * 1.06);
      this.#labels.put(name, x, y, z, `axis axis-${name}`);
    });
    this.#axes.end();
  }
}
