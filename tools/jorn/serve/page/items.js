// SPDX-License-Identifier: Apache-2.0
// The items that pass the filter: a window of those that have been asked for, by number.
//
// The newer of two items has the larger number. Numbers are the page's own, given when the filter is opened, and stay
// with their items while new ones come and the ring drops old ones, which ranks do not.
// `from` to `shown` (exclusive) are the list's; those from `shown` to `known` have come since, and are shown when
// nobody is disturbed by that.
import { Question } from "./api.js";

const AROUND = 150;
const RETRY = 1000;
const MOST_KEPT = 6000;
// The newest ones are kept however far away the view is: ranks are compared by them.
const TAIL = 20;

/** The time that a cursor names, LOG~TIME~FILE~OFFSET~HASH. */
const timeOfCursor = (cursor) => Number(cursor.split("~").at(-4));

function wherePlaceIs(filter, place) {
  if (place.cursor) {
    return { cursor: place.cursor };
  }
  if (place.time !== undefined) {
    return { time: place.time };
  }
  const first = (filter.order === "oldest") === Boolean(place.oldest);
  // No rank beyond the last item is known yet; the time is beyond all that items can have.
  return first ? { rank: 0 } : { time: filter.order === "oldest" ? 2 ** 32 - 1 : 0 };
}

/** What is asked of /api/items to open the list of a filter at a place. */
export const openingOf = (filter, place) => ({ ...filter, ...wherePlaceIs(filter, place), before: AROUND,
  after: AROUND });

export class Items {
  /**
   * Calls `changing()` before and `changed()` after items have arrived, `lost()` when the view is no longer in the
   * log, `failed(error)` when they could not be had, and `recovered()` when they could after all. `merged()` returns
   * whether the items may be of several logs.
   */
  constructor({ changing, changed, lost, failed, recovered, merged }) {
    Object.assign(this, { changing, changed, lost, failed, recovered, merged });
    this.opening = new Question("items");
    this.question = new Question("items");
    this.clear();
  }

  clear() {
    this.kept = new Map();
    // Of what is kept, what may have another number now.
    this.outdated = new Set();
    this.from = this.shown = this.known = this.counted = 0;
    this.pending = null;
    this.isChecking = false;
    this.displaced = undefined;
    clearTimeout(this.retryTimer);
    this.isRetrying = false;
  }

  get length() {
    return this.shown - this.from;
  }

  get isOpening() {
    return Boolean(this.opening.open);
  }

  /** How many have come that are not shown. */
  get newer() {
    return this.known - this.shown;
  }

  get newestFirst() {
    return this.filter.order !== "oldest";
  }

  /** The number of the item in a row of the list, and the row of a number. */
  numberAt(row) {
    return this.newestFirst ? this.shown - 1 - row : this.from + row;
  }

  rowOf(number) {
    return this.newestFirst ? this.shown - 1 - number : number - this.from;
  }

  get(number) {
    return this.kept.get(number);
  }

  /** The number of an item that is kept; undefined where it is not. */
  numberOf(cursor) {
    for (const [number, item] of this.kept) {
      if (item.cursor === cursor) {
        return number;
      }
    }
    return undefined;
  }

  /**
   * Asks for the items of a filter around a place: { cursor }, { time }, { oldest: true } or, without any, the newest
   * end. Returns the number of the item at that place and the stream's position; null when something else was opened
   * meanwhile.
   */
  async open(filter, place = {}) {
    this.question.cancel();
    const answer = await this.opening.ask(openingOf(filter, place));
    if (!answer) {
      return null;
    }
    this.clear();
    this.filter = filter;
    this.revision = answer.revision;
    this.shown = this.known = this.counted = answer.total;
    answer.items.forEach((item, i) => this.kept.set(this.numberAt(answer.rank + i), item));
    return { number: this.placed(answer, place), position: answer.position };
  }

  placed(answer, place) {
    if (!answer.items.length) {
      return undefined;
    }
    const wanted = place.time ?? (place.cursor && timeOfCursor(place.cursor));
    let found = answer.items.findIndex((item) => item.cursor === place.cursor);
    if (found < 0 && wanted !== undefined) {
      // In the list's order the first at that time or beyond it.
      found = answer.items.findIndex(({ time }) => (this.newestFirst ? time <= wanted : time >= wanted));
      found = found < 0 ? answer.items.length - 1 : found;
    }
    if (found >= 0) {
      return this.numberAt(answer.rank + found);
    }
    return place.oldest ? this.from : this.shown - 1;
  }

  /** Sees to it that the items from a number to another (both included) arrive. */
  want(low, high) {
    const missing = (number) => !this.kept.has(number) || this.outdated.has(number);
    while (low <= high && !missing(low)) {
      ++low;
    }
    while (high >= low && !missing(high)) {
      --high;
    }
    if (low > high) {
      return;
    }
    // What has come since is asked for after that answer: else, while many come, none would be waited for.
    if (this.pending && low >= this.pending.low && Math.min(high, this.pending.known - 1) <= this.pending.high) {
      return;
    }
    this.fetch(Math.max(this.from, low - AROUND), Math.min(this.known - 1, high + AROUND));
  }

  async fetch(low, high) {
    if (this.isOpening) {
      return; // All this will be gone when that has been answered.
    }
    const anchor = this.anchor();
    if (anchor === undefined) {
      this.lost();
      return;
    }
    const rank = this.newestFirst ? this.known - 1 - high : low - this.from;
    const answer = await this.ask({ low, high, known: this.known }, { rank: Math.max(0, rank), after: high - low + 1,
      anchor: this.kept.get(anchor).cursor });
    if (answer) {
      this.take(answer, anchor);
    }
  }

  /** Asks for items of the filter; returns nothing when that has failed, or something else was asked meanwhile. */
  async ask(pending, where) {
    this.pending = pending;
    try {
      const answer = await this.question.ask({ ...this.filter, ...where });
      if (answer && this.pending === pending) {
        this.pending = null;
        this.answered();
        return answer;
      }
    } catch (failure) {
      if (this.pending === pending) {
        this.pending = null;
        this.retryLater(failure);
        this.failed(failure);
      }
    }
    return null;
  }

  answered() {
    if (this.isRetrying) {
      this.isRetrying = false;
      this.recovered();
    }
  }

  /** Has what is in view asked for again: the server was not reached, or may only have been too busy. */
  retryLater({ status }) {
    this.isRetrying = status === 0 || status === 429 || status >= 500;
    clearTimeout(this.retryTimer);
    this.retryTimer = this.isRetrying ? setTimeout(() => this.retry(), RETRY) : 0;
  }

  retry() {
    this.changed();
    if (!this.pending) {
      this.answered(); // Nothing is missing any more.
    }
  }

  /** The number of an item by which ranks are compared: the newest one that is kept and in its place. */
  anchor() {
    let newest;
    for (const number of this.kept.keys()) {
      if (!this.outdated.has(number) && (newest === undefined || number > newest)) {
        newest = number;
      }
    }
    return newest;
  }

  take(answer, anchor) {
    if (answer.anchor_rank === null || answer.anchor_rank === undefined) {
      this.lost();
      return;
    }
    const sign = this.newestFirst ? -1 : 1;
    const numberOf = (rank) => anchor + sign * (rank - answer.anchor_rank);
    if (this.isChecking && this.isOther(answer, numberOf)) {
      this.lost();
      return;
    }
    this.changing();
    this.isChecking = false;
    this.displaced = undefined;
    this.revision = answer.revision;
    this.from = this.newestFirst ? numberOf(answer.total - 1) : numberOf(0);
    this.counted = this.from + answer.total;
    this.known = Math.max(this.known, this.from);
    // Where all that was shown has gone, nobody is disturbed by what has come since.
    this.shown = this.shown > this.from ? this.shown : this.known;
    answer.items.forEach((item, i) => {
      this.kept.set(numberOf(answer.rank + i), item);
      this.outdated.delete(numberOf(answer.rank + i));
    });
    this.changed();
  }

  /** Whether an answer has other items where some are kept. */
  isOther({ items, rank }, numberOf) {
    return items.some(({ cursor }, i) => (this.kept.get(numberOf(rank + i)) ?? { cursor }).cursor !== cursor);
  }

  /**
   * Whether nothing but new items can have come about, by what a `change` of the stream says. Right after the items
   * were asked for, the same total says that: what else changes then is what the check has found.
   */
  isUpToDate({ total, items_lost: lost, revision }, isFirst) {
    return !lost && (isFirst || revision === this.revision) && total === this.known - this.from;
  }

  /**
   * Reads again what is shown, from a number to another, after items may have left the log or come back to it. All
   * else that is kept is read again when it is wanted.
   */
  check(low, high) {
    if (!this.filter || this.isOpening) {
      return;
    }
    const anchor = this.anchor();
    if (anchor === undefined) {
      this.lookForAny();
      return;
    }
    this.isChecking = true;
    this.kept.forEach((_, number) => number !== anchor && this.outdated.add(number));
    this.fetch(Math.max(this.from, low - AROUND), Math.min(this.known - 1, high + AROUND));
  }

  async lookForAny() {
    const answer = await this.ask({ low: 0, high: 0, known: this.known }, { rank: 0, after: 1 });
    if (answer) {
      this.revision = answer.revision;
      if (answer.total !== this.known - this.from) {
        this.lost();
      }
    }
  }

  /** Whether the server has counted newer items than the stream has brought. */
  get isBehind() {
    return this.counted > this.known;
  }

  /** Takes items that the stream has brought, the older first. They are counted, and shown by show(). */
  append(items) {
    for (const item of items) {
      const number = this.known++;
      if (!this.isNext(number, item)) {
        this.outdate(number, item.time);
        continue;
      }
      this.displaced = undefined;
      if (!this.kept.has(number)) {
        this.kept.set(number, item);
      }
    }
  }

  /**
   * Whether an item that has come belongs right after the one before. Of several logs, it may belong before some that
   * came earlier: by time, then by the order of the logs. Nothing is known where the one before is not in its place,
   * nor of items that the server has counted already: the number may be another one's.
   */
  isNext(number, { log, time }) {
    if (number <= this.from || !this.merged()) {
      return true;
    }
    if (number < this.counted || this.outdated.has(number - 1)) {
      return false;
    }
    const before = this.kept.get(number - 1);
    return before && (before.log === log || before.time < time);
  }

  /** The items of this time and later ones may have other places now. The new one, `last`, is not kept. */
  outdate(last, time) {
    if (this.kept.has(last)) {
      this.outdated.add(last);
    }
    // Those from the time `displaced` on have been outdated by the items right before; nothing has been kept since.
    if (this.displaced === undefined || time < this.displaced) {
      this.kept.forEach((item, number) => item.time >= time && this.outdated.add(number));
      this.displaced = time;
    }
  }

  show() {
    this.shown = this.known;
  }

  /** Keeps memory bounded: what is far from a number is asked for again when it is wanted. */
  forget(near) {
    if (this.kept.size <= MOST_KEPT) {
      return;
    }
    for (const number of this.kept.keys()) {
      if (Math.abs(number - near) > MOST_KEPT / 4 && number < this.known - TAIL) {
        this.kept.delete(number);
        this.outdated.delete(number);
      }
    }
  }
}
