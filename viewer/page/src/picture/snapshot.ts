// snapshot.ts - files of the pictures that the page has: what is on the screen is what is saved, to the bit.
import { encode } from "fast-png";
import type { DepthFrame } from "../geometry/depthFrame";
import type { CameraDetails } from "../protocol/wire";
import { colorsOfDepth, directionsTable } from "./overlayPicture";

const kMetresPerMm = 0.001;
const kUnseen = 128; // gray, of a point that the color camera does not see

export function depthPng({ width, height, samples }: DepthFrame): Blob {
  return new Blob([encode({ width, height, data: samples, channels: 1, depth: 16 }).slice()], { type: "image/png" });
}

function headerOf(points: number, isColored: boolean): string {
  return [
    "ply", "format binary_little_endian 1.0", "comment unit: metre; camera frame: x to the right, y down, z along the view",
    `element vertex ${points}`, "property float x", "property float y", "property float z",
    ...(isColored ? ["property uchar red", "property uchar green", "property uchar blue"] : []), "end_header", "",
  ].join("\n");
}

// A point for each pixel that has depth, row by row; with colors where color is given and the way to it is known. Null
// without the depth camera's lens.
export function cloudPly(frame: DepthFrame, color: ImageBitmap | null, details: CameraDetails): Blob | null {
  const lens = details.streams.depth;
  if (!lens) {
    return null;
  }
  const directions = directionsTable(details, lens, frame);
  const colors = color && colorsOfDepth(frame, color, details);
  const pointBytes = colors ? 15 : 12;
  const points = frame.samples.reduce((count, sample) => count + (sample > 0 ? 1 : 0), 0);
  const body = new DataView(new ArrayBuffer(points * pointBytes));
  let at = 0;
  for (let i = 0; i < frame.samples.length; ++i) {
    const z = (frame.samples[i] as number) * frame.mmPerUnit * kMetresPerMm;
    if (z === 0) {
      continue;
    }
    body.setFloat32(at, (directions[2 * i] as number) * z, true);
    body.setFloat32(at + 4, (directions[2 * i + 1] as number) * z, true);
    body.setFloat32(at + 8, z, true);
    if (colors) {
      const seen = colors[i] as number; // red is the lowest byte; 0 where none was seen
      for (let part = 0; part < 3; ++part) {
        body.setUint8(at + 12 + part, seen === 0 ? kUnseen : (seen >>> (8 * part)) & 255);
      }
    }
    at += pointBytes;
  }
  return new Blob([headerOf(points, colors !== null), body], { type: "application/octet-stream" });
}
