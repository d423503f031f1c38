// SPDX-License-Identifier: Apache-2.0
// A row of the list.
import { make } from "./dom.js";
import { levelClass, levelName, visible } from "./text.js";

const cell = (name, ...content) => make("div", { role: "gridcell", class: name }, ...content);

/** Makes the cells of an item; without one, as high as with one. */
export function fillRow(row, item, page) {
  row.className = "row";
  if (!item) {
    row.classList.add("awaited");
    row.replaceChildren(...["when", "level", "slot", "log"].map((name) => cell(name)), cell("text", "…"));
    return;
  }
  const log = page.logClass(item.log);
  row.classList.add(levelClass(item.level), log);
  if (page.selected === row.number) {
    row.setAttribute("aria-selected", "true");
  }
  row.replaceChildren(
    cell("when", make("span", { class: "date" }, `${item.iso.slice(0, 10)} `), item.iso.slice(11, 19)),
    cell("level", make("span", { class: `tag ${levelClass(item.level)}` }, levelName(item.level, item.level_name))),
    cell("slot", item.slot_name ?? String(item.slot)),
    cell("log", item.log),
    cell("text", visible(item.text, item.marks)));
}
