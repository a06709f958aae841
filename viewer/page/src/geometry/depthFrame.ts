// depthFrame.ts - one depth image with what is asked of it: the value at a pixel, the point there, its statistics.
import type { LensEntry } from "../protocol/wire";
import { directionOf, type Point } from "./lens";

export interface DepthFrame {
  number: number;
  ticks: bigint;
  arrivalUs: number;
  width: number;
  height: number;
  samples: Uint16Array<ArrayBuffer>; // 0 is "nothing was measured"
  mmPerUnit: number;
}

export interface Picked {
  u: number;
  v: number;
  depthMm: number; // of this pixel alone, 0 where nothing was measured
  point: Point;
}

export function depthAt(frame: DepthFrame, u: number, v: number): number {
  if (u < 0 || v < 0 || u >= frame.width || v >= frame.height) {
    return 0;
  }
  return (frame.samples[v * frame.width + u] as number) * frame.mmPerUnit;
}

// A lens is given for an image of its own size; another size of the same view is the lens scaled.
export function fitLens(lens: LensEntry, width: number, height: number): LensEntry {
  if (lens.width === width && lens.height === height) {
    return lens;
  }
  const x = width / lens.width;
  const y = height / lens.height;
  return {
    ...lens, width, height, fx: lens.fx * x, fy: lens.fy * y,
    cx: (lens.cx + 0.5) * x - 0.5, cy: (lens.cy + 0.5) * y - 0.5,
  };
}

export function pointAt(frame: DepthFrame, lens: LensEntry, u: number, v: number, z: number): Point {
  const [x, y] = directionOf(fitLens(lens, frame.width, frame.height), u, v);
  return { x: x * z, y: y * z, z };
}

const kPickRadius = 2;

// A picked point takes the median of its neighbours' depths: one noisy sample is worth less than 25, and a
// median stays on one side of an edge. Null where nothing was measured.
export function pick(frame: DepthFrame, lens: LensEntry, u: number, v: number): Picked | null {
  const near: number[] = [];
  for (let y = v - kPickRadius; y <= v + kPickRadius; ++y) {
    for (let x = u - kPickRadius; x <= u + kPickRadius; ++x) {
      const z = depthAt(frame, x, y);
      if (z > 0) {
        near.push(z);
      }
    }
  }
  if (near.length === 0) {
    return null;
  }
  near.sort((a, b) => a - b);
  const z = ((near[(near.length - 1) >> 1] as number) + (near[near.length >> 1] as number)) / 2;
  return { u, v, depthMm: depthAt(frame, u, v), point: pointAt(frame, lens, u, v, z) };
}

const kBins = 64;

export interface DepthSummary {
  validShare: number;
  nearMm: number; // between them lie all but a hundredth of the values at either end
  farMm: number;
  bins: number[]; // of equal width from nearMm to farMm
}

export function summarise(frame: DepthFrame): DepthSummary {
  const counts = new Uint32Array(65536);
  for (const sample of frame.samples) {
    counts[sample]!++;
  }
  const pixels = frame.samples.length;
  const valid = pixels - (counts[0] as number);
  if (valid === 0) {
    return { validShare: 0, nearMm: 0, farMm: 0, bins: new Array<number>(kBins).fill(0) };
  }
  const near = quantile(counts, 0.01 * valid);
  const far = Math.max(quantile(counts, 0.99 * valid), near + 1);
  const bins = new Array<number>(kBins).fill(0);
  for (let value = near; value <= far; ++value) {
    const bin = Math.min(kBins - 1, Math.floor(((value - near) * kBins) / (far - near)));
    bins[bin]! += counts[value] as number;
  }
  return { validShare: valid / pixels, nearMm: near * frame.mmPerUnit, farMm: far * frame.mmPerUnit, bins };
}

function quantile(counts: Uint32Array, rank: number): number {
  let seen = 0;
  for (let value = 1; value < counts.length; ++value) {
    seen += counts[value] as number;
    if (seen >= rank) {
      return value;
    }
  }
  return counts.length - 1;
}
