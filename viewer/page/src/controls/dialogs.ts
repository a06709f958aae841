// dialogs.ts - the help, the question for a token, and the notices in the corner.
import { setToken } from "../protocol/token";
import { app } from "../store/app";
import { dismiss, notices } from "../store/notices";
import { el } from "./dom";
import { kShortcuts } from "./shortcuts";

export function helpDialog(): HTMLDialogElement {
  const close = el("button", { type: "button", class: "primary", autofocus: true, onclick: () => dialog.close() }, "Close");
  const dialog = el("dialog", { class: "help", "aria-labelledby": "help-title" },
    el("h2", { id: "help-title" }, "Keyboard and pointer"),
    el("dl", { class: "keys" }, ...kShortcuts.flatMap(({ shown, what }) =>
      [el("dt", {}, el("kbd", {}, shown)), el("dd", {}, what)])),
    el("p", {}, "Pictures: point at a place for its depth and its X, Y, Z in the camera's frame, x to the right, y down, z forward. " +
      "Cloud: drag to orbit, right button or two fingers to move, wheel or pinch to zoom. A picked point is the median of the " +
      "5 × 5 pixels around it. Keys act on the camera that was touched last."),
    el("div", { class: "buttons" }, close));
  return dialog;
}

export function tokenDialog(): { element: HTMLDialogElement; ask(): void } {
  const input = el("input", { type: "password", id: "token", autocomplete: "off", required: true });
  const form = el("form", { method: "dialog" },
    el("h2", {}, "This server wants a token"),
    el("p", {}, "It is in the address that ox3d view printed, after #token=."),
    el("label", { for: "token" }, "Token"), input,
    el("div", { class: "buttons" }, el("button", { class: "primary" }, "Connect")));
  const element = el("dialog", { class: "token" }, form);
  form.addEventListener("submit", () => {
    setToken(input.value.trim());
    input.value = "";
    app.link.connect();
  });
  return {
    element,
    ask() {
      if (!element.open) {
        element.showModal();
      }
    },
  };
}

export function noticeCorner(): HTMLElement {
  const element = el("div", { class: "notices", role: "status", "aria-live": "polite" });
  notices.watch((value) => element.replaceChildren(...value.map(({ id, kind, text }) =>
    el("div", { class: `notice ${kind}` }, el("span", {}, text),
      el("button", { type: "button", "aria-label": "Dismiss", onclick: () => dismiss(id) }, "×")))));
  return element;
}
