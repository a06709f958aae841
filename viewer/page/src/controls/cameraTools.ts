// cameraTools.ts - pause, step, record and snapshots of one camera.
import { api, sentenceOf } from "../protocol/api";
import { app } from "../store/app";
import type { Camera } from "../store/camera";
import { notify } from "../store/notices";
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

export async function saveSnapshot(camera: Camera, file: SnapshotFile): Promise<void> {
  try {
    const [name, type] = file.split(".");
    saveBlob(await api.snapshot(camera.id, file), `${camera.id}-${stamp()}-${name}.${type}`);
    const isOther = camera.isPaused.value;
    notify(isOther ? "warning" : "info", `Saved ${file} of ${camera.id}${isOther ? ", of a newer frame than the paused one" : ""}.`);
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
