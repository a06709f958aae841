// range.ts - which depths get the colors of a camera: the user's, or those that the picture has, smoothed so that the
// colors do not flicker when something moves through it.
import { summarise, type DepthFrame, type DepthSummary } from "../geometry/depthFrame";
import type { Camera } from "../store/camera";
import { settings } from "../store/settings";

const kFollow = 0.25; // share of the way to the new range with each frame
const kJump = 0.5; // a change by more than this share is a new scene, not a movement

interface Known {
  frame: DepthFrame | null;
  summary: DepthSummary | null;
  nearMm: number;
  farMm: number;
}

const known = new WeakMap<Camera, Known>();

function follow(from: number, to: number): number {
  return Math.abs(to - from) > kJump * Math.max(from, 1) ? to : from + kFollow * (to - from);
}

function knownOf(camera: Camera): Known {
  let entry = known.get(camera);
  if (!entry) {
    entry = { frame: null, summary: null, nearMm: 0, farMm: 1 };
    known.set(camera, entry);
  }
  const frame = camera.depth.value;
  if (frame && frame !== entry.frame) {
    entry.frame = frame;
    entry.summary = summarise(frame);
    if (entry.summary.validShare > 0) {
      entry.nearMm = follow(entry.nearMm, entry.summary.nearMm);
      entry.farMm = follow(entry.farMm, entry.summary.farMm);
    }
  }
  return entry;
}

export function summaryOf(camera: Camera): DepthSummary | null {
  return knownOf(camera).summary;
}

export function rangeOf(camera: Camera): [number, number] {
  const { isRangeAutomatic, nearMm, farMm } = settings.value;
  if (!isRangeAutomatic) {
    return [nearMm, farMm];
  }
  const entry = knownOf(camera);
  return [entry.nearMm, entry.farMm];
}
