// pictureView.ts - depth, color, or both laid over each other, as flat pictures with the value under the pointer.
import { el } from "../controls/dom";
import { depthPixelOfColor } from "../geometry/colorToDepth";
import { pixelOf, toColorCamera } from "../geometry/lens";
import { fitLens, type DepthFrame, type Picked } from "../geometry/depthFrame";
import { paintDepth } from "../picture/depthPicture";
import { hasColorOfDepth, kNoCalibration, paintColorForDepth } from "../picture/overlayPicture";
import { app } from "../store/app";
import type { Camera } from "../store/camera";
import { settings, shownStreams } from "../store/settings";
import { beginMarkers, drawMeasurement } from "./markers";
import { rangeOf } from "./range";
import { frameOf, kTitles, type View } from "./view";

const kNoColor = "It sends no color.";

type PictureName = "depth" | "color" | "overlay";

export class PictureView implements View {
  readonly element: HTMLElement;
  readonly #picture = el("canvas", { class: "picture", width: 4, height: 3 });
  readonly #marks = el("canvas", { class: "marks", tabindex: 0 });
  readonly #note = el("p", { class: "view-note", role: "status", hidden: true }, kNoCalibration);
  readonly #depth = document.createElement("canvas"); // the overlay's upper picture
  #pointer: { x: number; y: number; frame: DepthFrame | null } | null = null; // and the frame that was asked for its depth

  constructor(readonly camera: Camera, readonly name: PictureName) {
    const label = `${kTitles[name]} of ${camera.id}`;
    this.#picture.setAttribute("role", "img");
    this.#picture.setAttribute("aria-label", label);
    this.element = frameOf(name, label, this.#picture, this.#marks, this.#note);
    this.#marks.setAttribute("aria-label", `${label}: point at a place for its depth`);
    this.#marks.setAttribute("role", "application");
    this.#marks.addEventListener("pointermove", (event) => this.#hover(event.offsetX, event.offsetY));
    this.#marks.addEventListener("pointerleave", () => {
      this.#pointer = null;
      camera.leave();
      this.#note.hidden ||= name === "color";
    });
    this.#marks.addEventListener("click", (event) => this.#click(event));
    this.#marks.addEventListener("keydown", (event) => this.#moveByKey(event));
  }

  canvas(): HTMLCanvasElement {
    return this.#picture;
  }

  dispose(): void {
    this.element.remove();
  }

  draw(): void {
    const frame = this.camera.depth.value;
    const color = this.camera.color.value?.bitmap;
    const [near, far] = rangeOf(this.camera);
    if (this.name === "depth" && frame) {
      paintDepth(this.#picture, frame, settings.value.colorMap, near, far);
    } else if (this.name === "color" && color) {
      this.#drawColor(color);
    } else if (this.name === "overlay" && frame && color) {
      this.#drawOverlay(color, near, far);
    }
    this.#noteMissing(!color && this.camera.details.value?.streams.color === null);
    if (this.name === "color" && this.#pointer && this.#pointer.frame !== frame) {
      this.#hover(this.#pointer.x, this.#pointer.y); // what moves there is seen by another depth pixel now
    }
    this.#drawMarks();
  }

  #noteMissing(isMissing: boolean): void {
    if (this.name !== "depth" && (isMissing || this.#note.textContent === kNoColor)) {
      this.#note.textContent = isMissing ? kNoColor : kNoCalibration;
      this.#note.hidden = !isMissing;
    }
  }

  #drawColor(color: ImageBitmap): void {
    this.#picture.width = color.width;
    this.#picture.height = color.height;
    this.#picture.getContext("2d")?.drawImage(color, 0, 0);
  }

  #drawOverlay(color: ImageBitmap, near: number, far: number): void {
    const frame = this.camera.depth.value;
    const details = this.camera.details.value;
    if (!frame || !details) {
      return;
    }
    this.#note.hidden = hasColorOfDepth(details);
    if (!this.#note.hidden) {
      this.#picture.width = frame.width;
      this.#picture.height = frame.height;
    } else if (details.depthAligned) {
      this.#drawColor(color);
    } else {
      paintColorForDepth(this.#picture, frame, color, details);
    }
    paintDepth(this.#depth, frame, settings.value.colorMap, near, far);
    const context = this.#picture.getContext("2d");
    if (context) {
      context.globalAlpha = settings.value.overlayOpacity;
      context.drawImage(this.#depth, 0, 0, this.#picture.width, this.#picture.height);
      context.globalAlpha = 1;
    }
  }

  // Where the picture lies inside its element, which it fills as far as its shape lets it.
  #place(): { left: number; top: number; scale: number } {
    const { clientWidth, clientHeight } = this.#marks;
    const scale = Math.min(clientWidth / this.#picture.width, clientHeight / this.#picture.height);
    return {
      left: (clientWidth - this.#picture.width * scale) / 2, top: (clientHeight - this.#picture.height * scale) / 2, scale,
    };
  }

  // The depth pixel under a place of the element; null outside, and where none is known to see what color sees there.
  #depthPixel(x: number, y: number): [number, number] | null {
    const frame = this.camera.depth.value;
    const details = this.camera.details.value;
    if (!frame || !details || !shownStreams().depth) {
      return null;
    }
    const place = this.#place();
    if (this.name === "color" && !details.depthAligned) {
      return depthPixelOfColor(frame, details, this.#picture, (x - place.left) / place.scale - 0.5, (y - place.top) / place.scale - 0.5);
    }
    const u = Math.floor((((x - place.left) / place.scale) * frame.width) / this.#picture.width);
    const v = Math.floor((((y - place.top) / place.scale) * frame.height) / this.#picture.height);
    return u >= 0 && v >= 0 && u < frame.width && v < frame.height ? [u, v] : null;
  }

  #hover(x: number, y: number): void {
    const at = this.#depthPixel(x, y);
    this.#pointer = { x, y, frame: this.camera.depth.value };
    if (this.name === "color") {
      const details = this.camera.details.value;
      const isFar = details !== null && !hasColorOfDepth(details);
      this.#note.textContent = isFar ? kNoCalibration : "Depth is told while a view of depth is shown, too.";
      this.#note.hidden = !isFar && shownStreams().depth;
    }
    if (at) {
      this.camera.hover(at[0], at[1]);
    } else {
      this.camera.leave();
    }
  }

  #click(event: MouseEvent): void {
    const at = app.isMeasuring.value && this.#depthPixel(event.offsetX, event.offsetY);
    const picked = at && this.camera.pickAt(at[0], at[1]);
    if (picked) {
      this.camera.measure(picked);
    }
  }

  // The pointer by arrow keys: a pixel each, ten with Shift; Enter picks.
  #moveByKey(event: KeyboardEvent): void {
    const ways: Record<string, [number, number]> = {
      ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1],
    };
    const frame = this.camera.depth.value;
    const way = ways[event.key];
    const at = this.#cursor ?? (frame && [frame.width >> 1, frame.height >> 1]);
    if (!frame || !at || (!way && event.key !== "Enter")) {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
    const step = event.shiftKey ? 10 : 1;
    const u = Math.min(frame.width - 1, Math.max(0, (at[0] as number) + (way?.[0] ?? 0) * step));
    const v = Math.min(frame.height - 1, Math.max(0, (at[1] as number) + (way?.[1] ?? 0) * step));
    this.#cursor = [u, v];
    this.camera.hover(u, v);
    const picked = event.key === "Enter" && this.camera.pickAt(u, v);
    if (picked) {
      this.camera.measure(picked);
    }
  }

  #cursor: [number, number] | null = null;

  // Where the element shows a point that was picked anywhere.
  #placeOf(picked: Picked): [number, number] | null {
    const frame = this.camera.depth.value;
    const details = this.camera.details.value;
    if (!frame || !details) {
      return null;
    }
    let [u, v, width, height] = [picked.u, picked.v, frame.width, frame.height];
    if (this.name === "color" && !details.depthAligned) {
      if (!details.streams.color || !details.depthToColor) {
        return null;
      }
      const lens = fitLens(details.streams.color, this.#picture.width, this.#picture.height);
      const at = pixelOf(lens, toColorCamera(details, picked.point));
      if (!at) {
        return null;
      }
      [u, v, width, height] = [at[0], at[1], lens.width, lens.height];
    }
    const { left, top, scale } = this.#place();
    return [
      left + (((u + 0.5) * this.#picture.width) / width) * scale, top + (((v + 0.5) * this.#picture.height) / height) * scale,
    ];
  }

  #drawMarks(): void {
    const context = beginMarkers(this.#marks);
    if (!context) {
      return;
    }
    const measured = this.camera.measured.value;
    drawMeasurement(context, measured, measured.map((picked) => this.#placeOf(picked)));
    const hovered = this.camera.hovered.value;
    const place = hovered && this.#placeOf(hovered);
    if (place) {
      drawMeasurement(context, [], [place]);
    }
  }
}
