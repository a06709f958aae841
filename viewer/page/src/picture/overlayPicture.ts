// overlayPicture.ts - color as the depth camera sees it: where the two are not registered to each other, each depth
// pixel looks up its color through both lenses.
import type { DepthFrame } from "../geometry/depthFrame";
import { fitLens } from "../geometry/depthFrame";
import { directionsOf, pixelOf, toColorCamera } from "../geometry/lens";
import type { CameraDetails, LensEntry } from "../protocol/wire";

export const kNoCalibration = "There is no calibration between depth and color.";

const tables = new WeakMap<CameraDetails, { width: number; height: number; table: Float32Array }>();

// Of each camera its own, for as long as its lens and the size of its pictures are these.
function directionsTable(details: CameraDetails, depth: LensEntry, { width, height }: DepthFrame): Float32Array {
  let known = tables.get(details);
  if (known?.width !== width || known.height !== height) {
    known = { width, height, table: directionsOf(fitLens(depth, width, height)) };
    tables.set(details, known);
  }
  return known.table;
}

// Whether the color of a depth pixel can be told: they are pixels of one picture, or the way from one to the other is known.
export function hasColorOfDepth(details: CameraDetails): boolean {
  return details.depthAligned || (details.depthToColor && details.streams.depth && details.streams.color ? true : false);
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
  const table = directionsTable(details, details.streams.depth, frame);
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
