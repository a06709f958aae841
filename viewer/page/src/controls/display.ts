// display.ts - how pictures are shown: color map, range, histogram, overlay, points.
import { app } from "../store/app";
import { settings, type Settings } from "../store/settings";
import type { Camera } from "../store/camera";
import { colorIndex, colorTable } from "../picture/colorMap";
import { rangeOf, summaryOf } from "../views/range";
import { el, field, segments, slider } from "./dom";

const kLargestMm = 10000;
const kStepMm = 10;

function percent(share: number): string {
  return `${Math.round(100 * share)} %`;
}

export function display(): HTMLElement {
  const maps = segments("Color map", [{ value: "turbo", label: "Turbo" }, { value: "gray", label: "Gray" }], (colorMap) =>
    settings.update({ colorMap }));
  const automatic = el("button", { type: "button", class: "switch", role: "switch", "aria-label": "Automatic range", title: "Automatic range (G)",
    onclick: () => setAutomatic(!settings.value.isRangeAutomatic) }, el("span", {}));
  const near = slider("Nearest depth", 0, kLargestMm, kStepMm, (value) => setRange({ nearMm: value }));
  const far = slider("Farthest depth", 0, kLargestMm, kStepMm, (value) => setRange({ farMm: value }));
  const nearText = el("output", {});
  const farText = el("output", {});
  const opacity = slider("Opacity of depth over color", 0, 1, 0.01, (overlayOpacity) => settings.update({ overlayOpacity }));
  const opacityText = el("output", {});
  const size = slider("Size of points", 1, 8, 0.5, (pointSize) => settings.update({ pointSize }));
  const sizeText = el("output", {});
  const cloud = segments("Color of points", [{ value: "color", label: "Color" }, { value: "depth", label: "Depth" }], (cloudColor) =>
    settings.update({ cloudColor }));
  const histogram = el("canvas", { class: "histogram", role: "img", "aria-label": "Histogram of depth" });
  const ends = el("div", { class: "histogram-ends" }, el("output", {}), el("output", {}));
  const valid = el("output", { "data-value": "valid" }, "–");

  settings.watch((value) => {
    maps.mark([value.colorMap]);
    cloud.mark([value.cloudColor]);
    automatic.setAttribute("aria-checked", String(value.isRangeAutomatic));
    opacity.value = String(value.overlayOpacity);
    opacityText.textContent = percent(value.overlayOpacity);
    size.value = String(value.pointSize);
    sizeText.textContent = `${value.pointSize} px`;
  });
  const refresh = (camera: Camera | null): void => {
    const summary = camera && summaryOf(camera);
    const [nearMm, farMm] = camera ? rangeOf(camera) : [settings.value.nearMm, settings.value.farMm];
    for (const [input, text, value] of [[near, nearText, nearMm], [far, farText, farMm]] as const) {
      input.value = String(value);
      text.textContent = camera && !summary && settings.value.isRangeAutomatic ? "–" : `${Math.round(value)} mm`;
    }
    valid.textContent = summary ? `${(100 * summary.validShare).toFixed(1)} %` : "–";
    drawHistogram(histogram, summary?.bins ?? [], summary ? [summary.nearMm, summary.farMm] : [0, 1], [nearMm, farMm]);
    const texts = summary && summary.validShare > 0 ? [`${Math.round(summary.nearMm)} mm`, `${Math.round(summary.farMm)} mm`] : ["", ""];
    [...ends.children].forEach((end, i) => {
      end.textContent = texts[i] ?? "";
    });
  };
  followFocused(refresh);
  return el("div", { class: "display" },
    el("section", {}, el("h3", {}, "Depth"), field("Colors", maps.element),
      el("div", { class: "field" }, el("span", { class: "field-label" }, "Automatic range"), automatic),
      field("Near", near, nearText), field("Far", far, farText)),
    el("section", {}, el("h3", {}, "Distribution"), histogram, ends,
      el("p", { class: "fact" }, el("span", {}, "Valid pixels"), valid)),
    el("section", {}, el("h3", {}, "Overlay"), field("Depth", opacity, opacityText)),
    el("section", {}, el("h3", {}, "Point cloud"), field("Points", cloud.element), field("Size", size, sizeText)));
}

// Leaving the automatic range begins with the range that was seen.
export function setAutomatic(isRangeAutomatic: boolean): void {
  const camera = app.focused.value;
  const [nearMm, farMm] = camera ? rangeOf(camera) : [settings.value.nearMm, settings.value.farMm];
  settings.update({ isRangeAutomatic, nearMm: Math.round(nearMm), farMm: Math.round(farMm) });
}

function setRange(change: Pick<Settings, "nearMm"> | Pick<Settings, "farMm">): void {
  if (settings.value.isRangeAutomatic) {
    setAutomatic(false);
  }
  const { nearMm, farMm } = { ...settings.value, ...change };
  const isOrdered = nearMm < farMm;
  settings.update({
    nearMm: isOrdered || "nearMm" in change ? nearMm : Math.max(0, farMm - kStepMm),
    farMm: isOrdered || "farMm" in change ? farMm : nearMm + kStepMm,
  });
}

function followFocused(refresh: (camera: Camera | null) => void): void {
  let end: (() => void) | null = null;
  let lastMs = 0;
  app.focused.watch((camera) => {
    end?.();
    refresh(camera);
    end = camera?.depth.watch(() => {
      const now = performance.now();
      if (now - lastMs > 100) { // figures that change faster cannot be read
        lastMs = now;
        refresh(camera);
      }
    }) ?? null;
  });
  settings.watch(() => refresh(app.focused.value));
}

function drawHistogram(canvas: HTMLCanvasElement, bins: readonly number[], span: readonly [number, number], range: readonly [number, number]): void {
  const scale = window.devicePixelRatio || 1;
  canvas.width = Math.max(1, Math.round(canvas.clientWidth * scale));
  canvas.height = Math.max(1, Math.round(canvas.clientHeight * scale));
  const context = canvas.getContext("2d");
  const most = Math.max(...bins, 1);
  if (!context) {
    return;
  }
  const table = colorTable(settings.value.colorMap);
  const width = canvas.width / Math.max(bins.length, 1);
  bins.forEach((count, i) => {
    const depth = span[0] + ((i + 0.5) / bins.length) * (span[1] - span[0]);
    const at = 3 * colorIndex(depth, range[0], range[1]);
    // A root, so that one wall does not flatten everything else.
    const height = Math.max(count > 0 ? scale : 0, Math.sqrt(count / most) * canvas.height);
    context.fillStyle = `rgb(${table[at]} ${table[at + 1]} ${table[at + 2]})`;
    context.fillRect(i * width, canvas.height - height, Math.max(1, width - scale), height);
  });
}
