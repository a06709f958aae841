// main.ts - puts the page together.
import { helpDialog, noticeCorner, tokenDialog } from "./controls/dialogs";
import { el } from "./controls/dom";
import { banner, header } from "./controls/header";
import { listenToShortcuts } from "./controls/shortcuts";
import { sidebar } from "./controls/sidebar";
import { takeToken } from "./protocol/token";
import { app } from "./store/app";
import type { Camera } from "./store/camera";
import { CameraPanel } from "./views/cameraPanel";

takeToken();

const panels = new Map<Camera, CameraPanel>();
const empty = el("p", { class: "empty" });
const stage = el("main", { class: "cameras", "aria-label": "Cameras shown" });

function arrange(): void {
  const { value } = app.shown;
  for (const [camera, panel] of panels) {
    if (!value.includes(camera)) {
      panel.dispose();
      panels.delete(camera);
    }
  }
  for (const camera of value) {
    if (!panels.has(camera)) {
      panels.set(camera, new CameraPanel(camera));
    }
  }
  const elements = value.map((camera) => (panels.get(camera) as CameraPanel).element);
  if (elements.length === 0) {
    empty.textContent = app.cameras.value.length > 0
      ? "Choose a camera above." : app.server.value
        ? "No camera was found. One that is plugged in appears here by itself." : "Connecting …";
    elements.push(empty);
  }
  if (elements.length !== stage.children.length || elements.some((element, i) => stage.children[i] !== element)) {
    stage.replaceChildren(...elements);
  }
  stage.dataset["count"] = String(value.length);
}

const help = helpDialog();
const token = tokenDialog();
const side = sidebar();
document.body.append(
  header(() => help.showModal()), banner(token.ask), el("div", { class: "work" }, stage, side.element), noticeCorner(), help,
  token.element);
for (const signal of [app.shown, app.cameras, app.server]) {
  (signal as typeof app.shown).watch(arrange);
}
listenToShortcuts({
  help: () => help.showModal(),
  searchFeatures: side.searchFeatures,
  lookFromCamera: (camera) => panels.get(camera)?.cloud?.lookFromCamera(),
});
app.start();
