// depthPicture.ts - a depth image as colors, into the pixels of a canvas.
import type { DepthFrame } from "../geometry/depthFrame";
import type { ColorMapName } from "../store/settings";
import { colorIndex, colorTable } from "./colorMap";

const lookup = new Uint32Array(65536); // by sample; refilled when map, range or unit change
let lookupFor = "";

const isLittleEndian = new Uint8Array(new Uint32Array([1]).buffer)[0] === 1;

function fillLookup(map: ColorMapName, nearMm: number, farMm: number, mmPerUnit: number): void {
  const wanted = `${map} ${nearMm} ${farMm} ${mmPerUnit}`;
  if (wanted === lookupFor) {
    return;
  }
  lookupFor = wanted;
  const table = colorTable(map);
  lookup[0] = 0; // transparent: nothing was measured
  for (let sample = 1; sample < lookup.length; ++sample) {
    const at = 3 * colorIndex(sample * mmPerUnit, nearMm, farMm);
    const [r, g, b] = [table[at] as number, table[at + 1] as number, table[at + 2] as number];
    lookup[sample] = (isLittleEndian ? (255 << 24) | (b << 16) | (g << 8) | r : (r << 24) | (g << 16) | (b << 8) | 255) >>> 0;
  }
}

export function paintDepth(
  canvas: HTMLCanvasElement, frame: DepthFrame, map: ColorMapName, nearMm: number, farMm: number,
): void {
  if (canvas.width !== frame.width || canvas.height !== frame.height) {
    canvas.width = frame.width;
    canvas.height = frame.height;
  }
  const context = canvas.getContext("2d");
  if (!context) {
    return;
  }
  fillLookup(map, nearMm, farMm, frame.mmPerUnit);
  const image = context.createImageData(frame.width, frame.height);
  const pixels = new Uint32Array(image.data.buffer);
  const { samples } = frame;
  for (let i = 0; i < samples.length; ++i) {
    pixels[i] = lookup[samples[i] as number] as number;
  }
  context.putImageData(image, 0, 0);
}
