// view.ts - what every view of a camera has in common: a frame with a title, and a place in the camera's panel.
import { el } from "../controls/dom";
import type { ViewName } from "../store/settings";

export interface View {
  readonly name: ViewName;
  readonly element: HTMLElement;
  // Draws what the camera has by now; called in an animation frame when something has changed.
  draw(): void;
  // What is seen, as a picture.
  canvas(): HTMLCanvasElement;
  dispose(): void;
}

export const kTitles: Record<ViewName, string> = {
  depth: "Depth", color: "Color", overlay: "Overlay", cloud: "Point cloud",
};

export function frameOf(name: ViewName, label: string, ...content: HTMLElement[]): HTMLElement {
  return el("section", { class: `view view-${name}`, "data-view": name, "aria-label": label },
    el("span", { class: "view-title" }, kTitles[name]), ...content);
}
