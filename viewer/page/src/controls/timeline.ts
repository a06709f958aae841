// timeline.ts - a recording's place and speed: play, speed, single frames, and a slider over all of it.
import type { Camera } from "../store/camera";
import { el, iconButton, setIcon } from "./dom";

const kSpeeds = [0.1, 0.25, 0.5, 1, 2, 4];

function clock(seconds: number): string {
  const rest = seconds % 60;
  return `${Math.floor(seconds / 60)}:${rest < 10 ? "0" : ""}${rest.toFixed(1)}`;
}

export class Timeline {
  readonly element: HTMLElement;
  readonly ends: (() => void)[];
  #isHeld = false; // the user has the slider: what the server says must not move it

  constructor(camera: Camera) {
    const play = iconButton("play", "Play", "Space", () => camera.setPaused(!camera.isStill));
    const back = iconButton("back", "Frame before", ",", () => camera.step(-1));
    const next = iconButton("step", "Next frame", ".", () => camera.step(1));
    const place = el("input", { type: "range", min: 0, max: 0, step: 1, value: 0, "aria-label": "Frame of the recording", class: "place" });
    const text = el("output", { "data-value": "position" });
    const speed = el("select", { "aria-label": "Speed" },
      ...kSpeeds.map((value) => el("option", { value, selected: value === 1 }, `${value} ×`)));
    this.element = el("div", { class: "timeline", role: "group", "aria-label": "Recording" }, back, play, next, place, text, speed);
    place.addEventListener("pointerdown", () => {
      this.#isHeld = true;
    });
    place.addEventListener("input", () => void camera.play({ position: place.valueAsNumber }));
    // A slider that is let go where it was taken has not changed.
    for (const end of ["change", "pointerup", "pointercancel"]) {
      place.addEventListener(end, () => {
        this.#isHeld = false;
      });
    }
    speed.addEventListener("change", () => void camera.play({ speed: Number(speed.value) }));
    const show = (): void => {
      const { value } = camera.playback;
      const recording = camera.details.value?.recording;
      const frames = value?.frames ?? recording?.frames ?? 0;
      place.max = String(Math.max(0, frames - 1));
      if (value) {
        if (!this.#isHeld) {
          place.value = String(value.position);
        }
        setIcon(play, value.playing ? "pause" : "play", value.playing ? "Pause" : "Play", "Space");
        if (document.activeElement !== speed) {
          speed.value = String(value.speed);
        }
      }
      const seconds = recording && frames > 1 ? ((value?.position ?? 0) / (frames - 1)) * recording.durationSeconds : 0;
      const whole = recording ? ` · ${clock(seconds)} / ${clock(recording.durationSeconds)}` : "";
      text.textContent = `${(value?.position ?? 0) + 1} / ${frames}${whole}`;
      place.setAttribute("aria-valuetext", text.textContent);
    };
    this.ends = [camera.playback.watch(show), camera.details.watch(show)];
  }
}
