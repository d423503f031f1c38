// SPDX-License-Identifier: Apache-2.0
// Keys of the page. Letters are left alone while something is typed, and so is what the browser itself has keys for.

/** Keys, how they are shown in the help, the name of the action and what it does. */
export const KEYS = [
  { keys: ["/"], shown: ["/"], action: "search", does: "Search" },
  { keys: ["j", "ArrowDown"], shown: ["j", "↓"], action: "down", does: "Next row" },
  { keys: ["k", "ArrowUp"], shown: ["k", "↑"], action: "up", does: "Previous row" },
  { keys: ["PageDown", " "], shown: ["Page ↓", "Space"], action: "pageDown", does: "Next page" },
  { keys: ["PageUp"], shown: ["Page ↑"], action: "pageUp", does: "Previous page" },
  { keys: ["g", "Home"], shown: ["g", "Home"], action: "top", does: "First row" },
  { keys: ["G", "End"], shown: ["G", "End"], action: "bottom", does: "Last row" },
  { keys: ["Enter"], shown: ["Enter"], action: "open", does: "Open the item" },
  { keys: ["Escape"], shown: ["Esc"], action: "escape", does: "Close the item, or leave a field" },
  { keys: ["c"], shown: ["c"], action: "copyItem", does: "Copy the item" },
  { keys: ["C"], shown: ["C"], action: "copyRaw", does: "Copy the raw line" },
  { keys: ["x"], shown: ["x"], action: "context", does: "Show the item in context, without filters" },
  { keys: ["f"], shown: ["f"], action: "follow", does: "Follow new items, or stop following" },
  { keys: ["p"], shown: ["p"], action: "pause", does: "Pause or resume live updates" },
  { keys: ["n"], shown: ["n"], action: "newest", does: "Go to the newest item" },
  { keys: ["o"], shown: ["o"], action: "order", does: "Reverse the order" },
  { keys: ["w"], shown: ["w"], action: "wrap", does: "Wrap or cut off long lines" },
  { keys: ["-"], shown: ["-"], action: "zoomOut", does: "Double the time range" },
  { keys: ["0"], shown: ["0"], action: "zoomAll", does: "Show all time" },
  { keys: ["l"], shown: ["l"], action: "link", does: "Copy a link to this view" },
  { keys: ["?"], shown: ["?"], action: "help", does: "Show these shortcuts" },
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
