// The elements of index.html.

/** Throws when the page has none of that id, which is a fault of the page. */
export function byId<Type extends HTMLElement = HTMLElement>(id: string): Type {
  const element = document.getElementById(id);
  if (!element) throw new Error(`the page has no #${id}`);
  return element as Type;
}

/** Touches the page only when the text is another one. */
export function setText(element: HTMLElement, text: string): void {
  if (element.textContent !== text) element.textContent = text;
}

/** An element with a text in it. */
export function make(tag: string, look: string, text: string): HTMLElement {
  const element = document.createElement(tag);
  if (look) element.className = look;
  element.textContent = text;
  return element;
}
