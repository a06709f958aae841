// depthDecoder.ts - the page's side of the worker that unpacks depth.
import type { DepthJob, DepthResult } from "./depthWorker";
import type { PictureMessage } from "./wire";

type Done = (samples: Uint16Array<ArrayBuffer> | null) => void;

export class DepthDecoder {
  readonly #worker = new Worker("/depth-worker.js", { type: "module" });
  readonly #waiting = new Map<number, Done>();
  #next = 0;

  constructor() {
    this.#worker.addEventListener("message", (event: MessageEvent<DepthResult>) => {
      const done = this.#waiting.get(event.data.id);
      this.#waiting.delete(event.data.id);
      done?.(event.data.samples);
    });
  }

  decode(picture: PictureMessage): Promise<Uint16Array<ArrayBuffer> | null> {
    const id = this.#next++;
    const { codec, width, height } = picture;
    const payload = picture.payload.slice(); // goes to the worker whole, without its header
    const job: DepthJob = { id, codec, width, height, payload };
    return new Promise((resolve) => {
      this.#waiting.set(id, resolve);
      this.#worker.postMessage(job, [payload.buffer]);
    });
  }
}
