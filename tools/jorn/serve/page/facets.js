// SPDX-License-Identifier: Apache-2.0
// Levels, slots and logs with their numbers of items. What is ticked is shown; where nothing is, everything.
import { make } from "./dom.js";
import { chosenOf } from "./state.js";
import { grouped, levelClass, levelName } from "./text.js";

const KINDS = [["level", "levels", "Levels"], ["slot", "slots", "Slots"], ["log", "logs", "Logs"]];

const choiceOf = (kind, value) => ({ key: String(value[kind]), name: value.name });

export class Facets {
  /** Calls `chosen(kind, value)` with the value that the filter gets. `logClass` is the class of a log's colour. */
  constructor(place, { chosen, logClass }) {
    this.chosen = chosen;
    this.logClass = logClass;
    this.parts = Object.fromEntries(KINDS.map(([kind, , title]) => [kind, this.part(place, kind, title)]));
  }

  part(place, kind, title) {
    const rows = make("div", { class: "choices" });
    const set = make("fieldset", { class: "facet", "data-facet": kind }, make("legend", {}, title), rows);
    place.append(set);
    return { set, rows, boxes: new Map() };
  }

  /** Shows an answer of /api/facets, for a state. */
  show(answer, state) {
    this.answer = answer;
    for (const [kind, members] of KINDS) {
      const part = this.parts[kind];
      const ticked = this.tick(kind, state);
      // Of numbers without a name, those that nobody uses are left out.
      const values = answer[members].filter((value) => value.items || value.name || kind === "log" ||
        ticked.has(String(value[kind])));
      part.set.hidden = kind === "log" && values.length < 2;
      const keys = new Set(values.map((value) => String(value[kind])));
      part.boxes.forEach((box, key) => keys.has(key) || this.remove(part, key));
      values.forEach((value, i) => this.row(part, kind, value, i));
      this.tick(kind, state);
    }
  }

  /** Ticks what a state holds. Returns the keys of that, also of what has no box. */
  tick(kind, state) {
    const members = this.answer?.[KINDS.find(([name]) => name === kind)[1]] ?? [];
    const ticked = new Set(chosenOf(state[kind], members.map((value) => choiceOf(kind, value))).map(({ key }) => key));
    this.parts[kind].boxes.forEach(({ box }, key) => { box.checked = ticked.has(key); });
    return ticked;
  }

  /** Makes all rows anew: colours of logs may be others. */
  again(state) {
    Object.values(this.parts).forEach((part) => part.boxes.forEach((_, key) => this.remove(part, key)));
    if (this.answer) {
      this.show(this.answer, state);
    }
  }

  remove(part, key) {
    part.boxes.get(key).row.remove();
    part.boxes.delete(key);
  }

  // Rows stay while their numbers change, so that the focus does.
  row(part, kind, value, i) {
    const key = String(value[kind]);
    const made = part.boxes.get(key) ?? this.make(part, kind, key, value);
    made.count.textContent = grouped(value.items);
    made.row.classList.toggle("none", value.items === 0);
    if (part.rows.children[i] !== made.row) {
      part.rows.insertBefore(made.row, part.rows.children[i] ?? null);
    }
  }

  make(part, kind, key, value) {
    // Numbers that no log should have are counted, and cannot be asked for.
    const box = make("input", { type: "checkbox", disabled: value[kind] === null, change: () => this.changed(kind) });
    const count = make("span", { class: "count" });
    const text = kind === "level" ? levelName(value.level, value.name) : value.name || key;
    const row = make("label", {}, box, make("span", { class: "name" }, text), count);
    if (kind !== "slot") {
      box.after(make("span", { class: `swatch ${kind === "level" ? levelClass(value.level) : this.logClass(key)}` }));
    }
    const made = { row, box, count };
    part.boxes.set(key, made);
    return made;
  }

  changed(kind) {
    const ticked = [...this.parts[kind].boxes].filter(([, { box }]) => box.checked).map(([key]) => key);
    this.chosen(kind, kind === "log" ? ticked : ticked.join(","));
  }
}
