// app.ts - what the page is about: the server, its cameras, which of them are shown and which one is in focus.
import { api, ApiError } from "../protocol/api";
import { DepthDecoder } from "../protocol/depthDecoder";
import { Link } from "../protocol/link";
import type { ServerInfo, ServerMessage, StreamName } from "../protocol/wire";
import { Camera } from "./camera";
import { notify } from "./notices";
import { settings, shownStreams } from "./settings";
import { Signal } from "./signal";

export type Connection =
  | { kind: "connecting" }
  | { kind: "open" }
  | { kind: "closed"; isAnswering: boolean } // it answers requests, and has no place for this page
  | { kind: "refused"; sentence: string }; // the server wants a token, or another one

const kFrameRate = 30;
const kLookMs = 3000; // a server whose cameras nobody looks at looks for others when it is asked
const kHiddenMs = 10000; // so long a page in the background keeps its cameras open

class App {
  readonly server = new Signal<ServerInfo | null>(null);
  readonly connection = new Signal<Connection>({ kind: "connecting" });
  readonly cameras = new Signal<Camera[]>([]);
  readonly shown = new Signal<Camera[]>([]);
  readonly focused = new Signal<Camera | null>(null);
  readonly isMeasuring = new Signal(false);
  readonly #decoder = new DepthDecoder((sentence) => notify("error", sentence));
  #isListOld = false; // another is asked for, and has not come
  #hiding: number | undefined;
  #isAway = false; // in the background for some time
  readonly link = new Link({
    onOpen: () => void this.#onOpen(),
    onClosed: () => void this.#onClosed(),
    onMessage: (message) => this.#onMessage(message),
    onPicture: (camera, picture) => void this.find(camera)?.takePicture(picture),
  });

  start(): void {
    this.link.connect();
    settings.watch(() => this.#subscribe());
    window.setInterval(() => this.#lookForCameras(), kLookMs);
    document.addEventListener("visibilitychange", () => this.#onVisibility());
  }

  find(id: string): Camera | undefined {
    return this.cameras.value.find((camera) => camera.id === id);
  }

  show(cameras: Camera[]): void {
    for (const camera of this.shown.value) {
      if (!cameras.includes(camera)) {
        camera.look([], kFrameRate);
      }
    }
    for (const camera of cameras) {
      if (!this.shown.value.includes(camera)) {
        void camera.loadDetails();
      }
    }
    this.shown.set(cameras);
    if (!this.focused.value || !cameras.includes(this.focused.value)) {
      this.focused.set(cameras[0] ?? null);
    }
    this.#subscribe();
  }

  toggle(camera: Camera): void {
    const { value } = this.shown;
    const next = this.cameras.value.filter((other) => (other === camera) !== value.includes(other));
    this.show(next);
    if (next.includes(camera)) {
      this.focused.set(camera);
    }
  }

  #onVisibility(): void {
    window.clearTimeout(this.#hiding);
    if (document.hidden) {
      this.#hiding = window.setTimeout(() => {
        this.#isAway = true;
        this.#subscribe();
      }, kHiddenMs);
    } else if (this.#isAway) {
      this.#isAway = false;
      this.shown.value.forEach((camera) => void camera.loadDetails());
    }
    this.#subscribe();
  }

  // Nobody looks: nothing is sent. A page in the background does not look, and after a while lets its cameras go.
  #subscribe(): void {
    const shown = shownStreams();
    const streams: StreamName[] = this.#isAway ? [] : ["stats"];
    if (!document.hidden) {
      if (shown.depth) {
        streams.unshift("depth");
      }
      if (shown.color) {
        streams.push("color");
      }
    }
    for (const camera of this.shown.value) {
      camera.look(streams, kFrameRate);
    }
  }

  #lookForCameras(): void {
    const isMissing = this.#isListOld || this.cameras.value.length === 0;
    if (this.connection.value.kind === "open" && isMissing && !document.hidden) {
      void this.reload().catch(() => undefined);
    }
  }

  async #onOpen(): Promise<void> {
    this.connection.set({ kind: "open" });
    for (const camera of this.cameras.value) {
      camera.beginAnew();
    }
    try {
      this.server.set(await api.server());
      await this.reload();
    } catch {
      // The socket closes as well when the server is gone, and tells so.
    }
    for (const camera of this.shown.value) {
      void camera.loadDetails();
    }
  }

  // A closed socket does not say why; a request does. Its answer may come late, and then is of no closure that still holds.
  async #onClosed(): Promise<void> {
    const before = this.connection.value;
    const closure: Connection = before.kind === "refused" ? before : { kind: "closed", isAnswering: before.kind === "closed" && before.isAnswering };
    this.connection.set(closure);
    const reason = await api.server().then(() => null, (error: unknown) => error);
    if (this.connection.value === closure) {
      const isRefused = reason instanceof ApiError && (reason.httpStatus === 401 || reason.httpStatus === 403);
      this.connection.set(isRefused ? { kind: "refused", sentence: reason.message } : { kind: "closed", isAnswering: !reason && before.kind !== "open" });
    }
  }

  async reload(): Promise<void> {
    this.#isListOld = true; // a server that many pages ask at once refuses some
    const entries = await api.cameras();
    this.#isListOld = false;
    const cameras = entries.map((entry) => {
      const known = this.find(entry.id);
      known?.entry.set(entry);
      return known ?? new Camera(entry, this.link, this.#decoder);
    });
    // A camera that is shown stays on the page while it is away, and says so.
    for (const camera of this.shown.value) {
      if (!cameras.includes(camera)) {
        cameras.push(camera);
      }
    }
    this.cameras.set(cameras);
    this.link.resubscribe();
    if (this.shown.value.length === 0 && cameras.length > 0) {
      this.show([cameras.find((camera) => !camera.entry.value.problem) ?? (cameras[0] as Camera)]);
    }
  }

  #onMessage(message: ServerMessage): void {
    if (message.type === "cameras") {
      void this.reload().catch(() => undefined);
      return;
    }
    if (message.type === "error") {
      console.warn(message.error);
      return;
    }
    if (message.type === "alive") {
      return; // the link has heard it, and that is all
    }
    const camera = this.find(message.camera);
    if (!camera) {
      return;
    }
    switch (message.type) {
      case "state":
        camera.takeState(message.state, message.error);
        break;
      case "stats":
        camera.takeStatistics(message);
        break;
      case "playback":
        camera.playback.set(message);
        break;
      case "record":
        camera.takeRecording(message);
        break;
      case "geometry":
        void camera.loadDetails();
        break;
      case "subscribed":
        break;
    }
  }
}

export const app = new App();
