// colorToDepth.ts - from a pixel of color to the depth pixel that sees the same place, where the two are not aligned: where it
// lies depends on how far away it is. What a color pixel sees at growing distances is a line in the depth image; the first
// depth pixel along it whose point color sees there is the one, since what is nearer hides what is behind.
import type { CameraDetails } from "../protocol/wire";
import { depthAt, fitLens, pointAt, type DepthFrame } from "./depthFrame";
import { directionOf, pixelOf, toColorCamera, toDepthCamera } from "./lens";

const kNearestMm = 100; // what is nearer is not found
const kMaxSteps = 4096;

export function depthPixelOfColor(
  frame: DepthFrame, details: CameraDetails, color: { width: number; height: number }, u: number, v: number,
): [number, number] | null {
  const { streams: { depth, color: seen }, depthToColor } = details;
  if (!depth || !seen || !depthToColor) {
    return null;
  }
  const lens = fitLens(depth, frame.width, frame.height);
  const colorLens = fitLens(seen, color.width, color.height);
  const direction = directionOf(colorLens, u, v);
  const reach = Math.max(1, colorLens.fx / lens.fx); // a depth pixel, in pixels of color
  const pixels = (Math.max(lens.fx, lens.fy) * Math.hypot(...depthToColor.translation)) / kNearestMm;
  const steps = Math.min(kMaxSteps, Math.ceil(pixels) + 1);
  let best: { at: [number, number]; off: number } | null = null;
  for (let i = 0; i < steps; ++i) {
    const z = (kNearestMm * steps) / (steps - i); // evenly along the line
    const place = pixelOf(lens, toDepthCamera(depthToColor, { x: direction[0] * z, y: direction[1] * z, z }));
    const at: [number, number] | null = place && [Math.round(place[0]), Math.round(place[1])];
    const depthMm = at ? depthAt(frame, at[0], at[1]) : 0;
    const back = at && depthMm > 0 ? pixelOf(colorLens, toColorCamera(details, pointAt(frame, lens, at[0], at[1], depthMm))) : null;
    const off = back ? Math.hypot(back[0] - u, back[1] - v) : Infinity;
    if (at && off <= reach && off < (best?.off ?? Infinity)) {
      best = { at, off };
    } else if (best && off > reach) {
      break; // behind the surface that was found
    }
  }
  return best?.at ?? null;
}
