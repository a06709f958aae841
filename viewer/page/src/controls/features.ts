// features.ts - the features of the camera in focus, by category, with a search.
import { api, sentenceOf } from "../protocol/api";
import { app } from "../store/app";
import type { Camera } from "../store/camera";
import type { FeatureEntry } from "../protocol/wire";
import { el, iconButton } from "./dom";
import { FeatureControl, type FeatureActions } from "./featureControl";

const kSettleMs = 250; // what one feature changes in others is there soon after

function words(category: string): string {
  return category.replace(/([a-z])([A-Z])/g, "$1 $2");
}

export class Features {
  readonly element: HTMLElement;
  readonly search = el("input", { type: "search", placeholder: "Search features  ( / )", "aria-label": "Search features", spellcheck: "false" });
  readonly #onlyWritable = el("input", { type: "checkbox" });
  readonly #list = el("div", { class: "feature-list" });
  readonly #none = el("p", { class: "empty" });
  readonly #controls = new Map<string, FeatureControl>();
  #camera: Camera | null = null;
  #shape = "";
  #timer: number | undefined;
  #isVisible = false;
  #isStale = false; // the last reading failed
  #end: () => void = () => undefined; // of listening to the camera

  constructor() {
    const reload = iconButton("reload", "Read all features again", "", () => void this.#load());
    this.element = el("div", { class: "features" },
      el("div", { class: "feature-tools" }, this.search, reload),
      el("label", { class: "check" }, this.#onlyWritable, "Only what can be changed"), this.#list, this.#none);
    this.search.addEventListener("input", () => this.#filter());
    this.#onlyWritable.addEventListener("change", () => this.#filter());
    app.server.watch(() => this.#rebuild());
  }

  // Features cost the camera time: they are read while somebody looks.
  show(camera: Camera | null, isVisible: boolean): void {
    const isNew = camera !== this.#camera || (isVisible && !this.#isVisible);
    this.#isVisible = isVisible;
    if (camera !== this.#camera) {
      this.#camera = camera;
      this.#rebuild();
      this.#end();
      this.#end = camera?.state.watch(({ state }) => {
        this.#showUse();
        if (state === "streaming" && this.#isVisible) {
          this.#soon();
        }
      }) ?? (() => undefined);
    }
    if (isVisible && isNew) {
      void this.#load();
    }
  }

  #rebuild(): void {
    this.#controls.clear();
    this.#list.replaceChildren();
    this.#shape = "";
    if (this.#isVisible) {
      void this.#load();
    }
  }

  #soon(): void {
    window.clearTimeout(this.#timer);
    this.#timer = window.setTimeout(() => void this.#load(), kSettleMs);
  }

  async #load(): Promise<void> {
    const camera = this.#camera;
    if (!camera) {
      this.#none.textContent = "No camera is shown.";
      return;
    }
    try {
      const features = await api.features(camera.id);
      if (camera === this.#camera) {
        this.#isStale = false;
        this.#take(features);
      }
    } catch (error) {
      if (camera === this.#camera) {
        this.#isStale = true;
        this.#none.textContent = `The features cannot be read: ${sentenceOf(error)}`;
      }
    }
    this.#showUse();
  }

  // Values that are not the camera's own cannot be set from: they are there to be read, greyed.
  #showUse(): void {
    this.#list.inert = this.#isStale || this.#camera?.state.value.state !== "streaming";
  }

  #take(features: FeatureEntry[]): void {
    const shape = features.map(({ name }) => name).join();
    if (shape !== this.#shape) {
      this.#shape = shape;
      this.#controls.clear();
      this.#list.replaceChildren(...this.#groups(features));
    } else {
      for (const feature of features) {
        this.#controls.get(feature.name)?.update(feature);
      }
    }
    this.#filter();
    if (features.length === 0) {
      this.#none.textContent = this.#camera?.entry.value.kind === "recording" ? "A recording has no features." : "The camera has no features.";
    }
  }

  #groups(features: FeatureEntry[]): HTMLElement[] {
    const actions: FeatureActions = {
      set: async (name, value) => {
        const answer = await api.setFeature(this.#camera?.id ?? "", name, value);
        this.#soon();
        return answer.value;
      },
      run: async (name) => {
        await api.run(this.#camera?.id ?? "", name);
        this.#soon();
      },
    };
    const groups = new Map<string, HTMLElement>();
    for (const feature of features) {
      const category = feature.category || "Other";
      let group = groups.get(category);
      if (!group) {
        group = el("details", { class: "category", open: true }, el("summary", {}, words(category)));
        groups.set(category, group);
      }
      const control = new FeatureControl(feature, actions, app.server.value?.readOnly === true);
      this.#controls.set(feature.name, control);
      group.append(control.element);
    }
    return [...groups.values()];
  }

  #filter(): void {
    const parts = this.search.value.toLowerCase().split(/\s+/).filter(Boolean);
    let count = 0;
    for (const { feature, element } of this.#controls.values()) {
      const text = `${feature.name} ${feature.displayName ?? ""} ${feature.category ?? ""} ${feature.description ?? ""}`.toLowerCase();
      const isMatch = parts.every((part) => text.includes(part)) && (!this.#onlyWritable.checked || feature.writable);
      element.hidden = !isMatch;
      count += isMatch ? 1 : 0;
    }
    for (const group of this.#list.children) {
      (group as HTMLElement).hidden = !group.querySelector(".feature:not([hidden])");
    }
    this.#none.textContent = count > 0 || this.#controls.size === 0 ? "" : "No feature has these words.";
  }
}
