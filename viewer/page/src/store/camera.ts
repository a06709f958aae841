// camera.ts - one camera as the page knows it: its record, its newest pictures, its statistics, and what the user does
// with it. A picture is acknowledged when it is on the screen, so that a slow machine gets fewer instead of older ones.
// Pausing keeps the acknowledgement back: the server then sends nothing, and a step is one acknowledgement.
import { pick, type DepthFrame, type Picked } from "../geometry/depthFrame";
import { api, sentenceOf } from "../protocol/api";
import type { DepthDecoder } from "../protocol/depthDecoder";
import type { Link } from "../protocol/link";
import {
  kCodecJpeg, kDepth, type CameraDetails, type CameraEntry, type CameraState, type Failure, type PictureMessage,
  type Playback, type RecordAnswer, type Statistics, type StreamName,
} from "../protocol/wire";
import { notify } from "./notices";
import { Signal } from "./signal";

export interface ColorFrame {
  number: number;
  width: number;
  height: number;
  bitmap: ImageBitmap; // closed when the next one is there: who keeps a frame keeps its size and no more
}

export interface Recorder {
  isRecording: boolean;
  since: number;
  file: string;
}

type PictureStream = Exclude<StreamName, "stats">;

const kHistorySeconds = 60;
const kDetailsRetryMs = 1500;
const kPairMs = 100; // so long depth waits for color of its frame, or color for depth

export class Camera {
  readonly entry: Signal<CameraEntry>;
  readonly details = new Signal<CameraDetails | null>(null);
  readonly state = new Signal<{ state: CameraState; error: Failure | null }>({ state: "opening", error: null });
  readonly depth = new Signal<DepthFrame | null>(null);
  readonly color = new Signal<ColorFrame | null>(null);
  readonly history = new Signal<Statistics[]>([]);
  readonly playback = new Signal<Playback | null>(null);
  readonly recorder = new Signal<Recorder>({ isRecording: false, since: 0, file: "" });
  readonly isPaused = new Signal(false);
  readonly hovered = new Signal<Picked | null>(null);
  readonly measured = new Signal<Picked[]>([]); // none, one or two
  readonly #kept = new Map<PictureStream, number>(); // pictures shown and, paused, not acknowledged yet
  #retry: number | undefined;
  #waiting: { depth?: DepthFrame; color?: ColorFrame } = {}; // arrived, and not shown yet
  #wantsBoth = false;
  #pointer: [number, number] | null = null; // the depth pixel under it
  #pairTimer: number | undefined;

  constructor(entry: CameraEntry, readonly link: Link, readonly decoder: DepthDecoder) {
    this.entry = new Signal(entry);
  }

  get id(): string {
    return this.entry.value.id;
  }

  // Asks until there is an answer: a camera that is away tells nothing of its lenses.
  async loadDetails(): Promise<void> {
    window.clearTimeout(this.#retry);
    try {
      this.details.set(await api.camera(this.id));
    } catch {
      this.#retry = window.setTimeout(() => void this.loadDetails(), kDetailsRetryMs);
    }
  }

  look(streams: StreamName[], fps: number): void {
    this.link.subscribe(this.id, streams, fps);
    this.#wantsBoth = streams.includes("depth") && streams.includes("color");
    if (streams.length === 0) {
      window.clearTimeout(this.#retry);
      this.#kept.clear();
    }
  }

  takeState(state: CameraState, error: Failure | null): void {
    const isBack = state === "streaming" && this.state.value.state !== "streaming";
    this.state.set({ state, error });
    if (isBack) {
      void this.loadDetails();
    }
  }

  takeStatistics(statistics: Statistics): void {
    this.history.set([...this.history.value, statistics].slice(-kHistorySeconds));
  }

  async takePicture(picture: PictureMessage): Promise<void> {
    if (picture.kind === kDepth) {
      const samples = await this.decoder.decode(picture);
      if (samples) {
        const { number, ticks, arrivalUs, width, height } = picture;
        const mmPerUnit = this.details.value?.millimetresPerUnit ?? 1;
        this.#waiting.depth = { number, ticks, arrivalUs, width, height, samples, mmPerUnit };
      } else {
        this.#shown("depth", picture.number); // it is none: the one before it stays
      }
    } else {
      await this.#takeColor(picture);
    }
    this.#showWaiting();
  }

  async #takeColor(picture: PictureMessage): Promise<void> {
    try {
      if (picture.codec !== kCodecJpeg) {
        throw new Error("no JPEG");
      }
      const bitmap = await createImageBitmap(new Blob([picture.payload], { type: "image/jpeg" }));
      this.#waiting.color?.bitmap.close();
      this.#waiting.color = { number: picture.number, width: bitmap.width, height: bitmap.height, bitmap };
    } catch {
      this.#shown("color", picture.number);
    }
  }

  // Depth and color are shown together, so that a cloud has the colors of its own frame. They are acknowledged together,
  // too, by which the server takes the next of either from one frame.
  #showWaiting(isLate = false): void {
    const { depth, color } = this.#waiting;
    const streams = this.details.value?.streams;
    if (!isLate && this.#wantsBoth && streams?.depth && streams.color && !(depth && color)) {
      this.#pairTimer ??= window.setTimeout(() => this.#showWaiting(true), kPairMs);
      return;
    }
    window.clearTimeout(this.#pairTimer);
    this.#pairTimer = undefined;
    this.#waiting = {};
    if (depth) {
      this.depth.set(depth);
      this.#remeasure();
      this.#shown("depth", depth.number);
    }
    if (color) {
      const old = this.color.value;
      this.color.set(color);
      old?.bitmap.close();
      this.#shown("color", color.number);
    }
  }

  // The point under the pointer belongs to the picture that is shown.
  #remeasure(): void {
    if (this.#pointer) {
      this.hover(...this.#pointer);
    }
  }

  #shown(stream: PictureStream, number: number): void {
    if (this.isPaused.value) {
      this.#kept.set(stream, number);
    } else {
      requestAnimationFrame(() => requestAnimationFrame(() => this.link.acknowledge(this.id, stream, number)));
    }
  }

  #release(): void {
    const kept = [...this.#kept];
    this.#kept.clear();
    for (const [stream, number] of kept) {
      this.link.acknowledge(this.id, stream, number);
    }
  }

  forgetUnacknowledged(): void {
    this.#kept.clear();
  }

  setPaused(isPaused: boolean): void {
    if (this.entry.value.kind === "recording") {
      void this.play({ playing: !isPaused });
      return;
    }
    this.isPaused.set(isPaused);
    if (!isPaused) {
      this.#release();
    }
  }

  get isStill(): boolean {
    return this.entry.value.kind === "recording" ? this.playback.value?.playing === false : this.isPaused.value;
  }

  step(direction: 1 | -1): void {
    if (this.entry.value.kind === "recording") {
      void this.play({ playing: false, step: direction });
    } else if (direction > 0) {
      this.isPaused.set(true);
      this.#release();
    }
  }

  async play(change: Parameters<typeof api.playback>[1]): Promise<void> {
    try {
      this.playback.set(await api.playback(this.id, change));
    } catch (error) {
      notify("error", `Playing ${this.id}: ${sentenceOf(error)}`);
    }
  }

  takeRecording({ recording, file }: RecordAnswer): void {
    const { isRecording, since } = this.recorder.value;
    this.recorder.set({ isRecording: recording, since: isRecording ? since : Date.now(), file });
  }

  async toggleRecording(): Promise<void> {
    const isRecording = this.recorder.value.isRecording;
    try {
      const answer = await api.record(this.id, isRecording ? "stop" : "start");
      this.takeRecording(answer);
      if (!answer.recording) {
        const dropped = answer.dropped > 0 ? `, ${answer.dropped} dropped` : "";
        notify(answer.dropped > 0 ? "warning" : "info", `Recorded ${answer.frames} frames to ${answer.file}${dropped}.`);
      }
    } catch (error) {
      notify("error", `Recording ${this.id}: ${sentenceOf(error)}`);
    }
  }

  pickAt(u: number, v: number): Picked | null {
    const frame = this.depth.value;
    const lens = this.details.value?.streams.depth;
    return frame && lens ? pick(frame, lens, u, v) : null;
  }

  // The pointer stays where it is also while nothing is measured there.
  hover(u: number, v: number): void {
    this.#pointer = [u, v];
    this.hovered.set(this.pickAt(u, v));
  }

  leave(): void {
    this.#pointer = null;
    this.hovered.set(null);
  }

  measure(picked: Picked): void {
    const { value } = this.measured;
    this.measured.set(value.length === 1 ? [...value, picked] : [picked]);
  }
}
