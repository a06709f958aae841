// depthDecoder.ts - the page's side of the worker that unpacks depth.
import type { DepthJob, DepthResult } from "./depthWorker";
import type { PictureMessage } from "./wire";

const kRetryMs = 1000; // before more depth is asked for, when a worker has failed

type Done = (samples: Uint16Array<ArrayBuffer> | null) => void;

export class DepthDecoder {
  #worker: Worker | null = null;
  readonly #waiting = new Map<number, Done>();
  #next = 0;

  constructor(readonly onFailure: (sentence: string) => void) {}

  #start(): Worker {
    const worker = new Worker("/depth-worker.js", { type: "module" });
    worker.addEventListener("message", (event: MessageEvent<DepthResult>) => {
      const done = this.#waiting.get(event.data.id);
      this.#waiting.delete(event.data.id);
      done?.(event.data.samples);
    });
    for (const failure of ["error", "messageerror"]) {
      worker.addEventListener(failure, () => this.#fail(worker));
    }
    return worker;
  }

  // Whoever waits gets nothing, so that the next picture comes, and a new worker takes it.
  #fail(worker: Worker): void {
    if (this.#worker !== worker) {
      return;
    }
    worker.terminate();
    this.#worker = null;
    this.onFailure("Depth cannot be unpacked: the page's worker has failed. It is tried again by itself.");
    const waiting = [...this.#waiting.values()];
    this.#waiting.clear();
    window.setTimeout(() => waiting.forEach((done) => done(null)), kRetryMs);
  }

  decode(picture: PictureMessage): Promise<Uint16Array<ArrayBuffer> | null> {
    const id = this.#next++;
    const { codec, width, height } = picture;
    const payload = picture.payload.slice(); // goes to the worker whole, without its header
    const job: DepthJob = { id, codec, width, height, payload };
    return new Promise((resolve) => {
      this.#waiting.set(id, resolve);
      this.#worker ??= this.#start();
      this.#worker.postMessage(job, [payload.buffer]);
    });
  }
}
