// Builds elements. Text only ever becomes a text node: what a gateway sends is never markup.

const SVG = "http://www.w3.org/2000/svg";

function fill_in(element, props, children) {
  for (const [name, value] of Object.entries(props ?? {})) {
    if (value === null || value === undefined || value === false) continue;
    if (name.startsWith("on")) element.addEventListener(name.slice(2), value);
    else element.setAttribute(name, value === true ? "" : String(value));
  }
  element.append(...children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== false));
  return element;
}

export const h = (tag, props, ...children) => fill_in(document.createElement(tag), props, children);
export const svg = (tag, props, ...children) => fill_in(document.createElementNS(SVG, tag), props, children);
export const by_id = (id) => document.getElementById(id);

/** A table's row of label and value; nothing at all without a value. */
export const fact = (label, value) =>
  value === null || value === undefined || value === "" ? null : [h("dt", null, label), h("dd", null, value)];

export const empty = (text) => h("p", { class: "empty" }, text);

/** Replaces what is in `element`; who had the focus by its data-key gets it back. */
export function fill(element, ...children) {
  const key = element.contains(document.activeElement) ? document.activeElement.dataset.key : undefined;
  element.replaceChildren(
    ...children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== false),
  );
  if (key !== undefined) element.querySelector(`[data-key="${CSS.escape(key)}"]`)?.focus({ preventScroll: true });
}
