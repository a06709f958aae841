// overlayPicture.ts - color as the depth camera sees it: where the two are not registered to each other, each depth
// pixel looks up its color through both lenses.
import type { DepthFrame } from "../geometry/depthFrame";
import { fitLens } from "../geometry/depthFrame";
import { directionsOf, pixelOf, toColorCamera } from "../geometry/lens";
import type { CameraDetails, LensEntry } from "../protocol/wire";

export const kNoCalibration = "There is no calibration between depth and color.";

const tables = new WeakMap<CameraDetails, { width: number; height: number; table: Float32Array }>();

// Of each camera its own, for as long as its lens and the size of its pictures are these.
export function directionsTable(details: CameraDetails, depth: LensEntry, { width, height }: DepthFrame): Float32Array {
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

// The color of each depth pixel, as canvases have it, and 0 where no depth tells where to look or the color camera sees
// nothing of it. Null where the way from one to the other is not known.
export function colorsOfDepth(frame: DepthFrame, color: ImageBitmap, details: CameraDetails): Uint32Array<ArrayBuffer> | null {
  scratch.width = color.width;
  scratch.height = color.height;
  const from = scratch.getContext("2d", { willReadFrequently: true });
  if (!from || !hasColorOfDepth(details)) {
    return null;
  }
  from.drawImage(color, 0, 0);
  const source = new Uint32Array(from.getImageData(0, 0, color.width, color.height).data.buffer);
  const target = new Uint32Array(frame.samples.length);
  const placeOf = details.depthAligned ? placeInAligned(frame, color) : placeThroughLenses(frame, color, details);
  for (let i = 0; i < target.length; ++i) {
    const at = frame.samples[i] === 0 ? null : placeOf(i);
    const [u, v] = at ? [Math.round(at[0]), Math.round(at[1])] : [-1, -1];
    if (u >= 0 && v >= 0 && u < color.width && v < color.height) {
      target[i] = source[v * color.width + u] as number;
    }
  }
  return target;
}

type PlaceOf = (pixel: number) => [number, number] | null;

function placeInAligned({ width, height }: DepthFrame, color: ImageBitmap): PlaceOf {
  const [x, y] = [color.width / width, color.height / height];
  return (i) => [((i % width) + 0.5) * x - 0.5, (Math.floor(i / width) + 0.5) * y - 0.5];
}

function placeThroughLenses(frame: DepthFrame, color: ImageBitmap, details: CameraDetails): PlaceOf {
  const { depth, color: seen } = details.streams;
  if (!depth || !seen) {
    return () => null;
  }
  const lens = fitLens(seen, color.width, color.height);
  const table = directionsTable(details, depth, frame);
  return (i) => {
    const z = (frame.samples[i] as number) * frame.mmPerUnit;
    return pixelOf(lens, toColorCamera(details, { x: (table[2 * i] as number) * z, y: (table[2 * i + 1] as number) * z, z }));
  };
}

// Paints color at the depth image's pixels, and nothing where there is none.
export function paintColorForDepth(
  canvas: HTMLCanvasElement, frame: DepthFrame, color: ImageBitmap, details: CameraDetails,
): void {
  canvas.width = frame.width;
  canvas.height = frame.height;
  const colors = colorsOfDepth(frame, color, details);
  if (colors) {
    canvas.getContext("2d")?.putImageData(new ImageData(new Uint8ClampedArray(colors.buffer), frame.width, frame.height), 0, 0);
  }
}
