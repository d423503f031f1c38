// SPDX-License-Identifier: Apache-2.0
// Elements of the page. Texts only ever become text nodes: nothing here takes markup.

/** The element of the page with this id. */
export const byId = (id) => document.getElementById(id);

/** Makes an element. Functions among the attributes listen to the event of that name; false leaves one out. */
export function make(tag, attributes = {}, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (typeof value === "function") {
      made.addEventListener(name, value);
    } else if (value !== false && value !== undefined) {
      made.setAttribute(name, value === true ? "" : value);
    }
  }
  made.append(...children);
  return made;
}

/** Calls a function once for all calls within a time, that long after the first of them. */
export function coalesced(milliseconds, work) {
  let timer = 0;
  return () => {
    timer ||= setTimeout(() => {
      timer = 0;
      work();
    }, milliseconds);
  };
}

/** Calls a function when no further call has come for a time. `cancel` forgets the call, `flush` makes it now. */
export function settled(milliseconds, work) {
  let timer = 0;
  const later = () => {
    clearTimeout(timer);
    timer = setTimeout(later.flush, milliseconds);
  };
  later.cancel = () => {
    clearTimeout(timer);
    timer = 0;
  };
  later.flush = () => {
    if (timer) {
      later.cancel();
      work();
    }
  };
  return later;
}

/** Says something to those who hear the page instead of seeing it. */
export function say(text) {
  byId("spoken").textContent = text;
}
