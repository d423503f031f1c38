// SPDX-License-Identifier: Apache-2.0
// The page: what its parts are to each other.
import { ApiError, ask, Question } from "./api.js";
import { setZone, stampOf } from "./clock.js";
import { Controls } from "./controls.js";
import { Details } from "./details.js";
import { closeDialog, copy, openCommand, openDialog, openDownload, openFindings, openHelp, prepareDialog }
  from "./dialogs.js";
import { byId, coalesced, make, say } from "./dom.js";
import { Facets } from "./facets.js";
import { Histogram } from "./histogram.js";
import { Items } from "./items.js";
import { listenToKeys } from "./keyboard.js";
import { List } from "./list.js";
import { fillRow } from "./row.js";
import { filterOf, History, isFiltered, sameFilter, toQuery } from "./state.js";
import { Stream } from "./stream.js";
import { counted, grouped, lasting } from "./text.js";

const LOG_COLOURS = 8;
const RETRY = 1000;

class Page {
  constructor() {
    this.logs = [];
    this.items = new Items({ changed: () => this.itemsChanged(), lost: () => this.relocate(),
      failed: (failure) => this.failed(failure) });
    this.list = new List(byId("grid"), byId("list"), this.items, {
      fill: (row, item) => fillRow(row, item, this), moved: () => this.viewChanged(),
      pressed: (number, event) => this.pressed(number, event) });
    this.histogram = new Histogram(byId("histogram"), { zoomed: (...span) => this.zoom(span),
      sought: (since, until) => this.load({ time: this.items.newestFirst ? until : since }) });
    this.facets = new Facets(byId("facets"), { logClass: (log) => this.logClass(log),
      chosen: (kind, values) => this.filter({ [kind]: values }) });
    this.details = new Details(byId("item"), { copy: () => this.copyItem(), copyRaw: () => this.copyRaw(),
      context: () => this.context(), close: () => this.escape() });
    this.stream = new Stream({ event: (type, data) => this.streamed(type, data),
      state: (name) => this.connected(name) });
    this.counts = { histogram: new Question("histogram"), facets: new Question("facets") };
    this.relocate = coalesced(100, () => this.load(this.here()));
    this.countsSoon = coalesced(1000, () => this.refreshCounts());
    this.logsSoon = coalesced(1000, () => this.refreshLogs());
    this.drawSoon = coalesced(0, () => this.drawItems());
    this.controls = new Controls((values, push) => this.filter(values, push));
    this.history = new History((state, before) => this.changed(state, before));
  }

  get state() {
    return this.history.state;
  }

  start() {
    prepareDialog();
    this.listen();
    this.show(this.state);
    this.refreshLogs();
    this.load(this.place());
  }

  listen() {
    const buttons = { download: "download", command: "command", link: "link", help: "help", order: "order", wrap: "wrap",
      follow: "follow", newer: "newest", connection: "pause", "zoom-out": "zoomOut", "zoom-all": "zoomAll",
      table: "table", clear: "clear", "facets-toggle": "toggleFacets" };
    for (const [id, action] of Object.entries(buttons)) {
      byId(id).addEventListener("click", () => this[action]());
    }
    listenToKeys(this);
    // Browsers open few connections to a server at a time, over all tabs; a hidden one keeps none.
    document.addEventListener("visibilitychange", () => this.tend());
    addEventListener("online", () => this.stream.hurry());
    addEventListener("pagehide", () => this.history.flush());
  }

  // --- What is shown

  /** Takes a change of the state, by people or by the way back. */
  changed(state, before) {
    this.show(state);
    if (!sameFilter(state, before)) {
      this.load(this.place());
      return;
    }
    if ((state.wrap ?? "") !== (before.wrap ?? "")) {
      this.rewrap();
    }
    if (state.at !== before.at && state.at !== this.list.first?.cursor) {
      this.load(this.place());
    }
    if (state.stream !== before.stream) {
      this.tend();
    }
    this.showItem(state);
  }

  show(state) {
    this.controls.show(state);
    byId("order").textContent = state.order === "oldest" ? "Oldest first" : "Newest first";
    byId("wrap").setAttribute("aria-pressed", String(state.wrap === "1"));
    byId("follow").setAttribute("aria-pressed", String(this.following));
    byId("clear").disabled = !isFiltered(state);
    byId("zoom-all").disabled = byId("zoom-out").disabled = !state.since && !state.until;
    ["level", "slot", "log"].forEach((kind) => this.facets.tick(kind, state));
  }

  get following() {
    return this.state.follow !== "0";
  }

  /** Where the state says that the list is. */
  place() {
    const { at, order } = this.state;
    return at ? { cursor: at } : { oldest: order === "oldest" && !this.following };
  }

  /** Where the list is now. */
  here() {
    const first = this.list.first;
    return this.list.stuck || !first ? this.place() : { cursor: first.cursor };
  }

  /** Asks for everything anew: items at a place, counts, and a stream of what comes after. */
  async load(place) {
    this.refreshCounts();
    const filter = filterOf(this.state);
    const offset = this.offsetOf(place);
    try {
      const opened = await this.items.open(filter, place);
      if (opened) {
        this.opened(place, opened, offset);
      }
    } catch (failure) {
      this.notLoaded(failure, place);
    }
  }

  /** How far below the upper edge a place gets. */
  offsetOf({ cursor }) {
    if (cursor && cursor === this.centred) {
      this.centred = undefined;
      return Math.round(this.list.viewHeight * 0.4);
    }
    return cursor && cursor === this.list.first?.cursor ? this.list.anchor.offset : 0;
  }

  opened(place, { number, position }, offset) {
    this.notice("");
    this.position = position;
    this.stream.close();
    if (number !== undefined) {
      this.list.open(number, offset, this.state.wrap === "1");
    }
    if (number === undefined || (!place.cursor && place.time === undefined && !place.oldest)) {
      this.list.stick();
    }
    this.selected = undefined;
    this.showItem(this.state);
    this.itemsChanged();
    this.viewChanged();
    this.tend();
  }

  notLoaded(failure, place) {
    if (failure.status === 410) {
      this.history.keep({ at: undefined });
      this.load(failure.near ? { cursor: failure.near } : {})
        .then(() => this.brief("That item is no longer in the log: the one nearest in time is shown."));
    } else if (failure.status === 400 && failure.parameter) {
      this.items.clear();
      this.items.filter = filterOf(this.state);
      this.list.stick();
      this.stream.close();
      this.empty(failure.message);
      this.controls.fail(failure, "q");
    } else {
      this.failed(failure);
      setTimeout(() => this.load(place), RETRY);
    }
  }

  failed(failure) {
    if (!(failure instanceof ApiError)) {
      throw failure;
    }
    this.notice(failure.status === 401
      ? "The server no longer takes this page's token: open the URL that it has printed." : failure.message);
  }

  notice(text) {
    byId("notice").textContent = text;
    byId("notice").hidden = !text;
    clearTimeout(this.noticeTimer);
  }

  /** A notice that goes by itself. */
  brief(text) {
    this.notice(text);
    this.noticeTimer = setTimeout(() => this.notice(""), 4000);
  }

  async refreshCounts() {
    const filter = filterOf(this.state);
    const ignore = (failure) => {
      // A wrong filter is told by the list; a lost connection by the stream.
      if (!(failure instanceof ApiError)) {
        throw failure;
      }
    };
    this.counts.histogram.ask({ ...this.histogramSpan(), ...filter, buckets: this.histogram.room })
      .then((answer) => answer && this.showHistogram(answer)).catch(ignore);
    this.counts.facets.ask(filter).then((answer) => answer && this.facets.show(answer, this.state)).catch(ignore);
  }

  /** Of what is filtered the histogram shows all time too, so that it stays in place while one filters. */
  histogramSpan() {
    const { oldest, newest } = this.allTime();
    return isFiltered(this.state) && Number.isFinite(oldest) ? { since: `@${oldest}`, until: `@${newest}` } : {};
  }

  showHistogram(answer) {
    this.histogram.show(answer);
    const { since, until, total, step } = answer;
    byId("summary").replaceChildren(...(total || this.state.since || this.state.until
      ? [make("span", { class: "span" }, `${stampOf(since)} to ${stampOf(until)}`),
        make("span", { class: "more" }, `${lasting(until - since + 1)}, ${counted(total, "item")}, a bar is ${lasting(step)}`)]
      : ["No items."]));
  }

  async refreshLogs() {
    try {
      const answer = await ask("logs");
      const { logs, version } = answer;
      this.takeLogs(answer);
      byId("help").title = `Keys and help (?), jorn ${version}`;
      document.title = `${logs.map(({ log }) => log).join(", ")} - jorn`;
      byId("grid").classList.toggle("several", logs.length > 1);
      byId("logs").replaceChildren(...logs.map((log) => this.badge(log)));
    } catch (failure) {
      this.failed(failure);
    }
  }

  takeLogs({ logs, timezone, now }) {
    const names = (of) => of.map(({ log }) => log).join("\n");
    const others = names(logs) !== names(this.logs);
    this.logs = logs;
    setZone(timezone, now);
    if (others) {
      // What has been shown without waiting lacks the colours of the logs and the zone.
      this.list.refill();
      this.facets.again(this.state);
      this.controls.show(this.state);
      if (isFiltered(this.state)) {
        this.refreshCounts();
      } else if (this.histogram.answer) {
        this.showHistogram(this.histogram.answer);
      }
    }
  }

  badge({ log, path, items, bytes, state, findings }) {
    const text = state === "ok" ? "sound" : findings ? counted(findings, "finding") : state;
    return make("button", { type: "button", class: `badge ${state}`, title: `${path}: ${counted(items, "item")}, ` +
      `${grouped(bytes)} bytes`, "aria-haspopup": "dialog", click: () => openFindings().catch((e) => this.failed(e)) },
    ...(this.logs.length > 1 ? [make("span", { class: `swatch ${this.logClass(log)}` })] : []),
    `${log} `, make("span", { class: "state" }, text));
  }

  logClass(name) {
    const index = this.logs.findIndex(({ log }) => log === name);
    return `log-${Math.max(index, 0) % LOG_COLOURS}`;
  }

  // --- The list

  itemsChanged() {
    if (this.list.anchor || this.items.length) {
      this.list.place();
    }
    this.showTotal();
    this.selectNumber(this.selected);
    this.viewChanged();
  }

  drawItems() {
    if (this.following && this.list.stuck) {
      this.items.show();
      this.list.place();
      this.viewChanged();
    }
    this.showTotal();
  }

  showTotal() {
    const { length, newer, newestFirst } = this.items;
    byId("total").textContent = counted(length, "item");
    const button = byId("newer");
    const text = newer ? `${counted(newer, "newer item")} ${newestFirst ? "↑" : "↓"}` : "";
    if (button.textContent !== text) {
      button.textContent = text;
      button.hidden = !newer;
      button.classList.toggle("below", !newestFirst);
    }
    byId("empty").hidden = length > 0;
    if (!length) {
      this.empty(isFiltered(this.state) ? "No item passes the filter." : "No items yet.");
    }
  }

  empty(text) {
    byId("empty").hidden = false;
    byId("empty").textContent = text;
  }

  /** After people have scrolled, or the list has moved. */
  viewChanged() {
    if (!this.items.length || !this.list.anchor) {
      return;
    }
    if (this.following && this.list.stuck && this.items.newer) {
      this.drawSoon();
    }
    const [first, last] = this.list.inView().map((number) => this.items.get(number));
    if (first && last) {
      this.histogram.view(first.time, last.time);
      this.history.keep({ at: this.list.stuck ? undefined : first.cursor });
    }
    this.items.forget(this.list.anchor.number);
  }

  rewrap() {
    const { stuck, anchor } = this.list;
    if (anchor && this.items.length) {
      this.list.open(anchor.number, Math.min(0, anchor.offset), this.state.wrap === "1");
      if (stuck) {
        this.list.stick();
      }
    }
  }

  // --- The selected item

  pressed(number, event) {
    byId("grid").focus({ preventScroll: true });
    if (String(getSelection())) {
      return;
    }
    this.selectNumber(number, true);
    // A second press opens; on narrow pages, which are pressed by thumbs, the first one does.
    if (event.type === "dblclick" || matchMedia("(max-width: 600px)").matches) {
      this.open();
    }
  }

  /** Selects a number. `told` keeps it in the URL, and opens it where an item is open. */
  selectNumber(number, told = false) {
    this.list.made.get(this.selected)?.removeAttribute("aria-selected");
    this.selected = number;
    const row = this.list.made.get(number);
    row?.setAttribute("aria-selected", "true");
    if (row) {
      byId("grid").setAttribute("aria-activedescendant", row.id);
    } else {
      byId("grid").removeAttribute("aria-activedescendant");
    }
    const item = this.items.get(number);
    if (told && item) {
      this.history.keep({ item: item.cursor });
      if (this.details.open) {
        this.details.show(item.cursor);
      }
    }
  }

  /** Shows which item a state has selected, and whether it is opened. */
  showItem(state) {
    if (state.item) {
      this.selectNumber(this.items.numberOf(state.item));
    }
    if (state.item && state.open) {
      this.details.show(state.item);
    } else {
      this.details.close();
    }
  }

  get item() {
    return this.items.get(this.selected) ?? this.details.item;
  }

  move(rows) {
    if (!this.items.length) {
      return;
    }
    const [first, last] = this.list.inView().map((number) => this.items.rowOf(number));
    const from = this.selected === undefined ? -1 : this.items.rowOf(this.selected);
    const row = from < first || from > last ? (rows > 0 ? first : last) : from + rows;
    const number = this.items.numberAt(Math.min(Math.max(row, 0), this.items.length - 1));
    this.list.reveal(number);
    this.selectNumber(number, true);
  }

  // --- Actions, by keys and buttons

  down() { this.move(1); }

  up() { this.move(-1); }

  pageDown() { this.page(1); }

  pageUp() { this.page(-1); }

  page(direction) {
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
    this.items.show();
    this.list.stick();
    this.itemsChanged();
  }

  search() {
    byId("q").focus();
    byId("q").select();
  }

  open() {
    const item = this.items.get(this.selected);
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
    const { item } = this;
    if (item) {
      const text = `${item.iso} ${item.level_name ?? item.level} ${item.slot_name ?? item.slot} ${item.text}`;
      this.copied(await copy(text), "Item");
    }
  }

  async copyRaw() {
    const cursor = this.item?.cursor;
    if (cursor) {
      try {
        this.copied(await copy((await ask("item", { cursor })).raw), "Raw line");
      } catch (failure) {
        this.failed(failure);
      }
    }
  }

  copied(done, what) {
    this.brief(done ? `${what} copied.` : `${what} could not be copied.`);
  }

  /** The item among its neighbours: without filters, where it is. */
  context() {
    const cursor = this.item?.cursor;
    if (cursor) {
      this.history.flush();
      this.centred = cursor;
      const { order, wrap, follow, stream } = this.state;
      const state = { order, wrap, follow, stream, at: cursor, item: cursor };
      const whole = Object.fromEntries(Object.keys(this.state).map((name) => [name, undefined]));
      this.history.change({ ...whole, ...state });
    }
  }

  follow() {
    this.history.change({ follow: this.following ? "0" : undefined }, false);
    if (this.following) {
      this.newest();
    }
  }

  pause() {
    this.history.change({ stream: this.state.stream === "0" ? undefined : "0" }, false);
  }

  order() {
    const selected = this.item?.cursor;
    this.history.change({ order: this.state.order === "oldest" ? undefined : "oldest",
      at: this.list.stuck ? undefined : selected ?? this.list.first?.cursor });
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
    this.history.change({ at: this.list.stuck ? undefined : this.list.first?.cursor, ...values }, push);
  }

  zoom([since, until]) {
    this.filter({ since: `@${since}`, until: `@${until}`, at: undefined });
    say(`${stampOf(since)} to ${stampOf(until)}`);
  }

  /** First and last second of all logs, whatever is filtered. */
  allTime() {
    const times = (name) => this.logs.map((log) => log[name]).filter((time) => time !== null);
    return { oldest: Math.min(...times("oldest")), newest: Math.max(this.latest ?? 0, ...times("newest")) };
  }

  zoomOut() {
    const { begin, end } = this.histogram;
    if (!this.state.since && !this.state.until) {
      return;
    }
    const more = Math.ceil((end - begin) / 2);
    const { oldest, newest } = this.allTime();
    if (begin - more <= oldest && end + more > newest) {
      this.zoomAll();
    } else {
      this.zoom([Math.max(0, begin - more), end - 1 + more]);
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
    openCommand(filterOf(this.state), (done) => this.copied(done, "Command")).catch((failure) => this.failed(failure));
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
      this.failed(failure);
    }
  }

  // --- What comes

  get streaming() {
    return this.state.stream !== "0" && !document.hidden;
  }

  /** Opens the stream or closes it, as is wanted. */
  tend() {
    if (!this.streaming) {
      this.position = this.stream.closing ? this.stream.position : this.position;
      this.stream.close();
      this.connected("paused");
    } else if (!this.stream.closing && this.position !== undefined) {
      this.stream.open(this.items.filter, this.position);
    }
  }

  streamed(type, data) {
    if (type === "items") {
      this.items.append(data.items);
      this.latest = Math.max(this.latest ?? 0, ...data.items.map(({ time }) => time));
      this.drawSoon();
      this.countsSoon();
    } else if (type === "change") {
      if (data.items_lost) {
        this.items.refresh();
        this.countsSoon();
      }
      this.logsSoon();
    } else if (type === "gone") {
      this.relocate();
    }
  }

  connected(name) {
    const texts = { live: "Live", paused: "Paused", broken: "Connection lost, trying again", refused: "Signed out" };
    const button = byId("connection");
    const before = button.dataset.state;
    button.dataset.state = name;
    button.textContent = texts[name];
    if (name === "live" && before === "broken") {
      this.notice("");
      this.refreshCounts();
      this.refreshLogs();
      this.itemsChanged();
    } else if (name === "refused") {
      this.failed(new ApiError(401, {}));
    }
  }
}

new Page().start();
