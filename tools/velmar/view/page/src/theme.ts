// Colours: each stands in style.css, light and dark; the scene and the plots read it from there.
import { Color } from "three";

export interface Theme {
  /** Of a custom property, as text. */
  css(name: string): string;
  color(name: string): Color;
}

export function currentTheme(): Theme {
  const style = getComputedStyle(document.documentElement);
  const colors = new Map<string, Color>();
  const css = (name: string): string => style.getPropertyValue(`--${name}`).trim();
  return {
    css,
    color(name) {
      const kept = colors.get(name) ?? new Color(css(name));
      colors.set(name, kept);
      return kept;
    },
  };
}

/** Light or dark: as the system has it, until the user chooses. */
export class Lighting {
  readonly #changed: () => void;
  #chosen = false;

  constructor(changed: () => void) {
    this.#changed = changed;
    const system = matchMedia("(prefers-color-scheme: dark)");
    document.documentElement.dataset["theme"] = system.matches ? "dark" : "light";
    system.addEventListener("change", () => {
      if (!this.#chosen) this.#set(system.matches);
    });
  }

  toggle(): void {
    this.#chosen = true;
    this.#set(document.documentElement.dataset["theme"] !== "dark");
  }

  #set(dark: boolean): void {
    document.documentElement.dataset["theme"] = dark ? "dark" : "light";
    this.#changed();
  }
}
