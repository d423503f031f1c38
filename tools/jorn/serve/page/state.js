// SPDX-License-Identifier: Apache-2.0
// What is shown, as the URL holds it: a reload, the way back and a kept link show the same.

// The filter has the names of the API; a value that is not there is the default.
const FILTER = ["since", "until", "level", "slot", "log", "q", "case", "invert", "order"];
// How it is looked at: wrap=1, follow=0, stream=0 (paused), `at` the cursor of the first item in view, `item` the
// cursor of the selected one, open=1 when it is opened.
const VIEW = ["wrap", "follow", "stream", "at", "item", "open"];

// Literal text that begins with \Q and does not end goes on to the end of the whole.
const OPEN_LITERAL = /(?<!\\)(?:\\\\)*\\Q(?!.*\\E)/s;

/** An expression as one of several. */
const grouped = (expression) => (/[\\^$.?*+()[\]{}]/.test(expression)
  ? `(?:${expression}${OPEN_LITERAL.test(expression) ? "\\E" : ""})` : expression);

// How several values of a name become one. A log's name may have commas, so those stay a list.
const JOINED = {
  level: (values) => values.join(","),
  slot: (values) => values.join(","),
  log: (values) => values,
  q: (values) => (values.length > 1 ? values.map(grouped).join("|") : values[0]),
};

/** The state that a query of the URL holds. What it does not know is left out, the token of the first visit too. */
export function fromQuery(query) {
  const state = {};
  const given = new URLSearchParams(query);
  for (const name of [...FILTER, ...VIEW]) {
    const values = given.getAll(name).filter(Boolean);
    if (values.length) {
      state[name] = JOINED[name] ? JOINED[name](values) : values[0];
    }
  }
  return state;
}

/** The query that holds values, each member of a list on its own; values that are undefined or empty are left out. */
export function queryOf(values) {
  const query = new URLSearchParams();
  for (const [name, value] of Object.entries(values)) {
    [value ?? []].flat().filter((one) => one !== "").forEach((one) => query.append(name, one));
  }
  return String(query);
}

/** The query that holds a state. */
export const toQuery = (state) => queryOf(Object.fromEntries([...FILTER, ...VIEW].map((name) => [name, state[name]])));

/** The part of a state that chooses items and their order. */
export const filterOf = (state) => Object.fromEntries(FILTER.filter((name) => isGiven(state[name]))
  .map((name) => [name, state[name]]));

const isGiven = (value) => Boolean(value?.length);

export const sameFilter = (one, other) => queryOf(filterOf(one)) === queryOf(filterOf(other));

/** Whether the list follows what comes. */
export const isFollowing = (state) => state.follow !== "0";

/** Where a state says that the list is. */
export const placeOf = (state) => (state.at ? { cursor: state.at }
  : { oldest: state.order === "oldest" && !isFollowing(state) });

/** Whether anything is filtered out. */
export const isFiltered = (state) =>
  FILTER.some((name) => !["order", "case", "invert"].includes(name) && isGiven(state[name]));

/**
 * Which of the choices a value of the filter means, each { key, name }: "0,2", "error", levels also "0..2" and "..2",
 * logs a list whose members are a name or, in links, several with commas between.
 */
export function chosenOf(value, choices) {
  const find = (word) => choices.find(({ key, name }) => key === word || name === word);
  const words = [value ?? []].flat().flatMap((one) => (find(one) ? [one] : one.split(",")));
  const [first, last] = words.length === 1 && words[0].includes("..") ? words[0].split("..") : [];
  if (last === undefined) {
    return words.map(find).filter(Boolean);
  }
  const ends = [first ? find(first) : choices[0], find(last)].map((choice) => choices.indexOf(choice));
  return ends.includes(-1) ? [] : choices.slice(Math.min(...ends), Math.max(...ends) + 1);
}

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
    if (Object.entries(values).some(([name, value]) => this.state[name] !== value)) {
      Object.assign(this.state, values);
      this.timer ||= setTimeout(() => this.flush(), 200);
    }
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
