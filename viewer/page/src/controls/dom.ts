// dom.ts - elements in a line each, and the small controls that more than one part of the page uses.

type Child = Node | string | null | undefined | false;
type Props = Record<string, string | number | boolean | ((event: never) => void)>;

// Properties that begin with "on" are listeners; booleans are present or absent; all else are attributes.
export function el<K extends keyof HTMLElementTagNameMap>(
  tag: K, props: Props = {}, ...children: Child[]
): HTMLElementTagNameMap[K] {
  const element = document.createElement(tag);
  for (const [name, value] of Object.entries(props)) {
    if (typeof value === "function") {
      element.addEventListener(name.slice(2), value as EventListener);
    } else if (typeof value === "boolean") {
      element.toggleAttribute(name, value);
    } else {
      element.setAttribute(name, String(value));
    }
  }
  for (const child of children) {
    if (child) {
      element.append(child);
    }
  }
  return element;
}

const kIcons = {
  pause: "M7 5h3v14H7zM14 5h3v14h-3z",
  play: "M8 5l11 7-11 7z",
  step: "M6 5l8 7-8 7zM16 5h3v14h-3z",
  back: "M18 5l-8 7 8 7zM5 5h3v14H5z",
  record: "M12 6a6 6 0 100 12 6 6 0 000-12z",
  close: "M6 7.400L7.400 6 12 10.600 16.600 6 18 7.400 13.400 12 18 16.600 16.600 18 12 13.400 7.400 18 6 16.600 10.600 12z",
  save: "M11 4h2v8h3l-4 5-4-5h3zM5 18h14v2H5z",
  measure: "M3 16L16 3l5 5L8 21zM6 15l2 2M9 12l3 3M12 9l2 2M15 6l3 3",
  sun: "M12 8a4 4 0 100 8 4 4 0 000-8zM11 2h2v3h-2zM11 19h2v3h-2zM2 11h3v2H2zM19 11h3v2h-3zM4.2 5.6l1.4-1.4 2.1 2.1-1.4 1.4zM16.3 17.7l1.4-1.4 2.1 2.1-1.4 1.4zM4.2 18.4l2.1-2.1 1.4 1.4-2.1 2.1zM16.3 6.3l2.1-2.1 1.4 1.4-2.1 2.1z",
  help: "M12 3a9 9 0 100 18 9 9 0 000-18zM11 16h2v2h-2zM12 6a3.5 3.5 0 013.5 3.5c0 2.2-2.5 2.4-2.5 4.5h-2c0-3 2.500-3.300 2.500-4.500a1.500 1.500 0 00-3 0h-2A3.500 3.500 0 0112 6z",
  panel: "M4 5h16v14H4zM15 5v14",
  home: "M12 4l8 7h-2v8h-4v-5h-4v5H6v-8H4z",
  reload: "M12 5a7 7 0 106.700 9h-2.100A5 5 0 1112 7v3l5-4-5-4z",
} as const;

export type IconName = keyof typeof kIcons;
const kOutlined: readonly IconName[] = ["panel", "measure"];

export function icon(name: IconName): SVGSVGElement {
  const space = "http://www.w3.org/2000/svg";
  const svg = document.createElementNS(space, "svg");
  const path = document.createElementNS(space, "path");
  svg.setAttribute("viewBox", "0 0 24 24");
  svg.setAttribute("aria-hidden", "true");
  svg.classList.add("icon");
  svg.classList.toggle("outlined", kOutlined.includes(name));
  path.setAttribute("d", kIcons[name]);
  path.setAttribute("fill-rule", "evenodd");
  svg.append(path);
  return svg;
}

export function iconButton(name: IconName, label: string, key: string, onclick: () => void): HTMLButtonElement {
  const title = key ? `${label} (${key})` : label;
  return el("button", { type: "button", class: "icon-button", "aria-label": label, title, onclick }, icon(name));
}

export function setIcon(button: HTMLButtonElement, name: IconName, label: string, key = ""): void {
  button.replaceChildren(icon(name));
  button.setAttribute("aria-label", label);
  button.title = key ? `${label} (${key})` : label;
}

export interface Choice<T extends string> {
  value: T;
  label: string;
  title?: string;
}

// One of a few, as a row of buttons; gives the element and the way to mark the one that holds.
export function segments<T extends string>(
  label: string, choices: readonly Choice<T>[], onPick: (value: T) => void,
): { element: HTMLElement; mark(marked: readonly T[]): void } {
  const buttons = choices.map(({ value, label: text, title }) =>
    el("button", { type: "button", "data-value": value, "aria-pressed": "false", title: title ?? text, onclick: () => onPick(value) }, text));
  return {
    element: el("div", { class: "segments", role: "group", "aria-label": label }, ...buttons),
    mark(marked) {
      choices.forEach(({ value }, i) => buttons[i]?.setAttribute("aria-pressed", String(marked.includes(value))));
    },
  };
}

export function field(label: string, control: HTMLElement, value?: HTMLElement): HTMLElement {
  return el("label", { class: "field" }, el("span", { class: "field-label" }, label), control, value);
}

export function slider(label: string, min: number, max: number, step: number, oninput: (value: number) => void): HTMLInputElement {
  const input = el("input", { type: "range", min, max, step, "aria-label": label });
  input.addEventListener("input", () => oninput(input.valueAsNumber));
  return input;
}

export function saveBlob(blob: Blob, name: string): void {
  const url = URL.createObjectURL(blob);
  el("a", { href: url, download: name }).click();
  window.setTimeout(() => URL.revokeObjectURL(url), 10000);
}

export function formatMm(mm: number): string {
  return mm.toFixed(1);
}
