// lens.ts - from pixels to directions and back. Pixel centres are at whole numbers; distortion is Brown's with k1, k2,
// p1, p2, k3, as the server gives it.
import type { CameraDetails, LensEntry } from "../protocol/wire";

export interface Point {
  x: number;
  y: number;
  z: number;
}

const kSteps = 20; // of the iteration; lenses of cameras are still after far fewer

function distort(k: readonly number[], x: number, y: number): [number, number] {
  const [k1 = 0, k2 = 0, p1 = 0, p2 = 0, k3 = 0] = k;
  const r2 = x * x + y * y;
  const radial = 1 + r2 * (k1 + r2 * (k2 + r2 * k3));
  return [
    x * radial + 2 * p1 * x * y + p2 * (r2 + 2 * x * x),
    y * radial + p1 * (r2 + 2 * y * y) + 2 * p2 * x * y,
  ];
}

// The direction that a pixel sees, at z = 1.
export function directionOf(lens: LensEntry, u: number, v: number): [number, number] {
  const seenX = (u - lens.cx) / lens.fx;
  const seenY = (v - lens.cy) / lens.fy;
  if (!lens.distortion.some((k) => k !== 0)) {
    return [seenX, seenY];
  }
  let x = seenX;
  let y = seenY;
  for (let i = 0; i < kSteps; ++i) {
    const [atX, atY] = distort(lens.distortion, x, y);
    x += seenX - atX;
    y += seenY - atY;
  }
  return [x, y];
}

// Where the lens sees a point, in pixels; null for what is not in front of it.
export function pixelOf(lens: LensEntry, point: Point): [number, number] | null {
  if (point.z <= 0) {
    return null;
  }
  const [x, y] = distort(lens.distortion, point.x / point.z, point.y / point.z);
  return [x * lens.fx + lens.cx, y * lens.fy + lens.cy];
}

// The direction of every pixel, x and y in turn: computed once for a lens, used for every frame.
export function directionsOf(lens: LensEntry): Float32Array {
  const table = new Float32Array(2 * lens.width * lens.height);
  let at = 0;
  for (let v = 0; v < lens.height; ++v) {
    for (let u = 0; u < lens.width; ++u) {
      const [x, y] = directionOf(lens, u, v);
      table[at++] = x;
      table[at++] = y;
    }
  }
  return table;
}

export function toColorCamera(details: CameraDetails, point: Point): Point {
  const way = details.depthToColor;
  if (!way || details.depthAligned) {
    return point;
  }
  const r = way.rotation as [number, number, number, number, number, number, number, number, number];
  const t = way.translation as [number, number, number];
  return {
    x: r[0] * point.x + r[1] * point.y + r[2] * point.z + t[0],
    y: r[3] * point.x + r[4] * point.y + r[5] * point.z + t[1],
    z: r[6] * point.x + r[7] * point.y + r[8] * point.z + t[2],
  };
}

// The way back, of a camera whose images are not aligned.
export function toDepthCamera(way: { rotation: number[]; translation: number[] }, point: Point): Point {
  const r = way.rotation as [number, number, number, number, number, number, number, number, number];
  const t = way.translation as [number, number, number];
  const [x, y, z] = [point.x - t[0], point.y - t[1], point.z - t[2]];
  return { x: r[0] * x + r[3] * y + r[6] * z, y: r[1] * x + r[4] * y + r[7] * z, z: r[2] * x + r[5] * y + r[8] * z };
}

export function distance(a: Point, b: Point): number {
  return Math.hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}
