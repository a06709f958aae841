// readout.ts - the line below a camera's views: the value under the pointer, the measured distance, the frame.
import { el, formatMm, iconButton } from "../controls/dom";
import { app } from "../store/app";
import type { Camera } from "../store/camera";
import { distanceText } from "./markers";

function item(label: string, value: HTMLElement): HTMLElement {
  return el("span", { class: "item" }, el("span", { class: "item-label" }, label), value);
}

export class Readout {
  readonly element: HTMLElement;
  readonly ends: (() => void)[];

  constructor(camera: Camera) {
    const names = ["pixel", "depth", "X", "Y", "Z"] as const;
    const values = names.map((name) => el("output", { "data-value": name, "aria-label": name === "depth" ? "Depth under the pointer" : `${name} under the pointer` }, "–"));
    const measure = el("span", { class: "measurement", "data-value": "distance" });
    const clear = iconButton("close", "Clear the measurement", "Esc", () => camera.measured.set([]));
    const frame = el("output", { "data-value": "frame", "aria-label": "Frame number" }, "–");
    this.element = el("footer", { class: "readout" },
      ...names.map((name, i) => item(name, values[i] as HTMLElement)), el("span", { class: "unit" }, "mm"),
      measure, clear, el("span", { class: "spacer" }), item("frame", frame));
    const set = (texts: readonly string[]): void => texts.forEach((text, i) => {
      (values[i] as HTMLElement).textContent = text;
    });
    const showMeasurement = (): void => {
      const { value } = camera.measured;
      const next = value.length === 1 ? "second" : "first";
      measure.textContent = distanceText(value) || (app.isMeasuring.value ? `Pick the ${next} point` : "");
      measure.classList.toggle("has-distance", value.length === 2);
      measure.dataset["pixels"] = JSON.stringify(value.map(({ u, v }) => [u, v]));
      clear.hidden = value.length === 0;
    };
    this.ends = [
      camera.hovered.watch((at) => set(at
        ? [`${at.u}, ${at.v}`, at.depthMm > 0 ? formatMm(at.depthMm) : "none", formatMm(at.point.x), formatMm(at.point.y), formatMm(at.point.z)]
        : ["–", "–", "–", "–", "–"])),
      camera.measured.watch(showMeasurement),
      app.isMeasuring.watch(showMeasurement),
      camera.depth.watch((depth) => {
        frame.textContent = depth ? String(depth.number) : "–";
      }),
    ];
  }
}
