// shortcuts.ts - keys, each with its sentence: the help panel lists what this table has.
import { app } from "../store/app";
import { settings, toggleView, kViews } from "../store/settings";
import { saveSnapshot } from "./cameraTools";
import { setAutomatic } from "./display";
import { nextTheme } from "./header";
import type { Camera } from "../store/camera";

export interface Surroundings {
  help(): void;
  searchFeatures(): void;
  lookFromCamera(camera: Camera): void;
}

export interface Shortcut {
  keys: readonly string[];
  shown: string;
  what: string;
  isRepeated?: boolean; // as long as the key is held
  run: (around: Surroundings) => void;
}

function withCamera(action: (camera: Camera) => void): () => void {
  return () => {
    if (app.focused.value) {
      action(app.focused.value);
    }
  };
}

const focusNext = (): void => {
  const { value } = app.shown;
  const at = app.focused.value ? value.indexOf(app.focused.value) : -1;
  app.focused.set(value[(at + 1) % Math.max(value.length, 1)] ?? null);
};

export const kShortcuts: readonly Shortcut[] = [
  ...kViews.map((view, i) => ({ keys: [String(i + 1)], shown: String(i + 1), what: `Show or hide ${view === "cloud" ? "the point cloud" : view}`, run: () => toggleView(view) })),
  { keys: [" "], shown: "Space", what: "Pause, go on", run: withCamera((camera) => camera.setPaused(!camera.isStill)) },
  { keys: ["."], shown: ".", what: "Next frame", isRepeated: true, run: withCamera((camera) => camera.step(1)) },
  { keys: [","], shown: ",", what: "Frame before, of a recording", isRepeated: true, run: withCamera((camera) => camera.step(-1)) },
  { keys: ["r"], shown: "R", what: "Record, stop recording", run: withCamera((camera) => {
    if (camera.entry.value.kind === "camera" && !app.server.value?.readOnly) {
      void camera.toggleRecording();
    }
  }) },
  { keys: ["p"], shown: "P", what: "Save depth as PNG", run: withCamera((camera) => void saveSnapshot(camera, "depth.png")) },
  { keys: ["l"], shown: "L", what: "Save the point cloud as PLY", run: withCamera((camera) => void saveSnapshot(camera, "cloud.ply")) },
  { keys: ["m"], shown: "M", what: "Measure: then pick two points in depth or cloud", run: () => app.isMeasuring.set(!app.isMeasuring.value) },
  { keys: ["g"], shown: "G", what: "Automatic range of depth, or a fixed one", run: () => setAutomatic(!settings.value.isRangeAutomatic) },
  { keys: ["c"], shown: "C", what: "Color map: turbo, gray", run: () => settings.update({ colorMap: settings.value.colorMap === "turbo" ? "gray" : "turbo" }) },
  { keys: ["0"], shown: "0", what: "Look at the cloud from the camera", run: (around) => withCamera((camera) => around.lookFromCamera(camera))() },
  { keys: ["n"], shown: "N", what: "Next camera", run: focusNext },
  { keys: ["/"], shown: "/", what: "Search features", run: (around) => around.searchFeatures() },
  { keys: ["s"], shown: "S", what: "Show or hide what is beside the views", run: () => settings.update({ isSidebarOpen: !settings.value.isSidebarOpen }) },
  { keys: ["t"], shown: "T", what: "Light, dark, as the system", run: nextTheme },
  { keys: ["?", "h"], shown: "?", what: "This help", run: (around) => around.help() },
  { keys: ["escape"], shown: "Esc", what: "Clear the measurement", run: () => {
    app.isMeasuring.set(false);
    app.focused.value?.measured.set([]);
  } },
];

// Keys that belong to the control which has the focus are left to it.
function belongsToControl(event: KeyboardEvent): boolean {
  const target = event.target as HTMLElement;
  if (target.closest("dialog")) {
    return true;
  }
  if (target instanceof HTMLInputElement) {
    return target.type !== "range" && target.type !== "checkbox";
  }
  return target instanceof HTMLSelectElement || (event.key === " " && target.closest("button, summary") !== null);
}

export function listenToShortcuts(around: Surroundings): void {
  document.addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey || belongsToControl(event)) {
      return;
    }
    const key = event.key.toLowerCase();
    const shortcut = kShortcuts.find(({ keys }) => keys.includes(key));
    if (shortcut) {
      event.preventDefault();
      if (!event.repeat || shortcut.isRepeated) {
        shortcut.run(around);
      }
    }
  });
}
