// SPDX-License-Identifier: Apache-2.0
// One item, opened: its line as it is in the file, and where that is.
import { ApiError, Question } from "./api.js";
import { make } from "./dom.js";
import { grouped, levelName, visible } from "./text.js";

export class Details {
  /** `actions`: functions copy, copyRaw, context and close. */
  constructor(place, actions) {
    this.place = place;
    this.actions = actions;
    this.question = new Question("item");
  }

  get open() {
    return !this.place.hidden;
  }

  close() {
    this.question.cancel();
    this.place.hidden = true;
    this.cursor = undefined;
    this.item = null;
  }

  async show(cursor) {
    if (this.cursor === cursor) {
      return;
    }
    this.cursor = cursor;
    this.place.hidden = false;
    this.item = null;
    try {
      const item = await this.question.ask({ cursor });
      if (item) {
        this.item = item;
        this.fill(this.facts(item));
      }
    } catch (failure) {
      if (!(failure instanceof ApiError)) {
        throw failure;
      }
      this.fill(make("p", {}, failure.message));
      if (failure.status === 0) {
        this.cursor = undefined;
      }
    }
  }

  facts(item) {
    const facts = [
      ["Text", visible(item.text), "mono"],
      ["Time", `${item.iso} (${item.time})`],
      ["Level", `${item.level} ${levelName(item.level, item.level_name)}`],
      ["Slot", `${item.slot} ${item.slot_name ?? ""}`],
      ["Log", item.log],
      ["File", item.path ?? item.file],
      ["Offset", `${item.file}, byte ${grouped(item.offset)}`],
      ["Raw line", visible(item.raw), "mono"],
    ];
    return make("dl", {}, ...facts.flatMap(([name, value, style = ""]) =>
      [make("dt", {}, name), make("dd", { class: style }, value)]));
  }

  fill(content) {
    const action = (text, key, name) => make("button", { type: "button", title: `${text} (${key})`,
      click: this.actions[name] }, text);
    this.place.replaceChildren(make("div", { class: "line" }, make("h2", {}, "Item"),
      action("Copy", "c", "copy"), action("Copy raw line", "C", "copyRaw"),
      action("Show in context", "x", "context"), action("Close", "Esc", "close")), content);
  }
}
