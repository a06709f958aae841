// cameraTools.ts - pause, step, record and snapshots of one camera.
import { api, sentenceOf } from "../protocol/api";
import { cloudPly, depthPng } from "../picture/snapshot";
import { app } from "../store/app";
import type { Camera } from "../store/camera";
import { notify } from "../store/notices";
import { shownStreams } from "../store/settings";
import { el, icon, iconButton, saveBlob, setIcon } from "./dom";

const kFiles = [
  { file: "depth.png", label: "Depth, PNG of 16 bit" },
  { file: "color.jpg", label: "Color, JPEG" },
  { file: "cloud.ply", label: "Point cloud, PLY" },
] as const;

export type SnapshotFile = (typeof kFiles)[number]["file"];

function stamp(): string {
  return new Date().toISOString().slice(0, 19).replace(/[-:]/g, "").replace("T", "-");
}

// Of the pictures that are shown; null for what none of the views shows.
function shownFile(camera: Camera, file: SnapshotFile): Blob | null {
  const shown = shownStreams();
  const depth = shown.depth ? camera.depth.value : null;
  const color = shown.color ? camera.color.value : null;
  const details = camera.details.value;
  switch (file) {
    case "depth.png":
      return depth && depthPng(depth);
    case "color.jpg":
      return color?.jpeg ?? null;
    case "cloud.ply":
      return depth && details && cloudPly(depth, color?.bitmap ?? null, details);
  }
}

// What is not shown is asked of the server, which takes the next frame for it.
export async function saveSnapshot(camera: Camera, file: SnapshotFile): Promise<void> {
  try {
    const [name, type] = file.split(".");
    const shown = shownFile(camera, file);
    saveBlob(shown ?? await api.snapshot(camera.id, file), `${camera.id}-${stamp()}-${name}.${type}`);
    const isOther = !shown && camera.isPaused.value;
    const isGray = shown && file === "cloud.ply" && camera.details.value?.streams.color && !shownStreams().color;
    notify(isOther ? "warning" : "info", `Saved ${file} of ${camera.id}${isOther ? ", of a newer frame than the paused one" : ""}${
      isGray ? ", without color, which no view shows" : ""}.`);
  } catch (error) {
    notify("error", `Saving ${file} of ${camera.id}: ${sentenceOf(error)}`);
  }
}

export class CameraTools {
  readonly element: HTMLElement;
  readonly ends: (() => void)[];

  constructor(readonly camera: Camera, shownCanvas: () => HTMLCanvasElement | null) {
    const pause = iconButton("pause", "Pause", "Space", () => camera.setPaused(!camera.isStill));
    const step = iconButton("step", "Next frame", ".", () => camera.step(1));
    const time = el("span", { class: "record-time" });
    const record = el("button", { type: "button", class: "icon-button record", onclick: () => void camera.toggleRecording() }, icon("record"), time);
    const menu = this.#saveMenu(shownCanvas);
    this.element = el("div", { class: "tools", role: "toolbar", "aria-label": `Tools of ${camera.id}` }, pause, step, record, menu);
    const isLive = camera.entry.value.kind === "camera";
    step.hidden = !isLive; // a recording has its own beside the timeline
    const showStill = (): void => {
      setIcon(pause, camera.isStill ? "play" : "pause", camera.isStill ? "Go on" : "Pause", "Space");
      pause.setAttribute("aria-pressed", String(camera.isStill));
    };
    const showRecord = (): void => {
      const { isRecording, since, file } = camera.recorder.value;
      const label = isRecording ? `Stop recording to ${file} (R)` : "Record (R)";
      record.setAttribute("aria-label", label);
      record.title = label;
      record.setAttribute("aria-pressed", String(isRecording));
      const seconds = Math.floor((Date.now() - since) / 1000);
      time.textContent = isRecording ? `${Math.floor(seconds / 60)}:${String(seconds % 60).padStart(2, "0")}` : "";
    };
    const clock = window.setInterval(showRecord, 1000);
    this.ends = [
      camera.isPaused.watch(showStill), camera.playback.watch(showStill), camera.recorder.watch(showRecord),
      app.server.watch((server) => {
        record.hidden = !isLive || server?.readOnly === true;
      }),
      () => window.clearInterval(clock),
    ];
  }

  #saveMenu(shownCanvas: () => HTMLCanvasElement | null): HTMLElement {
    const menu = el("details", { class: "menu" });
    const close = (): void => menu.removeAttribute("open");
    const picture = el("button", { type: "button", onclick: () => {
      close();
      shownCanvas()?.toBlob((blob) => blob && saveBlob(blob, `${this.camera.id}-${stamp()}-view.png`));
    } }, "First view as it is shown, PNG");
    menu.append(
      el("summary", { class: "icon-button", "aria-label": "Save a snapshot", title: "Save a snapshot (P: depth, L: cloud)" }, icon("save")),
      el("div", { class: "menu-items" },
        ...kFiles.map(({ file, label }) => el("button", { type: "button", "data-file": file, onclick: () => {
          close();
          void saveSnapshot(this.camera, file);
        } }, label)), picture));
    menu.addEventListener("focusout", (event) => {
      if (!menu.contains(event.relatedTarget as Node | null)) {
        close();
      }
    });
    menu.addEventListener("keydown", (event) => {
      if (event.key === "Escape") {
        close();
        menu.querySelector("summary")?.focus();
      }
    });
    return menu;
  }
}
