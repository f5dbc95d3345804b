// The keyboard. Which key does what stands here, and is shown by the help from here.
import { byId, make } from "./dom";

/** One thing that keys do; several keys do the same. Upper case: with shift. */
export interface Binding {
  readonly keys: readonly string[];
  readonly shown: string; // in the help; empty: another one stands for it there
  readonly does: string;
  readonly act: () => void;
}

// What is typed into an element is its own, but for the slider, whose arrows step frames.
function isTaken(target: EventTarget | null, key: string): boolean {
  if (target instanceof HTMLSelectElement) return true;
  if (target instanceof HTMLButtonElement) return key === " " || key === "Enter";
  return false;
}

function nameOf(event: KeyboardEvent): string {
  return event.shiftKey && event.key.length > 1 ? `Shift+${event.key}` : event.key;
}

export function listen(bindings: readonly Binding[]): void {
  const acts = new Map(bindings.flatMap(({ keys, act }) => keys.map((key) => [key, act] as const)));
  window.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey || isTaken(event.target, event.key)) return;
    const act = acts.get(nameOf(event));
    if (!act) return;
    event.preventDefault();
    act();
  });
}

export function fillHelp(bindings: readonly Binding[]): void {
  const rows = bindings
    .filter(({ shown }) => shown)
    .flatMap(({ shown, does }) => [make("dt", "", shown), make("dd", "", does)]);
  byId("help-keys").replaceChildren(...rows);
}
