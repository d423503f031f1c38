// SPDX-License-Identifier: Apache-2.0
// Keys of the page. Letters are left alone while something is typed, and so is what the browser itself has keys for.

/** Keys, how they are shown in the help, the name of the action and what it does. */
export const KEYS = [
  { keys: ["/"], shown: ["/"], action: "search", does: "Search" },
  { keys: ["j", "ArrowDown"], shown: ["j", "↓"], action: "down", does: "Next row" },
  { keys: ["k", "ArrowUp"], shown: ["k", "↑"], action: "up", does: "Row before" },
  { keys: ["PageDown", " "], shown: ["Page ↓", "Space"], action: "pageDown", does: "A page on" },
  { keys: ["PageUp"], shown: ["Page ↑"], action: "pageUp", does: "A page back" },
  { keys: ["g", "Home"], shown: ["g", "Home"], action: "top", does: "First row" },
  { keys: ["G", "End"], shown: ["G", "End"], action: "bottom", does: "Last row" },
  { keys: ["Enter"], shown: ["Enter"], action: "open", does: "Open the item" },
  { keys: ["Escape"], shown: ["Esc"], action: "escape", does: "Close, or leave a field" },
  { keys: ["c"], shown: ["c"], action: "copyItem", does: "Copy the item" },
  { keys: ["C"], shown: ["C"], action: "copyRaw", does: "Copy its line as it is in the file" },
  { keys: ["x"], shown: ["x"], action: "context", does: "Show it in context, without filters" },
  { keys: ["f"], shown: ["f"], action: "follow", does: "Follow new items, or stop following" },
  { keys: ["p"], shown: ["p"], action: "pause", does: "Pause the sending of new items, or go on" },
  { keys: ["n"], shown: ["n"], action: "newest", does: "Newest item" },
  { keys: ["o"], shown: ["o"], action: "order", does: "Newest or oldest first" },
  { keys: ["w"], shown: ["w"], action: "wrap", does: "Wrap long lines, or cut them off" },
  { keys: ["-"], shown: ["-"], action: "zoomOut", does: "Twice the span of time" },
  { keys: ["0"], shown: ["0"], action: "zoomAll", does: "All time" },
  { keys: ["l"], shown: ["l"], action: "link", does: "Copy a link to this view" },
  { keys: ["?"], shown: ["?"], action: "help", does: "Keys" },
];

// Keys that the focused element itself needs.
const OWN = { BUTTON: ["Enter", " "], A: ["Enter"], SELECT: ["ArrowDown", "ArrowUp", "Home", "End", " ", "Enter"],
  INPUT: [" ", "Enter"] };
const TYPED = ["text", "search"];

function isOwn(event) {
  const { target } = event;
  if (target.tagName === "INPUT" && TYPED.includes(target.type) && event.key !== "Escape") {
    return true;
  }
  return OWN[target.tagName]?.includes(event.key) || (target.tagName === "SELECT" && event.key.length === 1);
}

/** Listens to the keys, and calls actions by their names. */
export function listenToKeys(actions) {
  const byKey = new Map(KEYS.flatMap(({ keys, action }) => keys.map((key) => [key, action])));
  document.addEventListener("keydown", (event) => {
    const action = byKey.get(event.key);
    if (!action || event.ctrlKey || event.altKey || event.metaKey || event.defaultPrevented || isOwn(event)) {
      return;
    }
    // An open dialog has keys of its own.
    if (!document.getElementById("dialog").open) {
      event.preventDefault();
      actions[action](event);
    }
  });
}
