// markers.ts - the measured points and their distance, drawn over a picture or a cloud.
import { formatMm } from "../controls/dom";
import { distance } from "../geometry/lens";
import type { Picked } from "../geometry/depthFrame";

export function distanceText(measured: readonly Picked[]): string {
  const [a, b] = measured;
  return a && b ? `${formatMm(distance(a.point, b.point))} mm` : "";
}

// Sizes the canvas to its element, in the screen's own pixels, and clears it. The scale is that of CSS pixels.
export function beginMarkers(canvas: HTMLCanvasElement): CanvasRenderingContext2D | null {
  const scale = window.devicePixelRatio || 1;
  const width = Math.max(1, Math.round(canvas.clientWidth * scale));
  const height = Math.max(1, Math.round(canvas.clientHeight * scale));
  if (canvas.width !== width || canvas.height !== height) {
    canvas.width = width;
    canvas.height = height;
  }
  const context = canvas.getContext("2d");
  context?.setTransform(scale, 0, 0, scale, 0, 0);
  context?.clearRect(0, 0, width, height);
  return context;
}

function cross(context: CanvasRenderingContext2D, x: number, y: number): void {
  context.beginPath();
  context.arc(x, y, 6, 0, 2 * Math.PI);
  context.moveTo(x - 11, y);
  context.lineTo(x - 3, y);
  context.moveTo(x + 3, y);
  context.lineTo(x + 11, y);
  context.moveTo(x, y - 11);
  context.lineTo(x, y - 3);
  context.moveTo(x, y + 3);
  context.lineTo(x, y + 11);
  context.stroke();
}

// places: where the measured points are in the canvas, null for what is not seen.
export function drawMeasurement(
  context: CanvasRenderingContext2D, measured: readonly Picked[], places: readonly ([number, number] | null)[],
): void {
  for (const [style, width] of [["rgba(0,0,0,0.75)", 4], ["#ffffff", 1.75]] as const) {
    context.strokeStyle = style;
    context.lineWidth = width;
    const [a, b] = places;
    if (a && b) {
      context.beginPath();
      context.moveTo(a[0], a[1]);
      context.lineTo(b[0], b[1]);
      context.stroke();
    }
    for (const place of places) {
      if (place) {
        cross(context, place[0], place[1]);
      }
    }
  }
  const [a, b] = places;
  if (a && b) {
    label(context, distanceText(measured), (a[0] + b[0]) / 2, (a[1] + b[1]) / 2);
  }
}

function label(context: CanvasRenderingContext2D, text: string, x: number, y: number): void {
  context.font = "600 13px system-ui, sans-serif";
  const width = context.measureText(text).width + 14;
  context.fillStyle = "rgba(12,14,18,0.86)";
  context.beginPath();
  context.roundRect(x - width / 2, y - 12, width, 24, 6);
  context.fill();
  context.fillStyle = "#ffffff";
  context.textAlign = "center";
  context.textBaseline = "middle";
  context.fillText(text, x, y + 0.5);
}
