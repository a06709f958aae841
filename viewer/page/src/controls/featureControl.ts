// featureControl.ts - one feature: its name, the control of its type, and what came of the last change. A value is
// shown as the camera read it back, never as it was asked for.
import { exactOf } from "../protocol/features";
import type { FeatureEntry, FeatureValue } from "../protocol/wire";
import { el } from "./dom";

export interface FeatureActions {
  set(name: string, value: FeatureValue): Promise<FeatureValue>;
  run(name: string): Promise<void>;
}

const kSliderSteps = 500;
const kLargestSpan = 1e7; // a slider over more is of no use
const kLogarithmic = 1000; // times the smallest value: from here on a slider goes by ratios

function isBounded(feature: FeatureEntry): boolean {
  const span = Number(feature.max ?? Infinity) - Number(feature.min ?? -Infinity);
  return Number.isFinite(span) && span > 0 && span <= kLargestSpan;
}

function textOf(value: FeatureValue | undefined): string {
  if (value === null || value === undefined) {
    return "–";
  }
  return typeof value === "number" && !Number.isInteger(value) ? String(Number(value.toPrecision(7))) : String(value);
}

function rangeText(feature: FeatureEntry): string {
  const { min, max, increment, type } = feature;
  if ((type !== "integer" && type !== "float") || min === undefined || max === undefined) {
    return "";
  }
  const step = increment !== undefined && increment > 1 ? `, by ${increment}` : "";
  return `${textOf(min)} to ${textOf(max)}${step}`;
}

interface Scale {
  valueAt(share: number): number;
  shareOf(value: number): number;
}

// From a slider's place, 0 to 1, to a value that the feature takes, and back.
function scaleOf(feature: FeatureEntry): Scale {
  const { type } = feature;
  const [min, max, increment] = [feature.min ?? 0, feature.max ?? 1, feature.increment ?? 0].map(Number) as [number, number, number];
  const isByRatio = min > 0 && max / min >= kLogarithmic;
  const step = type === "integer" ? increment || 1 : 0;
  const fit = (value: number): number => {
    const whole = step > 0 ? min + Math.round((value - min) / step) * step : Number(value.toPrecision(4));
    return Math.min(max, Math.max(min, whole > max ? whole - step : whole));
  };
  return {
    valueAt: (share) => fit(isByRatio ? min * (max / min) ** share : min + share * (max - min)),
    shareOf: (value) => isByRatio ? Math.log(Math.max(value, min) / min) / Math.log(max / min) : (value - min) / (max - min),
  };
}

export class FeatureControl {
  readonly element: HTMLElement;
  #feature: FeatureEntry;
  readonly #message = el("p", { class: "feature-error", role: "alert", hidden: true });
  readonly #hint = el("span", { class: "hint" });
  readonly #place = el("div", { class: "feature-control" });
  #show: (feature: FeatureEntry) => void = () => undefined;
  #shape = "";

  constructor(feature: FeatureEntry, readonly actions: FeatureActions, readonly isReadOnly: boolean) {
    this.#feature = feature;
    this.element = el("div", { class: "feature", "data-feature": feature.name },
      el("div", { class: "feature-name", title: feature.description || feature.name },
        el("span", { id: `feature-${feature.name}` }, feature.displayName || feature.name), this.#hint),
      this.#place, this.#message);
    this.update(feature);
  }

  get feature(): FeatureEntry {
    return this.#feature;
  }

  update(feature: FeatureEntry): void {
    this.#feature = feature;
    this.#hint.textContent = [rangeText(feature), feature.unit].filter(Boolean).join(" ");
    // Another kind of control only where access, range or entries have changed: the user may be in this one.
    const shape = JSON.stringify([feature.type, feature.writable, String(feature.min), String(feature.max), feature.entries]);
    if (shape !== this.#shape) {
      this.#shape = shape;
      this.#place.replaceChildren(...this.#make(feature));
    }
    this.#show(feature);
  }

  #make(feature: FeatureEntry): HTMLElement[] {
    const isFixed = this.isReadOnly || !feature.writable;
    if (feature.type === "command") {
      const run = el("button", { type: "button", class: "command", disabled: isFixed, "aria-label": `Run ${feature.name}`, onclick: () =>
        void this.#attempt(run, () => this.actions.run(feature.name)) }, "Run");
      this.#show = () => undefined;
      return [run];
    }
    if (isFixed || feature.type === "register") {
      const value = el("output", { class: "fixed", "aria-labelledby": `feature-${feature.name}` });
      this.#show = ({ value: shown, unit }) => {
        value.textContent = `${textOf(shown)}${unit && shown !== null ? ` ${unit}` : ""}`;
      };
      return [value];
    }
    switch (feature.type) {
      case "boolean":
        return [this.#makeSwitch(feature)];
      case "enumeration":
        return [this.#makeList(feature)];
      case "string":
        return [this.#makeText(feature)];
      default:
        return this.#makeNumber(feature);
    }
  }

  #makeSwitch(feature: FeatureEntry): HTMLElement {
    const button = el("button", { type: "button", class: "switch", role: "switch", "aria-labelledby": `feature-${feature.name}`,
      onclick: () => this.#write(button, button.getAttribute("aria-checked") !== "true") }, el("span", {}));
    this.#show = ({ value }) => button.setAttribute("aria-checked", String(value === true || value === 1 || value === "true"));
    return button;
  }

  #makeList(feature: FeatureEntry): HTMLElement {
    const list = el("select", { "aria-labelledby": `feature-${feature.name}` },
      ...(feature.entries ?? []).map((entry) => el("option", { value: entry }, entry)));
    list.addEventListener("change", () => this.#write(list, list.value));
    this.#show = ({ value }) => {
      list.value = textOf(value);
    };
    return list;
  }

  #makeText(feature: FeatureEntry): HTMLElement {
    const input = el("input", { type: "text", "aria-labelledby": `feature-${feature.name}`, spellcheck: "false", autocomplete: "off" });
    input.addEventListener("change", () => this.#write(input, input.value));
    this.#show = ({ value }) => {
      if (document.activeElement !== input) {
        input.value = value === null || value === undefined ? "" : String(value);
      }
    };
    return input;
  }

  #makeNumber(feature: FeatureEntry): HTMLElement[] {
    const isWhole = feature.type === "integer";
    const common = { "aria-labelledby": `feature-${feature.name}`, ...(feature.min === undefined ? {} : { min: String(feature.min) }),
      ...(feature.max === undefined ? {} : { max: String(feature.max) }) };
    const input = el("input", { type: "number", step: isWhole ? String(feature.increment || 1) : "any", ...common });
    const showValue = (): void => {
      const { value } = this.#feature;
      input.value = typeof value === "number" || typeof value === "bigint" ? textOf(value) : "";
    };
    input.addEventListener("change", () => {
      if (Number.isFinite(input.valueAsNumber)) {
        this.#write(input, isWhole && !Number.isSafeInteger(input.valueAsNumber) ? input.value : input.valueAsNumber);
      } else {
        showValue(); // what is no number is not asked for
      }
    });
    const range = isBounded(feature) ? el("input", { type: "range", min: 0, max: kSliderSteps, step: 1, "aria-label": `${feature.name}, slider` }) : null;
    const scale = scaleOf(feature);
    range?.addEventListener("input", () => {
      input.value = textOf(scale.valueAt(range.valueAsNumber / kSliderSteps));
      range.setAttribute("aria-valuetext", input.value);
    });
    range?.addEventListener("change", () => this.#write(range, scale.valueAt(range.valueAsNumber / kSliderSteps)));
    this.#show = ({ value }) => {
      if (document.activeElement !== input || this.element.dataset["result"] === "pending") {
        showValue();
      }
      if (range && typeof value === "number") {
        range.value = String(Math.round(kSliderSteps * scale.shareOf(value)));
        range.setAttribute("aria-valuetext", textOf(value));
      }
    };
    return range ? [range, input] : [input];
  }

  #write(control: HTMLElement, value: FeatureValue): void {
    void this.#attempt(control, async () => {
      const readBack = await this.actions.set(this.#feature.name, value);
      this.#feature = { ...this.#feature, value: exactOf(this.#feature.type, readBack) };
    });
  }

  async #attempt(control: HTMLElement, action: () => Promise<void>): Promise<void> {
    this.element.dataset["result"] = "pending";
    control.setAttribute("aria-busy", "true");
    try {
      await action();
      this.#message.hidden = true;
      this.#show(this.#feature);
      this.element.dataset["result"] = "done";
    } catch (error) {
      this.#message.textContent = error instanceof Error ? error.message : String(error);
      this.#message.hidden = false;
      this.#show(this.#feature);
      this.element.dataset["result"] = "failed";
    }
    control.removeAttribute("aria-busy");
  }
}
