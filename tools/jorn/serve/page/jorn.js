// SPDX-License-Identifier: Apache-2.0
// The page: what its parts are to each other.
import { Actions } from "./actions.js";
import { ApiError, ask, Question } from "./api.js";
import { setZone, stampOf } from "./clock.js";
import { Controls } from "./controls.js";
import { Details } from "./details.js";
import { openFindings, prepareDialog } from "./dialogs.js";
import { byId, coalesced, make } from "./dom.js";
import { Facets } from "./facets.js";
import { Histogram } from "./histogram.js";
import { Items } from "./items.js";
import { listenToKeys } from "./keyboard.js";
import { List } from "./list.js";
import { ALL_TIME, countingOf, showsAllTime } from "./first.js";
import { fillRow } from "./row.js";
import { filterOf, History, isFiltered, isFollowing, placeOf, sameFilter } from "./state.js";
import { Stream } from "./stream.js";
import { counted, lasting, sized } from "./text.js";

const LOG_COLOURS = 8;
const RETRY = 1000;
const BRINGING = 2000;
// The server sends as many items at a time while there are more.
const MOST_IN_EVENT = 200;
const MOST_BACKLOG = 1000;

class Page {
  constructor() {
    this.logs = [];
    this.items = new Items({ changing: () => this.list.scrolled(), changed: () => this.itemsChanged(),
      lost: () => this.relocate(), failed: (failure) => this.failed(failure), recovered: () => this.notice(""),
      merged: () => this.logs.length !== 1 });
    this.list = new List(byId("grid"), byId("list"), this.items, {
      fill: (row, item) => fillRow(row, item, this), moved: () => this.viewChanged(),
      pressed: (number, event) => this.pressed(number, event) });
    this.histogram = new Histogram(byId("histogram"), { zoomed: (...span) => this.actions.zoom(span),
      sought: (since, until) => this.load({ time: this.items.newestFirst ? until : since }) });
    this.facets = new Facets(byId("facets"), { logClass: (log) => this.logClass(log),
      chosen: (kind, values) => this.actions.filter({ [kind]: values }) });
    this.details = new Details(byId("item"), { copy: () => this.actions.copyItem(),
      copyRaw: () => this.actions.copyRaw(), context: () => this.actions.context(),
      close: () => this.actions.escape() });
    this.stream = new Stream({ event: (type, data) => this.streamed(type, data),
      state: (name, detail) => this.connected(name, detail) });
    this.counts = { histogram: new Question("histogram"), facets: new Question("facets") };
    this.relocate = coalesced(100, () => this.load(this.here()));
    this.countsSoon = coalesced(1000, () => this.refreshCounts());
    this.logsSoon = coalesced(1000, () => this.refreshLogs());
    this.checkAgain = coalesced(BRINGING, () => this.checkStream());
    this.drawSoon = coalesced(0, () => this.drawItems());
    this.controls = new Controls((values, push) => this.actions.filter(values, push));
    this.history = new History((state, before) => this.changed(state, before));
    this.actions = new Actions(this);
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
    listenToKeys(this.actions);
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
    return isFollowing(this.state);
  }

  place() {
    return placeOf(this.state);
  }

  /** Whether the list stays at the newest item when others come. */
  get isAtNewest() {
    return this.following && this.list.stuck;
  }

  /**
   * The cursor of the first item in view, or of what was that while it has not arrived; undefined where the place is
   * the end at which new items come.
   */
  get at() {
    return this.isAtNewest ? undefined : this.list.first?.cursor ?? this.state.at;
  }

  /** Where the list is now. */
  here() {
    return this.at ? { cursor: this.at } : this.place();
  }

  /** Asks for everything anew: items at a place, counts, and a stream of what comes after. */
  async load(place) {
    clearTimeout(this.retryTimer);
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
    this.isFresh = true;
    this.backlog = undefined;
    this.stream.close();
    this.list.open(number, offset, this.state.wrap === "1");
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
        .then(() => this.brief("That item is no longer in the log. Showing the one closest in time."));
    } else if (failure.status === 400 && failure.parameter === "cursor") {
      // A link that was cut off, for instance.
      this.history.keep({ at: undefined });
      this.load(this.place()).then(() => this.brief("The link names no item. Showing the end of the list."));
    } else if (failure.status === 400 && failure.parameter) {
      this.items.clear();
      this.items.filter = filterOf(this.state);
      this.list.stick();
      this.stream.close();
      this.showTotal();
      byId("total").textContent = "";
      this.empty(failure.message);
      this.controls.fail(failure, "q");
    } else {
      this.failed(failure);
      this.retryTimer = setTimeout(() => this.load(place), RETRY);
    }
  }

  failed(failure) {
    if (!(failure instanceof ApiError)) {
      throw failure;
    }
    this.notice(failure.status === 401
      ? "The server no longer accepts this page's token. Open the URL that it printed." : failure.message);
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
    this.countOverTime(filter).then((answer) => answer && this.showHistogram(answer)).catch(ignore);
    this.counts.facets.ask(filter).then((answer) => answer && this.facets.show(answer, this.state)).catch(ignore);
  }

  /** The answer of /api/histogram, or null when another question has taken its place. */
  async countOverTime(filter) {
    const question = this.counts.histogram;
    if (!showsAllTime(this.state)) {
      return question.ask(countingOf(filter));
    }
    // What /api/logs gives are the ends of the rings: where a clock was set back, those are not the ends of all time.
    const all = await question.ask(ALL_TIME);
    return all && question.ask({ ...(all.total ? { since: `@${all.first}`, until: `@${all.last}` } : {}),
      ...countingOf(filter) });
  }

  showHistogram(answer) {
    this.histogram.show(answer);
    const { since, until, total, step } = answer;
    byId("summary").replaceChildren(...(total || this.state.since || this.state.until
      ? [make("span", { class: "span" }, `${stampOf(since)} to ${stampOf(until)}`),
        make("span", { class: "more" },
          `${lasting(until - since + 1)}, ${counted(total, "item")}, ${lasting(step)} per bar`)]
      : ["No items."]));
  }

  async refreshLogs() {
    try {
      const answer = await ask("logs");
      const { logs, version } = answer;
      this.takeLogs(answer);
      byId("help").title = `Keyboard shortcuts and help (?), jorn ${version}`;
      document.title = `${logs.map(({ log }) => log).join(", ")} - jorn`;
      byId("grid").classList.toggle("several", logs.length > 1);
      this.showBadges();
      if (logs.some(({ state }) => state === "checking") && !this.stream.closing) {
        this.logsSoon(); // No stream tells when the check has ended.
      }
    } catch (failure) {
      this.failed(failure);
    }
  }

  takeLogs({ logs, timezone, now }) {
    const names = (of) => of.map(({ log }) => log).join("\n");
    const others = names(logs) !== names(this.logs);
    const isOtherServer = others && this.logs.length > 0;
    this.logs = logs;
    const isOtherZone = setZone(timezone, now);
    if (isOtherServer) {
      this.relocate();
    }
    if (isOtherZone || isOtherServer || (others && logs.length > 1)) {
      // What has been shown without waiting lacks the colours of the logs and the zone.
      this.list.refill();
      this.facets.again(this.state);
      this.controls.show(this.state);
      if (this.histogram.answer) {
        this.showHistogram(this.histogram.answer);
      }
    }
  }

  // The buttons stay while what they show changes, so that the focus does.
  showBadges() {
    const place = byId("logs");
    if (place.children.length !== this.logs.length) {
      place.replaceChildren(...this.logs.map(() => make("button", { type: "button", "aria-haspopup": "dialog",
        click: () => openFindings().catch((failure) => this.failed(failure)) })));
    }
    this.logs.forEach((log, i) => this.showBadge(place.children[i], log));
  }

  showBadge(badge, { log, path, items, bytes, state, findings }) {
    const text = state === "ok" ? "OK" : findings ? counted(findings, "finding") : state;
    badge.title = `${path}: ${counted(items, "item")}, ${sized(bytes)}`;
    if (badge.textContent !== `${log} ${text}`) {
      badge.className = `badge ${state}`;
      badge.replaceChildren(...(this.logs.length > 1 ? [make("span", { class: `swatch ${this.logClass(log)}` })] : []),
        `${log} `, make("span", { class: "state" }, text));
    }
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

  /** After new items have come. */
  drawItems() {
    // Who has scrolled in this very moment is not brought back.
    this.list.scrolled();
    if (this.isAtNewest) {
      this.items.show();
      this.list.place();
      this.viewChanged();
    } else if (this.list.anchor) {
      this.items.forget(this.list.anchor.number);
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
      this.empty(isFiltered(this.state) ? "No items match the filter." : "No items yet.");
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
    if (this.isAtNewest && this.items.newer) {
      this.drawSoon();
    }
    const [first, last] = this.list.inView().map((number) => this.items.get(number));
    if (first && last) {
      this.histogram.view(first.time, last.time);
      this.history.keep({ at: this.at });
    }
    this.items.forget(this.list.anchor.number);
  }

  rewrap() {
    const { stuck, anchor } = this.list;
    const { number, offset } = (this.items.length && anchor) || { offset: 0 };
    this.list.open(number, Math.min(0, offset), this.state.wrap === "1");
    if (stuck) {
      this.list.stick();
    }
  }

  // --- The selected item

  pressed(number, event) {
    byId("grid").focus({ preventScroll: true });
    if (event.type === "dblclick") {
      getSelection().removeAllRanges(); // The word that it has selected.
    } else if (String(getSelection())) {
      return;
    }
    this.selectNumber(number, true);
    // A double click opens; on narrow pages, which are pressed by thumbs, the first one does.
    if (event.type === "dblclick" || matchMedia("(max-width: 600px)").matches) {
      this.actions.open();
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
      this.skipBacklog(data.items.length);
      this.drawSoon();
      this.countsSoon();
    } else if (type === "change") {
      if (!this.items.isUpToDate(data, this.isFresh)) {
        this.checkItems();
        this.countsSoon();
      }
      this.isFresh = false;
      this.logsSoon();
    } else if (type === "gone") {
      this.relocate();
    }
  }

  /** A list at the newest item does not wait for all that has come during a pause: it is read when it is looked at. */
  skipBacklog(count) {
    if (count < MOST_IN_EVENT) {
      this.backlog = undefined; // That was the last of it.
    } else if (this.backlog !== undefined && this.isAtNewest) {
      this.backlog += count;
      if (this.backlog > MOST_BACKLOG) {
        this.stream.close();
        this.load({});
      }
    }
  }

  /** After items may have left the log, or have come back to it. */
  checkItems() {
    const view = this.list.anchor && this.items.length ? this.list.inView() : [0, 0];
    this.items.check(Math.min(...view), Math.max(...view));
    this.checkAgain();
  }

  /** What the server has counted comes by the stream soon; else it is nothing new, but has come back to the log. */
  checkStream() {
    if (this.stream.closing && this.items.isBehind) {
      this.relocate();
    }
  }

  /** Shows how the connection is; `detail` is the status where it was refused. */
  connected(name, detail) {
    const texts = { live: "Live", paused: "Paused", broken: "Connection lost, retrying",
      refused: "Connection refused" };
    const button = byId("connection");
    const before = button.dataset.state;
    button.dataset.state = name;
    button.textContent = texts[name];
    if (name === "live" && (before === "broken" || before === "paused")) {
      this.backlog = 0;
    }
    if (name === "live" && before === "broken") {
      this.notice("");
      this.showItem(this.state);
      this.refreshCounts();
      this.refreshLogs();
      this.itemsChanged();
    } else if (name === "refused" && detail === 401) {
      this.failed(new ApiError(401, {}));
    } else if (name === "refused") {
      // The position means nothing to the server any more, which may have been started with other logs.
      this.retryTimer = setTimeout(() => this.load(this.here()), RETRY);
    }
  }
}

/** Waits for the document and its style: this script waits for neither, so that it can ask for the first items. */
async function ready() {
  const style = document.querySelector("link[rel=stylesheet]");
  if (document.readyState === "loading") {
    await heard(document, "DOMContentLoaded");
  }
  if (!style.sheet) {
    await Promise.race([heard(style, "load"), heard(style, "error")]);
  }
}

const heard = (target, event) => new Promise((resolve) => { target.addEventListener(event, resolve, { once: true }); });

ready().then(() => new Page().start());
