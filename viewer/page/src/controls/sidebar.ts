// sidebar.ts - what can be set and read beside the views, in three tabs, for the camera in focus.
import { app } from "../store/app";
import { settings, type Settings } from "../store/settings";
import { display } from "./display";
import { el } from "./dom";
import { Features } from "./features";
import { statistics } from "./statistics";

const kTabs: readonly { name: Settings["tab"]; label: string }[] = [
  { name: "view", label: "View" }, { name: "features", label: "Features" }, { name: "statistics", label: "Statistics" },
];

export interface Sidebar {
  element: HTMLElement;
  searchFeatures(): void;
}

export function sidebar(): Sidebar {
  const features = new Features();
  const panels = [display(), features.element, statistics()].map((content, i) =>
    el("div", { class: "tab-panel", role: "tabpanel", id: `panel-${kTabs[i]?.name}`, "aria-labelledby": `tab-${kTabs[i]?.name}` }, content));
  const tabs = kTabs.map(({ name, label }) => el("button", {
    type: "button", role: "tab", id: `tab-${name}`, "aria-controls": `panel-${name}`, onclick: () => settings.update({ tab: name }),
  }, label));
  const list = el("div", { class: "tabs", role: "tablist", "aria-label": "Beside the views" }, ...tabs);
  list.addEventListener("keydown", (event) => {
    const way = { ArrowLeft: -1, ArrowRight: 1 }[event.key];
    if (way) {
      const at = kTabs.findIndex(({ name }) => name === settings.value.tab);
      const next = (at + way + kTabs.length) % kTabs.length;
      settings.update({ tab: kTabs[next]?.name ?? "view" });
      tabs[next]?.focus();
      event.stopPropagation();
    }
  });
  const of = el("p", { class: "focused-camera" });
  const element = el("aside", { class: "sidebar", "aria-label": "Settings" }, list, of, ...panels);
  const show = (): void => {
    const { tab, isSidebarOpen } = settings.value;
    element.hidden = !isSidebarOpen;
    kTabs.forEach(({ name }, i) => {
      tabs[i]?.setAttribute("aria-selected", String(name === tab));
      tabs[i]?.setAttribute("tabindex", name === tab ? "0" : "-1");
      (panels[i] as HTMLElement).hidden = name !== tab;
    });
    of.textContent = app.focused.value ? `${app.focused.value.id} · ${app.focused.value.entry.value.model}` : "No camera";
    features.show(app.focused.value, isSidebarOpen && tab === "features");
  };
  settings.watch(show);
  app.focused.watch(show);
  return {
    element,
    searchFeatures() {
      settings.update({ isSidebarOpen: true, tab: "features" });
      window.setTimeout(() => features.search.focus(), 0);
    },
  };
}
