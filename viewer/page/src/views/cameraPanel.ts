// cameraPanel.ts - one camera on the page: its name and state, its views, its buttons, what lies under the pointer.
import { el } from "../controls/dom";
import { CameraTools } from "../controls/cameraTools";
import { Timeline } from "../controls/timeline";
import { app } from "../store/app";
import type { Camera } from "../store/camera";
import { settings, type ViewName } from "../store/settings";
import { CloudView } from "./cloudView";
import { PictureView } from "./pictureView";
import { Readout } from "./readout";
import { frameOf, type View } from "./view";

const kWaiting = "Waiting for it to come back.";

function stateText(camera: Camera): string {
  const { state, error } = camera.state.value;
  const problem = error?.error ?? camera.entry.value.problem?.error ?? "";
  switch (state) {
    case "streaming":
      return camera.depth.value || camera.color.value ? "" : "Waiting for the first picture …";
    case "opening":
      return problem ? `${camera.id} is being opened. ${problem}` : `Opening ${camera.id} …`;
    case "lost":
      return `${camera.id} is away. ${problem} ${kWaiting}`;
    case "failed":
      return `${camera.id} cannot be shown. ${problem} It is tried again by itself.`;
    case "closed":
      return `${camera.id} is closed. ${problem}`;
  }
}

const kStateNames = {
  streaming: "streaming", lost: "lost", opening: "opening", failed: "failed", closed: "closed",
} as const;

// A browser without WebGL 2 shows pictures all the same.
function cloudOrReason(camera: Camera): View {
  try {
    return new CloudView(camera);
  } catch {
    const element = frameOf("cloud", `Point cloud of ${camera.id}`, el("p", { class: "empty" }, "This browser has no WebGL 2."));
    return { name: "cloud", element, draw: () => undefined, canvas: () => document.createElement("canvas"), dispose: () => element.remove() };
  }
}

export class CameraPanel {
  readonly element: HTMLElement;
  readonly #views = new Map<ViewName, View>();
  readonly #stage = el("div", { class: "views" });
  readonly #cover = el("div", { class: "cover", role: "status" });
  readonly #state = el("span", { class: "state" });
  readonly #rate = el("span", { class: "rate" });
  readonly #ends: (() => void)[] = [];
  #isDue = false;

  constructor(readonly camera: Camera) {
    const { model, kind } = camera.entry.value;
    const tools = new CameraTools(camera, () => this.shownCanvas());
    const timeline = kind === "recording" ? new Timeline(camera) : null;
    const readout = new Readout(camera);
    this.element = el("article", { class: "camera", "data-camera": camera.id, "aria-label": `Camera ${camera.id}` },
      el("header", { class: "camera-bar" },
        el("h2", {}, camera.id), el("span", { class: "model" }, model), this.#state, this.#rate, tools.element),
      el("div", { class: "body" }, this.#stage, this.#cover), timeline?.element, readout.element);
    this.element.addEventListener("pointerdown", () => app.focused.set(camera));
    this.element.addEventListener("focusin", () => app.focused.set(camera));
    this.#ends.push(
      ...tools.ends, ...(timeline?.ends ?? []), ...readout.ends,
      settings.watch(() => this.#arrange()),
      app.focused.watch((focused) => this.element.classList.toggle("focused", focused === camera)),
      app.isMeasuring.watch((isMeasuring) => this.element.classList.toggle("measuring", isMeasuring)),
      camera.state.watch(() => this.#showState()),
      camera.entry.watch(() => this.#showState()),
      camera.history.watch((history) => {
        const last = history[history.length - 1];
        this.#rate.textContent = last ? `${last.fps.toFixed(1)} fps` : "";
      }),
      ...[camera.depth, camera.color, camera.details, camera.hovered, camera.measured].map((signal) =>
        (signal as typeof camera.depth).watch(() => this.#drawSoon())),
    );
    const watchSize = new ResizeObserver(() => this.#drawSoon());
    watchSize.observe(this.#stage);
    this.#ends.push(() => watchSize.disconnect());
  }

  get cloud(): CloudView | null {
    const view = this.#views.get("cloud");
    return view instanceof CloudView ? view : null;
  }

  // The first view's picture as it is seen: what "save picture" saves.
  shownCanvas(): HTMLCanvasElement | null {
    const first = settings.value.views[0];
    return (first && this.#views.get(first)?.canvas()) ?? null;
  }

  dispose(): void {
    for (const end of this.#ends) {
      end();
    }
    for (const view of this.#views.values()) {
      view.dispose();
    }
    this.element.remove();
  }

  #arrange(): void {
    const { views } = settings.value;
    for (const [name, view] of this.#views) {
      if (!views.includes(name)) {
        view.dispose();
        this.#views.delete(name);
      }
    }
    for (const name of views) {
      if (!this.#views.has(name)) {
        this.#views.set(name, name === "cloud" ? cloudOrReason(this.camera) : new PictureView(this.camera, name));
      }
    }
    const elements = views.map((name) => this.#views.get(name)?.element as HTMLElement);
    if (elements.some((element, i) => this.#stage.children[i] !== element)) {
      this.#stage.replaceChildren(...elements);
    }
    this.#stage.dataset["count"] = String(views.length);
    this.#drawSoon();
  }

  #showState(): void {
    const { state } = this.camera.state.value;
    const text = stateText(this.camera);
    this.#state.textContent = kStateNames[state];
    this.#state.dataset["state"] = state;
    this.#cover.textContent = text;
    this.#cover.hidden = text === "";
    this.element.classList.toggle("away", state !== "streaming");
  }

  #drawSoon(): void {
    if (this.#isDue) {
      return;
    }
    this.#isDue = true;
    requestAnimationFrame(() => {
      this.#isDue = false;
      if (!this.#cover.hidden) {
        this.#showState();
      }
      for (const view of this.#views.values()) {
        view.draw();
      }
    });
  }
}
