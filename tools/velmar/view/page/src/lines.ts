// Lines of some pixels' width, all of one kind in one mesh whose buffers grow and are never made anew per frame.
import type { Color, Object3D } from "three";
import { LineMaterial } from "three/examples/jsm/lines/LineMaterial.js";
import { LineSegments2 } from "three/examples/jsm/lines/LineSegments2.js";
import { LineSegmentsGeometry } from "three/examples/jsm/lines/LineSegmentsGeometry.js";

const kLeastSegments = 64;

export class Lines {
  readonly #mesh: LineSegments2;
  #points = new Float32Array(0);
  #colors = new Float32Array(0);
  #count = 0;

  constructor(parent: Object3D, widthPixels: number, opacity = 1) {
    const material = new LineMaterial({
      linewidth: widthPixels,
      vertexColors: true,
      transparent: opacity < 1,
      opacity,
    });
    material.fog = false;
    this.#mesh = new LineSegments2(new LineSegmentsGeometry(), material);
    this.#mesh.frustumCulled = false;
    this.#grow(kLeastSegments);
    parent.add(this.#mesh);
  }

  begin(): void {
    this.#count = 0;
  }

  add(ax: number, ay: number, az: number, bx: number, by: number, bz: number, color: Color): void {
    if ((this.#count + 1) * 6 > this.#points.length) this.#grow(this.#count * 2);
    const at = this.#count++ * 6;
    this.#points.set([ax, ay, az, bx, by, bz], at);
    this.#colors.set([color.r, color.g, color.b, color.r, color.g, color.b], at);
  }

  /** Shows what was added since begin(). */
  end(): void {
    const geometry = this.#mesh.geometry;
    geometry.instanceCount = this.#count;
    this.#mesh.visible = this.#count > 0;
    for (const name of ["instanceStart", "instanceColorStart"]) {
      const attribute = geometry.getAttribute(name);
      if ("data" in attribute) attribute.data.needsUpdate = true;
    }
  }

  #grow(segments: number): void {
    const points = new Float32Array(segments * 6);
    const colors = new Float32Array(segments * 6);
    points.set(this.#points);
    colors.set(this.#colors);
    this.#points = points;
    this.#colors = colors;
    this.#mesh.geometry.dispose();
    this.#mesh.geometry = new LineSegmentsGeometry().setPositions(points).setColors(colors);
  }
}
