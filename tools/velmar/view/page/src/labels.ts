// Words in the scene: elements over the canvas, of which as many are kept as were ever needed at once.
import { type PerspectiveCamera, Vector3 } from "three";

interface Label {
  readonly element: HTMLElement;
  readonly place: Vector3;
}

export class Labels {
  readonly #layer: HTMLElement;
  readonly #labels: Label[] = [];
  readonly #projected = new Vector3();
  #count = 0;

  constructor(layer: HTMLElement) {
    this.#layer = layer;
  }

  begin(): void {
    this.#count = 0;
  }

  put(text: string, x: number, y: number, z: number, look: string): void {
    const label = this.#labels[this.#count] ?? this.#make();
    ++this.#count;
    if (label.element.textContent !== text) label.element.textContent = text;
    if (label.element.className !== look) label.element.className = look;
    label.place.set(x, y, z);
  }

  /** Where the camera sees them. */
  place(camera: PerspectiveCamera, width: number, height: number): void {
    this.#labels.forEach(({ element, place }, i) => {
      const p = this.#projected.copy(place).project(camera);
      const seen = i < this.#count && p.z > -1 && p.z < 1 && Math.abs(p.x) < 1.1 && Math.abs(p.y) < 1.1;
      element.hidden = !seen;
      if (!seen) return;
      const left = ((p.x + 1) / 2) * width;
      const top = ((1 - p.y) / 2) * height;
      element.style.transform = `translate(${left.toFixed(1)}px, ${top.toFixed(1)}px)`;
    });
  }

  #make(): Label {
    const element = document.createElement("div");
    this.#layer.append(element);
    const label = { element, place: new Vector3() };
    this.#labels.push(label);
    return label;
  }
}
