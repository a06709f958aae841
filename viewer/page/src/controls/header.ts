// header.ts - the top of the page: which cameras, which views, what the page is in.
import { app } from "../store/app";
import type { Camera } from "../store/camera";
import { settings, toggleView, type Settings } from "../store/settings";
import { kTitles } from "../views/view";
import { el, icon, iconButton, segments } from "./dom";

// A camera's button stays the same element whatever changes, so that it keeps the focus.
function chip(camera: Camera): HTMLElement {
  const dot = el("span", { class: "dot" });
  const button = el("button", { type: "button", class: "chip", "data-camera": camera.id, onclick: () => app.toggle(camera) }, dot, camera.id);
  const show = (): void => {
    const { model, kind, problem } = camera.entry.value;
    const isShown = app.shown.value.includes(camera);
    const what = problem ? problem.error : kind === "recording" ? "recording" : model;
    button.setAttribute("aria-pressed", String(isShown));
    button.title = `${isShown ? "Hide" : "Show"} ${camera.id}: ${what}`;
    dot.dataset["state"] = isShown ? camera.state.value.state : problem ? "failed" : "closed";
  };
  camera.state.watch(show);
  camera.entry.watch(show);
  app.shown.watch(show);
  return button;
}

function cameraChips(): HTMLElement {
  const list = el("nav", { class: "chips", "aria-label": "Cameras" });
  const none = el("span", { class: "none" }, "No camera found");
  const chips = new Map<Camera, HTMLElement>();
  app.cameras.watch((cameras) => {
    const elements = cameras.map((camera) => {
      const element = chips.get(camera) ?? chip(camera);
      chips.set(camera, element);
      return element;
    });
    if (elements.length !== list.children.length || elements.some((element, i) => list.children[i] !== element)) {
      list.replaceChildren(...elements);
    }
    if (elements.length === 0 && app.server.value) {
      list.append(none);
    }
  });
  return list;
}

const kThemes: Record<Settings["theme"], Settings["theme"]> = { system: "light", light: "dark", dark: "system" };

export function nextTheme(): void {
  settings.update({ theme: kThemes[settings.value.theme] });
}

function themes(button: HTMLElement): void {
  const isDark = window.matchMedia("(prefers-color-scheme: dark)");
  const show = (): void => {
    const { theme } = settings.value;
    document.documentElement.dataset["theme"] = theme === "system" ? (isDark.matches ? "dark" : "light") : theme;
    const label = `Colors of the page: ${theme === "system" ? "as the system's" : theme} (T)`;
    button.title = label;
    button.setAttribute("aria-label", label);
  };
  isDark.addEventListener("change", show);
  settings.watch(show);
}

export function header(showHelp: () => void): HTMLElement {
  const views = segments("Views", (["depth", "color", "overlay", "cloud"] as const).map((value, i) =>
    ({ value, label: kTitles[value], title: `${kTitles[value]} (${i + 1})` })), toggleView);
  const measure = iconButton("measure", "Measure a distance", "M", () => app.isMeasuring.set(!app.isMeasuring.value));
  measure.dataset["tool"] = "measure";
  const panel = iconButton("panel", "Settings, features, statistics", "S", () =>
    settings.update({ isSidebarOpen: !settings.value.isSidebarOpen }));
  const theme = iconButton("sun", "Colors of the page", "T", nextTheme);
  themes(theme);
  settings.watch((value) => {
    views.mark(value.views);
    panel.setAttribute("aria-pressed", String(value.isSidebarOpen));
  });
  app.isMeasuring.watch((isMeasuring) => measure.setAttribute("aria-pressed", String(isMeasuring)));
  const version = el("span", { class: "version" });
  app.server.watch((server) => {
    version.textContent = server ? `${server.version}${server.readOnly ? " · read only" : ""}` : "";
  });
  return el("header", { class: "top" },
    el("h1", {}, el("img", { src: "/icon.svg", alt: "", width: 22, height: 22 }), "ox3d view"), version, cameraChips(),
    views.element, measure, panel, theme, iconButton("help", "Keyboard and help", "?", showHelp));
}

// What stands above everything while the server is away, or wants a token.
export function banner(askForToken: () => void): HTMLElement {
  const text = el("span", { class: "banner-text" });
  const again = el("button", { type: "button", onclick: () => app.link.connect() }, icon("reload"), "Try now");
  const element = el("div", { class: "banner", role: "alert" }, text, again);
  app.connection.watch((connection) => {
    element.hidden = connection.kind === "open" || connection.kind === "connecting";
    document.body.classList.toggle("offline", connection.kind === "closed");
    if (connection.kind === "closed") {
      const why = connection.isAnswering
        ? `The server at ${location.host} answers, but lets this page not look: it may have as many pages as it takes.`
        : `No connection to the server at ${location.host}.`;
      text.textContent = `${why} It is tried again by itself; what is shown is old.`;
    } else if (connection.kind === "refused") {
      text.textContent = connection.sentence;
      askForToken();
    }
  });
  return element;
}
