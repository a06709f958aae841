// settings.ts - how this browser likes to see things; kept from one visit to the next.
import { Signal } from "./signal";

export type ColorMapName = "turbo" | "gray";
export type ViewName = "depth" | "color" | "overlay" | "cloud";
export const kViews: readonly ViewName[] = ["depth", "color", "overlay", "cloud"];

export interface Settings {
  colorMap: ColorMapName;
  isRangeAutomatic: boolean;
  nearMm: number;
  farMm: number;
  overlayOpacity: number; // 0 to 1
  pointSize: number; // CSS pixels
  cloudColor: "color" | "depth";
  theme: "system" | "light" | "dark";
  views: ViewName[];
  isSidebarOpen: boolean;
  tab: "view" | "features" | "statistics";
}

const kKey = "ox3d.settings";
const kDefaults: Settings = {
  colorMap: "turbo", isRangeAutomatic: true, nearMm: 300, farMm: 4000, overlayOpacity: 0.55, pointSize: 2,
  cloudColor: "color", theme: "system", views: ["depth", "color", "cloud"], isSidebarOpen: true, tab: "view",
};

function load(): Settings {
  try {
    const kept = JSON.parse(localStorage.getItem(kKey) ?? "{}") as Partial<Settings>;
    const settings = { ...kDefaults, ...kept };
    settings.views = kViews.filter((view) => settings.views.includes(view));
    return settings.views.length > 0 ? settings : { ...settings, views: kDefaults.views };
  } catch {
    return kDefaults;
  }
}

export const settings = new Signal<Settings>(load());

settings.watch((value) => {
  try {
    localStorage.setItem(kKey, JSON.stringify(value));
  } catch {
    // A browser that keeps nothing is no reason to show nothing.
  }
});

// What the views are made of.
export function shownStreams(): { depth: boolean; color: boolean } {
  const { views } = settings.value;
  return { depth: views.some((view) => view !== "color"), color: views.some((view) => view !== "depth") };
}

export function toggleView(view: ViewName): void {
  const { views } = settings.value;
  const next = kViews.filter((name) => (name === view) !== views.includes(name));
  if (next.length > 0) {
    settings.update({ views: next });
  }
}
