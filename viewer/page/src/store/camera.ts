// camera.ts - one camera as the page knows it: its record, its newest pictures, its statistics, and what the user does
// with it. A picture is acknowledged when it is on the screen, so that a slow machine gets fewer instead of older ones.
// Pausing keeps the acknowledgement back: the server then sends nothing, and a step is one acknowledgement. What comes all the
// same, as after a look at another tab, is not shown.
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
  arrivalUs: number;
  width: number;
  height: number;
  jpeg: Blob; // as it came
  bitmap: ImageBitmap; // closed when the next one is there: who keeps a frame keeps its size and no more
}

export interface Recorder {
  isRecording: boolean;
  since: number;
  file: string;
}

type PlaybackChange = Parameters<typeof api.playback>[1];
type PictureStream = Exclude<StreamName, "stats">;

const kHistorySeconds = 60;
const kDetailsRetryMs = 1500;
const kPairMs = 500; // so long depth waits for color of its frame, or color for depth
const kMaxAlone = 3; // frames in a row that came with one of the two: what is missing is not waited for, until it comes
const kMaxOvertaken = 3;

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
  #alone = 0;
  #single: PictureStream | null = null; // what was shown last, where it was one of the two
  #overtaken = 0;
  #isStepping = false; // one more is to be shown while paused
  #isAsked = false; // the user has asked to record or to stop, and waits for the answer
  #wasRecording = false; // before the connection was lost
  #changes: PlaybackChange[] = []; // asked for and not sent yet
  #isPlaying = false;
  #areDetailsAsked = false;
  #isLookedAt = false;
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
    if (this.#areDetailsAsked) {
      this.#retry = window.setTimeout(() => void this.loadDetails(), kDetailsRetryMs);
      return;
    }
    this.#areDetailsAsked = true;
    try {
      this.details.set(await api.camera(this.id));
    } catch {
      if (this.#isLookedAt) { // each request opens the camera
        this.#retry = window.setTimeout(() => void this.loadDetails(), kDetailsRetryMs);
      }
    }
    this.#areDetailsAsked = false;
  }

  look(streams: StreamName[], fps: number): void {
    this.link.subscribe(this.id, streams, fps);
    this.#isLookedAt = streams.length > 0;
    this.#wantsBoth = streams.includes("depth") && streams.includes("color");
    if (streams.length === 0) {
      window.clearTimeout(this.#retry);
      this.#forgetPictures();
    }
  }

  #forgetPictures(): void {
    this.#endPairing();
    this.#waiting.color?.bitmap.close();
    this.#waiting = {};
    this.#kept.clear();
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
    const { number, ticks, arrivalUs, width, height } = picture;
    if (picture.kind === kDepth) {
      const samples = await this.decoder.decode(picture);
      if (samples) {
        const mmPerUnit = this.details.value?.millimetresPerUnit ?? 1;
        this.#waiting.depth = { number, ticks, arrivalUs, width, height, samples, mmPerUnit };
      } else {
        this.#shown("depth", number); // it is none: the one before it stays
      }
    } else {
      await this.#takeColor(picture);
    }
    this.#showWaiting();
  }

  async #takeColor(picture: PictureMessage): Promise<void> {
    const { number, arrivalUs } = picture;
    try {
      if (picture.codec !== kCodecJpeg) {
        throw new Error("no JPEG");
      }
      const jpeg = new Blob([picture.payload], { type: "image/jpeg" });
      const bitmap = await createImageBitmap(jpeg);
      this.#waiting.color?.bitmap.close();
      this.#waiting.color = { number, arrivalUs, width: bitmap.width, height: bitmap.height, jpeg, bitmap };
    } catch {
      this.#shown("color", number);
    }
  }

  // Depth and color of one frame are shown together, so that a cloud has the colors of its own. They are acknowledged
  // together, too, by which the server takes the next of either from one frame. What is paused stays as it is.
  #showWaiting(isLate = false): void {
    if (this.isPaused.value && !this.#isStepping) {
      this.#drop("depth", "color");
      return;
    }
    this.#dropOvertaken();
    const { depth, color } = this.#waiting;
    if (!depth && !color) {
      return;
    }
    if (!isLate && this.#waitsForOther()) {
      this.#pairTimer ??= window.setTimeout(() => this.#showWaiting(true), kPairMs);
      return;
    }
    this.#endPairing();
    const isPair = depth && color;
    const single = isPair ? null : depth ? "depth" : "color";
    this.#alone = single && single === this.#single ? this.#alone + 1 : 0;
    this.#single = single;
    this.#overtaken = isPair ? 0 : this.#overtaken;
    this.#waiting = {};
    this.#isStepping = false;
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

  // Of two frames the older one waits in vain. A link on which one always overtakes the other shows them all the same.
  #dropOvertaken(): void {
    const { depth, color } = this.#waiting;
    if (depth && color && depth.number !== color.number && this.#overtaken < kMaxOvertaken) {
      ++this.#overtaken;
      this.#endPairing();
      this.#drop(depth.arrivalUs < color.arrivalUs ? "depth" : "color");
    }
  }

  // A picture whose other half is on the screen, or does not come with any frame, waits for nothing.
  #waitsForOther(): boolean {
    const { depth, color } = this.#waiting;
    const streams = this.details.value?.streams;
    if (!this.#wantsBoth || !streams?.depth || !streams.color || (depth && color) || this.#alone >= kMaxAlone) {
      return false;
    }
    return depth ? depth.number !== this.color.value?.number : color?.number !== this.depth.value?.number;
  }

  #endPairing(): void {
    window.clearTimeout(this.#pairTimer);
    this.#pairTimer = undefined;
  }

  // Lets go what waits, unseen. While the picture is to stay the server hears of it with the next step.
  #drop(...streams: PictureStream[]): void {
    for (const stream of streams) {
      const picture = this.#waiting[stream];
      delete this.#waiting[stream];
      if (picture && "bitmap" in picture) {
        picture.bitmap.close();
      }
      if (picture && this.isPaused.value && !this.#isStepping) {
        this.#kept.set(stream, picture.number);
      } else if (picture) {
        this.link.acknowledge(this.id, stream, picture.number);
      }
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

  // With a new connection, whose server says by itself what it records.
  beginAnew(): void {
    this.#forgetPictures();
    this.#wasRecording ||= this.recorder.value.isRecording;
    this.recorder.update({ isRecording: false });
  }

  setPaused(isPaused: boolean): void {
    if (this.entry.value.kind === "recording") {
      void this.play({ playing: !isPaused });
      return;
    }
    this.isPaused.set(isPaused);
    this.#isStepping = false;
    if (isPaused) {
      this.#endPairing();
      this.#drop("depth", "color");
    } else {
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
      this.#isStepping = true;
      this.#release();
    }
  }

  // One request at a time, in the order of the user's doing; of places that were passed meanwhile only the newest.
  async play(change: PlaybackChange): Promise<void> {
    if (this.#changes.at(-1)?.position !== undefined && change.position !== undefined) {
      this.#changes.pop();
    }
    this.#changes.push(change);
    if (this.#isPlaying) {
      return;
    }
    this.#isPlaying = true;
    for (let next = this.#changes.shift(); next; next = this.#changes.shift()) {
      try {
        this.playback.set(await api.playback(this.id, next));
      } catch (error) {
        notify("error", `Playing ${this.id}: ${sentenceOf(error)}`);
      }
    }
    this.#isPlaying = false;
  }

  takeRecording(answer: RecordAnswer): void {
    const { isRecording, since, file } = this.recorder.value;
    const isOver = (isRecording || this.#wasRecording) && !answer.recording;
    this.#wasRecording = false;
    const begun = isRecording && file === answer.file ? since : Date.now() - 1000 * (answer.seconds ?? 0);
    this.recorder.set({ isRecording: answer.recording, since: begun, file: answer.file });
    if (isOver && !this.#isAsked) {
      this.#tellRecorded(answer, `The recording of ${this.id} has ended by itself or by another page. `);
    }
  }

  #tellRecorded({ frames, file, dropped, error, warning }: RecordAnswer, why = ""): void {
    const what = file ? `Recorded ${frames} frames to ${file}${dropped > 0 ? `, ${dropped} dropped` : ""}.` : "";
    const problem = error ?? warning ?? "";
    const kind = error ? "error" : problem || dropped > 0 ? "warning" : "info";
    notify(kind, `${why}${[problem, what].filter(Boolean).join(" ")}`);
  }

  async toggleRecording(): Promise<void> {
    if (this.#isAsked) {
      return; // which of the two is meant is known with the answer
    }
    const isRecording = this.recorder.value.isRecording;
    this.#isAsked = true;
    try {
      const answer = await api.record(this.id, isRecording ? "stop" : "start");
      this.takeRecording(answer);
      if (!answer.recording) {
        this.#tellRecorded(answer);
      }
    } catch (error) {
      notify("error", `Recording ${this.id}: ${sentenceOf(error)}`);
    }
    this.#isAsked = false;
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
