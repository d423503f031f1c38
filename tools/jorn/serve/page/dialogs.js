// SPDX-License-Identifier: Apache-2.0
// What opens over the page: help, findings, download, the command, the table of the histogram.
import { ask, pathOf } from "./api.js";
import { byId, make } from "./dom.js";
import { counted, visible } from "./text.js";
import { KEYS } from "./keyboard.js";

const dialog = () => byId("dialog");

/** Opens the dialog with a title and content; where it was, the focus returns to when it is closed. */
export function openDialog(title, ...content) {
  byId("dialog-title").textContent = title;
  byId("dialog-body").replaceChildren(...content);
  if (!dialog().open) {
    dialog().showModal();
  }
}

export const closeDialog = () => dialog().close();

export function prepareDialog() {
  byId("dialog-close").addEventListener("click", closeDialog);
  dialog().addEventListener("click", (event) => event.target === dialog() && closeDialog());
}

/** Copies a text. Says whether that could be done. */
export async function copy(text) {
  try {
    await navigator.clipboard.writeText(text);
    return true;
  } catch {
    return copyBySelection(text);
  }
}

// Pages that do not come from this machine nor by TLS have no clipboard of their own.
function copyBySelection(text) {
  const area = make("textarea", { class: "spoken", "aria-hidden": "true" });
  const focused = document.activeElement;
  area.value = text;
  (dialog().open ? dialog() : document.body).append(area);
  area.select();
  const done = document.execCommand("copy");
  area.remove();
  focused?.focus();
  return done;
}

export function openHelp() {
  const rows = KEYS.map(({ shown, does }) => make("tr", {}, make("th", { scope: "row" },
    ...shown.flatMap((key) => [make("kbd", {}, key), " "])), make("td", {}, does)));
  openDialog("Keyboard shortcuts", make("table", { class: "keys" }, make("tbody", {}, ...rows)),
    make("p", {}, "In the list, double-click a row to open its item. In the histogram, drag to zoom, or click a bar " +
      "to go to its time in the list. Since and Until accept every form of time that the tool accepts: 2026-11-21, " +
      "yesterday 10:00, -2h, @1795000000."),
    make("p", {}, "The URL of the page always shows the same view. Relative times in it, such as -2h, move with the " +
      "clock; Link copies a URL in which they are fixed."));
}

const STATES = {
  ok: "No problems found. The log is as its recorder left it.",
  checking: "The log is still being checked.",
  missing: "The directory is not there.",
};

/** What the check of each log finds. */
export async function openFindings() {
  const { logs } = await ask("findings");
  openDialog("State of the logs", ...logs.map(({ log, state, failure, findings }) => make("section", {},
    make("h3", {}, log),
    findings.length ? make("ul", { class: "findings" }, ...findings.map(finding))
      : make("p", {}, failure ?? STATES[state] ?? state))));
}

function finding({ severity, file, offset, what, advice }) {
  const place = [file, offset === undefined ? "" : `byte ${offset}`].filter(Boolean).join(", ");
  return make("li", { class: severity }, make("strong", {}, severity), ` ${place}: `, visible(what ?? ""),
    ...(advice ? [make("p", { class: "advice" }, visible(advice))] : []));
}

export function openDownload(filter, total) {
  const { order, ...chosen } = filter;
  const link = (format, text) => make("a", { href: pathOf("download", { ...chosen, format }), download: "" }, text);
  openDialog("Download", make("p", {}, `${counted(total, "item")}, oldest first.`),
    make("p", { class: "choice" }, link("jsonl", "JSON Lines"), link("csv", "CSV")));
}

export async function openCommand(filter, copied) {
  const { command } = await ask("command", filter);
  openDialog("The same items on the command line", make("pre", { id: "command-text", tabindex: "0" }, command),
    make("button", { type: "button", click: async () => copied(await copy(command)) }, "Copy"));
}
