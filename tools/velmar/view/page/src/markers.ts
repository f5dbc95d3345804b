// Markers: a mesh of instances for each kind, told apart by colour and by shape.
import {
  type BufferGeometry,
  DynamicDrawUsage,
  IcosahedronGeometry,
  InstancedMesh,
  MeshLambertMaterial,
  type Object3D,
  OctahedronGeometry,
  type Vector3,
} from "three";

import type { Described } from "./described";
import { countOf, positionAt } from "./items";
import { type Frame, kLabelled } from "./protocol";
import { drawable } from "./space";
import type { Theme } from "./theme";

const kUsualRadiusMetres = 0.007;
const kLargestRadiusMetres = 0.1; // a size that is not one does not hide everything else
const kLeastRadius = 0.0034; // in parts of the distance: some pixels

type MarkerKind = "labelled" | "other" | "set";

/** Instances of one shape; their buffers grow. */
class Swarm {
  #mesh: InstancedMesh<BufferGeometry, MeshLambertMaterial>;
  #count = 0;
  readonly #parent: Object3D;

  constructor(parent: Object3D, geometry: BufferGeometry) {
    this.#parent = parent;
    this.#mesh = this.#make(geometry, new MeshLambertMaterial({ fog: false }), 64);
  }

  get material(): MeshLambertMaterial {
    return this.#mesh.material;
  }

  begin(atMost: number): void {
    this.#count = 0;
    const room = this.#mesh.instanceMatrix.count;
    if (atMost <= room) return;
    const { geometry, material } = this.#mesh;
    this.#parent.remove(this.#mesh);
    this.#mesh.dispose();
    this.#mesh = this.#make(geometry, material, Math.max(atMost, 2 * room));
  }

  add(x: number, y: number, z: number, radius: number): void {
    const matrix = this.#mesh.instanceMatrix.array;
    const at = 16 * this.#count++;
    matrix[at] = matrix[at + 5] = matrix[at + 10] = radius;
    matrix[at + 12] = x;
    matrix[at + 13] = y;
    matrix[at + 14] = z;
    matrix[at + 15] = 1;
  }

  end(): void {
    this.#mesh.count = this.#count;
    this.#mesh.visible = this.#count > 0;
    this.#mesh.instanceMatrix.needsUpdate = true;
  }

  #make(
    geometry: BufferGeometry,
    material: MeshLambertMaterial,
    room: number,
  ): InstancedMesh<BufferGeometry, MeshLambertMaterial> {
    const mesh = new InstancedMesh(geometry, material, room);
    mesh.instanceMatrix.setUsage(DynamicDrawUsage);
    mesh.instanceMatrix.array.fill(0);
    mesh.frustumCulled = false;
    this.#parent.add(mesh);
    return mesh;
  }
}

export class Markers {
  readonly #swarms: Readonly<Record<MarkerKind, Swarm>>;

  constructor(parent: Object3D) {
    this.#swarms = {
      labelled: new Swarm(parent, new IcosahedronGeometry(1, 1)),
      other: new Swarm(parent, new IcosahedronGeometry(1, 1)),
      set: new Swarm(parent, new OctahedronGeometry(1.3)), // its tips show around a labelled marker at its place
    };
  }

  paint(theme: Theme): void {
    for (const kind of ["labelled", "other", "set"] as const) {
      const { material } = this.#swarms[kind];
      material.color = material.emissive = theme.color(kind);
      material.emissiveIntensity = 0.4; // small ones are told by colour on their dark side too
    }
  }

  draw(frame: Frame, described: Described, eye: Vector3, unitsPerMetre: number): void {
    for (const kind of ["labelled", "other", "set"] as const)
      this.#drawKind(kind, frame, described, eye, unitsPerMetre);
  }

  // Small and far ones are drawn some pixels wide, as one would otherwise not find them.
  #drawKind(kind: MarkerKind, frame: Frame, described: Described, eye: Vector3, unitsPerMetre: number): void {
    const swarm = this.#swarms[kind];
    const { floats } = frame;
    const count = countOf(frame, kind, described);
    swarm.begin(count);
    for (let slot = 0; slot < count; ++slot) {
      const at = positionAt(frame, kind, slot);
      if (!drawable(floats, at)) continue;
      const [x, y, z] = [floats[at], floats[at + 1], floats[at + 2]];
      const size = kind === "labelled" ? floats[at - kLabelled.position + kLabelled.size] / 2 : NaN;
      const radius =
        size > 0 ? Math.min(size, kLargestRadiusMetres * unitsPerMetre) : kUsualRadiusMetres * unitsPerMetre;
      const least = kLeastRadius * Math.hypot(x - eye.x, y - eye.y, z - eye.z);
      swarm.add(x, y, z, Math.max(radius, least));
    }
    swarm.end();
  }
}
