// notices.ts - sentences that the user should read, and that go away by themselves.
import { Signal } from "./signal";

export interface Notice {
  id: number;
  kind: "info" | "warning" | "error";
  text: string;
}

const kShownMs = { info: 5000, warning: 9000, error: 12000 };
let next = 0;

export const notices = new Signal<Notice[]>([]);

export function dismiss(id: number): void {
  notices.set(notices.value.filter((notice) => notice.id !== id));
}

export function notify(kind: Notice["kind"], text: string): void {
  const id = next++;
  notices.set([...notices.value.filter((notice) => notice.text !== text), { id, kind, text }].slice(-4));
  window.setTimeout(() => dismiss(id), kShownMs[kind]);
}
