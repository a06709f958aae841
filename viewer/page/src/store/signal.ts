// signal.ts - a value that tells who listens when it changes. Listeners run once in the next turn, however often the
// value changed meanwhile, and so never see a half of a change.

export class Signal<T> {
  #value: T;
  readonly #listeners = new Set<(value: T) => void>();
  #isScheduled = false;

  constructor(value: T) {
    this.#value = value;
  }

  get value(): T {
    return this.#value;
  }

  set(value: T): void {
    if (!Object.is(this.#value, value)) {
      this.#value = value;
      this.touch();
    }
  }

  update(change: Partial<T>): void {
    this.set({ ...this.#value, ...change });
  }

  // Says that what the value refers to has changed inside.
  touch(): void {
    if (this.#isScheduled) {
      return;
    }
    this.#isScheduled = true;
    queueMicrotask(() => {
      this.#isScheduled = false;
      for (const listener of [...this.#listeners]) {
        listener(this.#value);
      }
    });
  }

  // Calls at once with the value there is, and at every change; gives the way to end it.
  watch(listener: (value: T) => void): () => void {
    this.#listeners.add(listener);
    listener(this.#value);
    return () => this.#listeners.delete(listener);
  }
}
