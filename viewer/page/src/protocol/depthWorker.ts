// depthWorker.ts - unpacks depth images beside the page's own thread, so that pointer and orbit stay smooth.
import { decompress } from "fzstd";
import { kCodecDelta, kCodecRaw } from "./wire";

export interface DepthJob {
  id: number;
  codec: number;
  width: number;
  height: number;
  payload: Uint8Array<ArrayBuffer>;
}

export interface DepthResult {
  id: number;
  samples: Uint16Array<ArrayBuffer> | null; // null: the payload is not what its header says
}

function unpack(job: DepthJob): Uint16Array<ArrayBuffer> | null {
  const pixels = job.width * job.height;
  let bytes: Uint8Array = job.payload;
  if (job.codec === kCodecDelta) {
    // The size is known beforehand: a payload that would grow beyond it is refused without taking the memory.
    bytes = decompress(job.payload, new Uint8Array(2 * pixels));
  } else if (job.codec !== kCodecRaw) {
    return null;
  }
  if (bytes.byteLength !== 2 * pixels) {
    return null;
  }
  const samples = new Uint16Array(pixels);
  new Uint8Array(samples.buffer).set(bytes);
  if (job.codec === kCodecDelta) {
    for (let row = 0; row < pixels; row += job.width) {
      let value = 0;
      for (let i = row; i < row + job.width; ++i) {
        value = (value + (samples[i] as number)) & 0xffff;
        samples[i] = value;
      }
    }
  }
  return samples;
}

// The page's own library declares a window; a worker posts with a list of what it gives away.
const post = self.postMessage.bind(self) as (message: DepthResult, transfer: Transferable[]) => void;

self.addEventListener("message", (event: MessageEvent<DepthJob>) => {
  let samples: Uint16Array<ArrayBuffer> | null = null;
  try {
    samples = unpack(event.data);
  } catch {
    samples = null;
  }
  post({ id: event.data.id, samples }, samples ? [samples.buffer] : []);
});
