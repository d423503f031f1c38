// SPDX-License-Identifier: Apache-2.0
// What is shown, as the URL holds it: a reload, the way back and a kept link show the same.

// The filter has the names of the API; a value that is not there is the default.
const FILTER = ["since", "until", "level", "slot", "log", "q", "case", "invert", "order"];
// How it is looked at: wrap=1, follow=0, stream=0 (paused), `at` the cursor of the first item in view, `item` the
// cursor of the selected one, open=1 when it is opened.
const VIEW = ["wrap", "follow", "stream", "at", "item", "open"];

/** The state that a query of the URL holds. What it does not know is left out, the token of the first visit too. */
export function fromQuery(query) {
  const state = {};
  const given = new URLSearchParams(query);
  for (const name of [...FILTER, ...VIEW]) {
    if (given.get(name)) {
      state[name] = given.get(name);
    }
  }
  return state;
}

/** The query that holds a state; values that are undefined or empty are left out. */
export function toQuery(state) {
  const query = new URLSearchParams();
  for (const name of [...FILTER, ...VIEW]) {
    if (state[name]) {
      query.set(name, state[name]);
    }
  }
  return String(query);
}

/** The part of a state that chooses items and their order. */
export const filterOf = (state) => Object.fromEntries(FILTER.filter((name) => state[name])
  .map((name) => [name, state[name]]));

export const sameFilter = (one, other) => FILTER.every((name) => (one[name] ?? "") === (other[name] ?? ""));

/** Whether anything is filtered out. */
export const isFiltered = (state) => FILTER.some((name) => !["order", "case", "invert"].includes(name) && state[name]);

/** Members of a list such as "0,2". */
export const listOf = (value) => (value ? value.split(",") : []);

/** The state, kept in the URL. Listeners get the new state and the one before. */
export class History {
  constructor(changed) {
    this.changed = changed;
    this.state = fromQuery(location.search);
    // The first visit may have come with a token.
    this.write("replaceState");
    addEventListener("popstate", () => this.take(fromQuery(location.search)));
  }

  /** Changes some values. With `push`, the way back leads to what was before. */
  change(values, push = true) {
    const before = toQuery(this.state);
    const state = { ...this.state, ...values };
    if (toQuery(state) === before) {
      return;
    }
    this.flush();
    this.take(state, push ? "pushState" : "replaceState");
  }

  take(state, write) {
    clearTimeout(this.timer);
    this.timer = 0;
    const before = this.state;
    this.state = state;
    if (write) {
      this.write(write);
    }
    this.changed(state, before);
  }

  /** Keeps where the view is. Nobody is told, and the URL follows a little later: browsers bound such changes. */
  keep(values) {
    Object.assign(this.state, values);
    this.timer ||= setTimeout(() => this.flush(), 200);
  }

  flush() {
    if (this.timer) {
      clearTimeout(this.timer);
      this.timer = 0;
      this.write("replaceState");
    }
  }

  write(how) {
    const query = toQuery(this.state);
    history[how](null, "", query ? `?${query}` : location.pathname);
  }
}
