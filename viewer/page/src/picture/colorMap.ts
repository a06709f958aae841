// colorMap.ts - colors for a share from 0 (near) to 1 (far). Turbo is the polynomial that its authors gave for it.
import type { ColorMapName } from "../store/settings";

const kSize = 1024;

const kTurbo: readonly (readonly number[])[] = [
  [0.13572138, 4.6153926, -42.66032258, 132.13108234, -152.94239396, 59.28637943],
  [0.09140261, 2.19418839, 4.84296658, -14.18503333, 4.27729857, 2.82956604],
  [0.1066733, 12.64194608, -60.58204836, 110.36276771, -89.90310912, 27.34824973],
];

function turbo(t: number): number[] {
  return kTurbo.map((factors) => factors.reduceRight((sum, factor) => sum * t + factor, 0));
}

function make(name: ColorMapName): Uint8ClampedArray {
  const table = new Uint8ClampedArray(3 * kSize);
  for (let i = 0; i < kSize; ++i) {
    const t = i / (kSize - 1);
    // Near is warm in turbo and bright in gray: what is near is what one looks at.
    const color = name === "turbo" ? turbo(1 - t) : [1 - 0.92 * t, 1 - 0.92 * t, 1 - 0.92 * t];
    table.set(color.map((part) => 255 * part), 3 * i);
  }
  return table;
}

const tables = new Map<ColorMapName, Uint8ClampedArray>();

export function colorTable(name: ColorMapName): Uint8ClampedArray {
  let table = tables.get(name);
  if (!table) {
    table = make(name);
    tables.set(name, table);
  }
  return table;
}

export function colorIndex(depthMm: number, nearMm: number, farMm: number): number {
  const share = (depthMm - nearMm) / Math.max(farMm - nearMm, 1e-6);
  return Math.round(Math.min(1, Math.max(0, share)) * (kSize - 1));
}

export const kColorTableSize = kSize;
