// statistics.ts - figures of the camera in focus with their curves over the last minute.
import type { Statistics } from "../protocol/wire";
import { app } from "../store/app";
import type { Camera } from "../store/camera";
import { el } from "./dom";

interface Row {
  name: string;
  label: string;
  unit: string;
  digits: number;
  value: (statistics: Statistics) => number | null;
}

const kRows: readonly Row[] = [
  { name: "fps", label: "Rate", unit: "fps", digits: 1, value: ({ fps }) => fps },
  { name: "latency", label: "Latency, median", unit: "ms", digits: 1, value: ({ latencyMs }) => latencyMs?.p50 ?? null },
  { name: "latency99", label: "Latency, 99 %", unit: "ms", digits: 1, value: ({ latencyMs }) => latencyMs?.p99 ?? null },
  { name: "bandwidth", label: "Bandwidth", unit: "MB/s", digits: 1, value: ({ megabytesPerSecond }) => megabytesPerSecond },
  { name: "lost", label: "Lost frames", unit: "", digits: 0, value: ({ lost }) => lost },
  { name: "incomplete", label: "Incomplete frames", unit: "", digits: 0, value: ({ incomplete }) => incomplete },
  { name: "valid", label: "Valid depth", unit: "%", digits: 1, value: ({ validDepth }) => 100 * validDepth },
  { name: "temperature", label: "Temperature", unit: "°C", digits: 1, value: ({ temperature }) => temperature },
];
const kSeconds = 60;

function drawCurve(canvas: HTMLCanvasElement, values: readonly (number | null)[]): void {
  const scale = window.devicePixelRatio || 1;
  canvas.width = Math.max(1, Math.round(canvas.clientWidth * scale));
  canvas.height = Math.max(1, Math.round(canvas.clientHeight * scale));
  const context = canvas.getContext("2d");
  const known = values.filter((value) => value !== null);
  if (!context || known.length === 0) {
    return;
  }
  const most = 1.1 * Math.max(...known, 1e-9);
  const style = getComputedStyle(canvas);
  const place = (value: number, i: number): [number, number] => [
    ((i + kSeconds - values.length) / (kSeconds - 1)) * canvas.width,
    canvas.height - scale - (value / most) * (canvas.height - 2 * scale),
  ];
  context.beginPath();
  let first = 0;
  values.forEach((value, i) => {
    if (value !== null) {
      const [x, y] = place(value, i);
      if (context.isPointInPath(-1, -1) || i > first) {
        context.lineTo(x, y);
      } else {
        first = i;
        context.moveTo(x, y);
      }
    }
  });
  context.strokeStyle = style.color;
  context.lineWidth = 1.5 * scale;
  context.lineJoin = "round";
  context.stroke();
  context.lineTo(canvas.width, canvas.height);
  context.lineTo(place(0, first)[0], canvas.height);
  context.globalAlpha = 0.14;
  context.fillStyle = style.color;
  context.fill();
}

export function statistics(): HTMLElement {
  const rows = kRows.map((row) => {
    const value = el("output", { "data-value": row.name, "aria-label": row.label }, "–");
    const curve = el("canvas", { class: "curve", role: "img", "aria-label": `${row.label} over the last minute` });
    const element = el("div", { class: "statistic" },
      el("span", { class: "statistic-label" }, row.label), el("span", { class: "statistic-value" }, value, row.unit && ` ${row.unit}`), curve);
    return { row, value, curve, element };
  });
  const clients = el("p", { class: "fact" }, el("span", {}, "Pages that look at this camera"), el("output", {}));
  const show = (history: readonly Statistics[]): void => {
    const last = history[history.length - 1];
    for (const { row, value, curve, element } of rows) {
      const figure = last ? row.value(last) : null;
      value.textContent = figure === null || figure === undefined ? "–" : figure.toFixed(row.digits);
      element.hidden = row.name === "temperature" && figure === null;
      drawCurve(curve, history.map(row.value));
    }
    (clients.lastElementChild as HTMLElement).textContent = last ? String(last.clients) : "–";
  };
  let end: (() => void) | null = null;
  app.focused.watch((camera: Camera | null) => {
    end?.();
    end = camera?.history.watch(show) ?? null;
    if (!camera) {
      show([]);
    }
  });
  const element = el("div", { class: "statistics" }, ...rows.map((row) => row.element), clients,
    el("p", { class: "note" }, "Curves go back one minute."));
  new ResizeObserver(() => show(app.focused.value?.history.value ?? [])).observe(element);
  return element;
}
