// link.ts - the WebSocket to the server. It connects anew by itself and then says again what was subscribed; whoever
// listens hears messages only and never sees the socket. A connection that is silent is taken for dead: the server says
// something each second.
import { token } from "./token";
import { parsePicture, type PictureMessage, type ServerMessage, type StreamName } from "./wire";

export interface LinkListener {
  onOpen(): void;
  onClosed(): void;
  onMessage(message: ServerMessage): void;
  onPicture(camera: string, picture: PictureMessage): void;
}

const kFirstRetryMs = 500;
const kLastRetryMs = 5000;
const kBeatMs = 1000;
const kSilentBeats = 5;

export class Link {
  #socket: WebSocket | null = null;
  #retryMs = kFirstRetryMs;
  #timer: number | undefined;
  #silentBeats = 0;
  readonly #wanted = new Map<string, { streams: StreamName[]; fps: number }>();
  readonly #names = new Map<number, string>(); // by the index that the server gave the camera

  constructor(readonly listener: LinkListener) {
    // Beats are counted, not time: a page that was held up has not heard what came meanwhile.
    window.setInterval(() => this.#beat(), kBeatMs);
  }

  connect(): void {
    window.clearTimeout(this.#timer);
    this.#socket?.close();
    const secret = token();
    const protocols = secret ? ["ox3d.v1", `ox3d.token.${secret}`] : ["ox3d.v1"];
    const scheme = location.protocol === "https:" ? "wss" : "ws";
    const socket = new WebSocket(`${scheme}://${location.host}/ws`, protocols);
    socket.binaryType = "arraybuffer";
    this.#socket = socket;
    this.#silentBeats = 0;
    socket.addEventListener("open", () => {
      this.#silentBeats = 0;
      this.#retryMs = kFirstRetryMs;
      this.#names.clear();
      this.listener.onOpen();
      if (this.#wanted.size === 0) {
        this.#send({ type: "subscribe", camera: "none", streams: [], fps: 1 }); // a server closes who never says a word
      }
      this.resubscribe();
    });
    // An older socket, which another has replaced, is not listened to.
    socket.addEventListener("message", (event) => {
      if (this.#socket === socket) {
        this.#silentBeats = 0;
        this.#take(event.data as string | ArrayBuffer);
      }
    });
    socket.addEventListener("close", () => {
      if (this.#socket === socket) {
        this.#closed();
      }
    });
  }

  #beat(): void {
    if (this.#socket && ++this.#silentBeats > kSilentBeats) {
      const dead = this.#socket;
      this.#closed(); // without waiting for the other side's goodbye, which may never come
      dead.close();
    }
  }

  #closed(): void {
    this.#socket = null;
    this.listener.onClosed();
    this.#timer = window.setTimeout(() => this.connect(), this.#retryMs);
    this.#retryMs = Math.min(2 * this.#retryMs, kLastRetryMs);
  }

  // Says again what the server has not confirmed: it may not have known the camera yet.
  resubscribe(): void {
    const confirmed = new Set(this.#names.values());
    for (const [camera, { streams, fps }] of this.#wanted) {
      if (!confirmed.has(camera)) {
        this.#send({ type: "subscribe", camera, streams, fps });
      }
    }
  }

  subscribe(camera: string, streams: StreamName[], fps: number): void {
    const before = this.#wanted.get(camera);
    if (before && before.fps === fps && before.streams.join() === streams.join()) {
      return;
    }
    if (streams.length === 0) {
      this.#wanted.delete(camera);
    } else {
      this.#wanted.set(camera, { streams, fps });
    }
    this.#send({ type: "subscribe", camera, streams, fps });
  }

  acknowledge(camera: string, stream: StreamName, number: number): void {
    this.#send({ type: "ack", camera, stream, number });
  }

  #send(message: unknown): void {
    if (this.#socket?.readyState === WebSocket.OPEN) {
      this.#socket.send(JSON.stringify(message));
    }
  }

  #take(data: string | ArrayBuffer): void {
    if (typeof data !== "string") {
      const picture = parsePicture(data);
      const camera = picture && this.#names.get(picture.camera);
      if (picture && camera !== undefined && camera !== null) {
        this.listener.onPicture(camera, picture);
      }
      return;
    }
    let message: ServerMessage;
    try {
      message = JSON.parse(data) as ServerMessage;
    } catch {
      return;
    }
    if (message.type === "subscribed") {
      this.#names.set(message.index, message.camera);
    }
    this.listener.onMessage(message);
  }
}
