// wire.ts - what goes over the wire between page and server, as both sides agreed on it. Nothing here has a state.

export interface Failure {
  error: string;
  status?: number;
  name?: string;
}

export interface CameraEntry {
  id: string;
  model: string;
  serial: string;
  firmware?: string;
  ip: string | null;
  kind: "camera" | "recording";
  open: boolean;
  problem: Failure | null;
}

export interface LensEntry {
  width: number;
  height: number;
  fx: number;
  fy: number;
  cx: number;
  cy: number;
  distortion: number[];
}

export interface CameraDetails extends CameraEntry {
  info?: Record<string, unknown>;
  streams: { depth: LensEntry | null; color: LensEntry | null };
  depthToColor: { rotation: number[]; translation: number[] } | null;
  depthAligned: boolean;
  millimetresPerUnit: number;
  recording: { file: string; frames: number; durationSeconds: number } | null;
}

export type FeatureType = "integer" | "float" | "boolean" | "enumeration" | "string" | "command" | "register";
export type Whole = number | bigint; // a bigint where a number would not be exact
export type FeatureValue = Whole | string | boolean | null;

export interface FeatureEntry {
  name: string;
  displayName?: string;
  category?: string;
  type: FeatureType;
  readable: boolean;
  writable: boolean;
  value?: FeatureValue;
  min?: Whole;
  max?: Whole;
  increment?: Whole;
  unit?: string;
  entries?: string[];
  description?: string;
}

export interface ServerInfo {
  version: string;
  readOnly: boolean;
  provider: string;
  now: number;
}

export interface RecordAnswer {
  recording: boolean;
  file: string;
  frames: number;
  dropped: number;
  seconds?: number; // for so long it records
  error?: string | null; // why it failed
  warning?: string; // why there is no file
}

export interface Playback {
  playing: boolean;
  speed: number;
  position: number;
  frames: number;
}

export type CameraState = "streaming" | "lost" | "opening" | "failed" | "closed";
export type StreamName = "depth" | "color" | "stats";

export interface Statistics {
  fps: number;
  lost: number;
  incomplete: number;
  latencyMs: { p50: number; p99: number } | null;
  megabytesPerSecond: number;
  validDepth: number;
  temperature: number | null;
  clients: number;
}

export type ServerMessage =
  | { type: "subscribed"; camera: string; index: number; streams: StreamName[] }
  | { type: "state"; camera: string; state: CameraState; error: Failure | null }
  | ({ type: "stats"; camera: string } & Statistics)
  | ({ type: "playback"; camera: string } & Playback)
  | ({ type: "record"; camera: string } & RecordAnswer)
  | { type: "cameras" }
  | { type: "alive" }
  | { type: "geometry"; camera: string }
  | { type: "error"; error: string };

export const kDepth = 1;
export const kColor = 2;
export const kCodecRaw = 0;
export const kCodecDelta = 1;
export const kCodecJpeg = 2;
const kHeaderBytes = 32;

export interface PictureMessage {
  kind: number;
  codec: number;
  camera: number;
  number: number;
  ticks: bigint;
  width: number;
  height: number;
  arrivalUs: number;
  payload: Uint8Array<ArrayBuffer>;
}

// Null for what is no picture: a length that does not fit, a kind that nobody knows.
export function parsePicture(data: ArrayBuffer): PictureMessage | null {
  if (data.byteLength < kHeaderBytes) {
    return null;
  }
  const view = new DataView(data);
  const bytes = view.getUint32(20, true);
  const kind = view.getUint8(0);
  if (bytes !== data.byteLength - kHeaderBytes || (kind !== kDepth && kind !== kColor)) {
    return null;
  }
  return {
    kind,
    codec: view.getUint8(1),
    camera: view.getUint16(2, true),
    number: view.getUint32(4, true),
    ticks: view.getBigUint64(8, true),
    width: view.getUint16(16, true),
    height: view.getUint16(18, true),
    arrivalUs: Number(view.getBigUint64(24, true)),
    payload: new Uint8Array(data, kHeaderBytes),
  };
}
