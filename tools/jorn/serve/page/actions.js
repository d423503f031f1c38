// SPDX-License-Identifier: Apache-2.0
// What keys and buttons do.
import { ask } from "./api.js";
import { stampOf } from "./clock.js";
import { closeDialog, copy, openCommand, openDialog, openDownload, openHelp } from "./dialogs.js";
import { byId, say } from "./dom.js";
import { ALL_TIME } from "./first.js";
import { filterOf, toQuery } from "./state.js";
import { plain } from "./text.js";

const BUTTONS = { download: "download", command: "command", link: "link", help: "help", order: "order", wrap: "wrap",
  follow: "follow", newer: "newest", connection: "pause", "zoom-out": "zoomOut", "zoom-all": "zoomAll", table: "table",
  clear: "clear", "facets-toggle": "toggleFacets" };

export class Actions {
  /** Of a page whose parts have been made. */
  constructor(page) {
    const { items, list, histogram, details, history } = page;
    Object.assign(this, { page, items, list, histogram, details, history });
    for (const [id, action] of Object.entries(BUTTONS)) {
      byId(id).addEventListener("click", () => this[action]());
    }
  }

  get state() {
    return this.history.state;
  }

  /** Selects a row above or below the selected one; the first or the last in view, where that is out of it. */
  move(rows) {
    if (!this.items.length) {
      return;
    }
    const [first, last] = this.list.inView().map((number) => this.items.rowOf(number));
    const from = this.page.selected === undefined ? -1 : this.items.rowOf(this.page.selected);
    const row = from < first || from > last ? (rows > 0 ? first : last) : from + rows;
    const number = this.items.numberAt(Math.min(Math.max(row, 0), this.items.length - 1));
    this.list.reveal(number);
    this.page.selectNumber(number, true);
  }

  down() { this.move(1); }

  up() { this.move(-1); }

  pageDown() { this.turn(1); }

  pageUp() { this.turn(-1); }

  turn(direction) {
    byId("list").scrollTop += direction * Math.max(20, byId("list").clientHeight - 40);
  }

  top() {
    if (this.items.newestFirst) {
      this.newest();
    } else if (this.items.length) {
      this.list.go(this.items.from, 0);
    }
  }

  bottom() {
    if (!this.items.newestFirst) {
      this.newest();
    } else if (this.items.length) {
      this.list.go(this.items.from, this.list.viewHeight - this.list.heightOf(this.items.from));
    }
  }

  newest() {
    if (this.items.isOpening) {
      this.page.load({}); // The place that is being asked for is another one.
      return;
    }
    this.items.show();
    this.list.stick();
    this.page.itemsChanged();
  }

  search() {
    byId("q").focus();
    byId("q").select();
  }

  open() {
    const item = this.items.get(this.page.selected);
    if (item) {
      this.history.change({ item: item.cursor, open: "1" });
    }
  }

  escape() {
    if (["q", "since", "until"].includes(document.activeElement.id)) {
      byId("grid").focus();
    } else if (this.details.open) {
      this.history.change({ open: undefined });
      byId("grid").focus();
    }
  }

  async copyItem() {
    const { item } = this.page;
    if (item) {
      const text = `${item.iso} ${item.level_name ?? item.level} ${item.slot_name ?? item.slot} ${item.text}`;
      // Terminals obey control characters that are pasted into them.
      this.copied(await copy(plain(text)), "Item");
    }
  }

  async copyRaw() {
    const cursor = this.page.item?.cursor;
    if (cursor) {
      try {
        this.copied(await copy((await ask("item", { cursor })).raw), "Raw line");
      } catch (failure) {
        this.page.failed(failure);
      }
    }
  }

  copied(done, what) {
    this.page.brief(done ? `${what} copied.` : `${what} could not be copied.`);
  }

  /** The item among its neighbours: without filters, where it is. */
  context() {
    const cursor = this.page.item?.cursor;
    if (cursor) {
      this.history.flush();
      this.page.centred = cursor;
      const { order, wrap, follow, stream } = this.state;
      const state = { order, wrap, follow, stream, at: cursor, item: cursor };
      const whole = Object.fromEntries(Object.keys(this.state).map((name) => [name, undefined]));
      this.history.change({ ...whole, ...state });
    }
  }

  follow() {
    this.history.change({ follow: this.page.following ? "0" : undefined }, false);
    if (this.page.following) {
      this.newest();
    } else {
      this.page.viewChanged();
    }
  }

  pause() {
    this.history.change({ stream: this.state.stream === "0" ? undefined : "0" }, false);
  }

  order() {
    const at = this.page.at && (this.selectedInView?.cursor ?? this.page.at);
    this.history.change({ order: this.state.order === "oldest" ? undefined : "oldest", at });
  }

  get selectedInView() {
    const { selected } = this.page;
    const ends = this.items.length ? this.list.inView() : [];
    return selected >= Math.min(...ends) && selected <= Math.max(...ends) ? this.items.get(selected) : undefined;
  }

  wrap() {
    this.history.change({ wrap: this.state.wrap ? undefined : "1" }, false);
  }

  clear() {
    const names = ["since", "until", "level", "slot", "log", "q", "case", "invert"];
    this.filter(Object.fromEntries(names.map((name) => [name, undefined])));
  }

  toggleFacets() {
    const shown = document.body.classList.toggle("all-filters");
    byId("facets-toggle").setAttribute("aria-expanded", String(shown));
  }

  /** Changes the filter. The view stays at its item, or near it, unless it is at the end where new items come. */
  filter(values, push = true) {
    this.history.change({ at: this.page.at, ...values }, push);
  }

  zoom([since, until]) {
    this.filter({ since: `@${since}`, until: `@${until}`, at: undefined });
    say(`${stampOf(since)} to ${stampOf(until)}`);
  }

  async zoomOut() {
    const { begin, end } = this.histogram;
    if (!this.state.since && !this.state.until) {
      return;
    }
    const more = Math.ceil((end - begin) / 2);
    try {
      const { first, last } = await ask("histogram", ALL_TIME);
      if (begin - more <= first && end + more > last) {
        this.zoomAll();
      } else {
        this.zoom([Math.max(0, begin - more), end - 1 + more]);
      }
    } catch (failure) {
      this.page.failed(failure);
    }
  }

  zoomAll() {
    this.filter({ since: undefined, until: undefined, at: undefined });
  }

  table() {
    if (this.histogram.answer) {
      openDialog("Items over time", this.histogram.table((...span) => {
        closeDialog();
        this.zoom(span);
      }));
    }
  }

  help() { openHelp(); }

  download() { openDownload(filterOf(this.state), this.items.length); }

  command() {
    openCommand(filterOf(this.state), (done) => this.copied(done, "Command"))
      .catch((failure) => this.page.failed(failure));
  }

  /** Copies a link that shows the same at any time: with times as they are now, and at the item in view. */
  async link() {
    try {
      const times = await ask("check-filter", filterOf(this.state));
      const state = { ...this.state, at: this.list.first?.cursor };
      for (const name of ["since", "until"]) {
        state[name] &&= `@${times[name]}`;
      }
      this.copied(await copy(`${location.origin}/?${toQuery(state)}`), "Link");
    } catch (failure) {
      this.page.failed(failure);
    }
  }
}
