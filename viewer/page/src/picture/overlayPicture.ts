// overlayPicture.ts - color as the depth camera sees it: where the two are not registered to each other, each depth
// pixel looks up its color through both lenses.
import type { DepthFrame } from "../geometry/depthFrame";
import { fitLens } from "../geometry/depthFrame";
import { directionsOf, pixelOf, toColorCamera } from "../geometry/lens";
import type { CameraDetails, LensEntry } from "../protocol/wire";

let directionsFor = "";
let directions = new Float32Array(0) as Float32Array;

function directionsTable(lens: LensEntry): Float32Array {
  const wanted = JSON.stringify(lens);
  if (wanted !== directionsFor) {
    directionsFor = wanted;
    directions = directionsOf(lens);
  }
  return directions;
}

export function isRegistered(details: CameraDetails): boolean {
  return details.depthAligned || !details.depthToColor || !details.streams.depth || !details.streams.color;
}

const scratch = document.createElement("canvas");

// Paints color at the depth image's pixels, dark where no depth tells where to look.
export function paintColorForDepth(
  canvas: HTMLCanvasElement, frame: DepthFrame, color: ImageBitmap, details: CameraDetails,
): void {
  canvas.width = frame.width;
  canvas.height = frame.height;
  const context = canvas.getContext("2d");
  if (!context || !details.streams.depth || !details.streams.color) {
    return;
  }
  scratch.width = color.width;
  scratch.height = color.height;
  const from = scratch.getContext("2d", { willReadFrequently: true });
  if (!from) {
    return;
  }
  from.drawImage(color, 0, 0);
  const source = new Uint32Array(from.getImageData(0, 0, color.width, color.height).data.buffer);
  const image = context.createImageData(frame.width, frame.height);
  const target = new Uint32Array(image.data.buffer);
  const lens = fitLens(details.streams.color, color.width, color.height);
  const table = directionsTable(fitLens(details.streams.depth, frame.width, frame.height));
  for (let i = 0; i < target.length; ++i) {
    const z = (frame.samples[i] as number) * frame.mmPerUnit;
    if (z === 0) {
      continue;
    }
    const point = { x: (table[2 * i] as number) * z, y: (table[2 * i + 1] as number) * z, z };
    const at = pixelOf(lens, toColorCamera(details, point));
    if (at) {
      const u = Math.round(at[0]);
      const v = Math.round(at[1]);
      if (u >= 0 && v >= 0 && u < color.width && v < color.height) {
        target[i] = source[v * color.width + u] as number;
      }
    }
  }
  context.putImageData(image, 0, 0);
}
