// SPDX-License-Identifier: Apache-2.0
// The list: a window of rows over all items. The scroll bar is that of the whole list; rows exist for the view alone.
//
// What is in view is held by an anchor: a number and the place of its row below the view's upper edge. So the view
// stays where it is when rows above it come, go or turn out higher than was thought. Where all rows are of one height
// and the list is not higher than browsers can lay out, the anchor follows from the scroll bar exactly; else it moves
// by as much as was scrolled, and by a share of the whole list where the scroll bar was dragged.
import { make } from "./dom.js";

// Browsers lay out some 17 to 33 million pixels.
const MOST_PIXELS = 15000000;
const BEYOND_VIEW = 12;
// Of rows that are far from the view, heights are measured anew when they are drawn.
const MOST_HEIGHTS = 1000;

export class List {
  /**
   * `fill(row, item, number)` makes a row's content, of the same height without an item; `moved()` is called when
   * people have scrolled; `pressed(number, event)` when a row is.
   */
  constructor(grid, scroller, items, { fill, moved, pressed }) {
    Object.assign(this, { grid, scroller, items, fill, moved, pressed });
    this.space = make("div", { class: "space", role: "presentation" });
    this.rows = make("div", { class: "rows", role: "rowgroup" });
    this.space.append(this.rows);
    scroller.append(this.space);
    this.made = new Map();
    this.heights = new Map();
    this.stuck = true;
    this.top = 0;
    scroller.addEventListener("scroll", () => this.scrolled(), { passive: true });
    scroller.addEventListener("scrollend", () => this.rested());
    new ResizeObserver(() => this.resized()).observe(scroller);
    this.rows.addEventListener("click", (event) => this.onPress(event));
    this.rows.addEventListener("dblclick", (event) => this.onPress(event));
  }

  onPress(event) {
    const row = event.target.closest("[role=row]");
    if (row) {
      this.pressed(row.number, event);
    }
  }

  get viewHeight() {
    return this.scroller.clientHeight;
  }

  /** The height of a row; in a list with wrapped lines that of rows that have not been measured. */
  measure() {
    const probe = make("div", { class: "row" });
    this.fill(probe);
    this.rows.append(probe);
    this.lineHeight = Math.max(1, probe.getBoundingClientRect().height);
    probe.remove();
  }

  heightOf(number) {
    return this.wrap ? this.heights.get(number) ?? this.lineHeight : this.lineHeight;
  }

  /**
   * Shows other items, from a number on, which gets to `offset` pixels below the upper edge. Without a number there
   * are none yet.
   */
  open(number, offset = 0, wrap = false) {
    this.wrap = wrap;
    this.scroller.classList.toggle("wrapped", wrap);
    this.heights.clear();
    this.clearRows();
    this.measure();
    this.anchor = number === undefined ? undefined : { number, offset };
    this.stuck = this.ended = false;
    this.place();
  }

  /** Fills all rows anew. */
  refill() {
    this.made.forEach((row, number) => this.fill(row, this.items.get(number), number));
  }

  clearRows() {
    this.made.forEach((row) => row.remove());
    this.made.clear();
  }

  /** Goes to the end where new items come, and stays there. */
  stick() {
    this.stuck = true;
    this.ended = false;
    this.place();
  }

  /** Draws everything anew in its place, after items or sizes have changed. */
  place() {
    const count = this.items.length;
    this.height = Math.min(count * this.lineHeight, MOST_PIXELS);
    this.exact = !this.wrap && count * this.lineHeight <= MOST_PIXELS;
    this.space.style.height = `${Math.max(this.height, 0)}px`;
    if (!count) {
      this.clearRows();
      return;
    }
    if (this.exact && this.height <= this.viewHeight) {
      // Nothing to scroll: it stays at the end where new items come when it gets longer.
      this.stuck = true;
      this.ended = false;
    }
    this.hold();
    this.draw();
    this.settle();
  }

  /** Gives the anchor a row that there is. */
  hold() {
    if (this.stuck && this.items.newestFirst) {
      this.anchor = { number: this.items.shown - 1, offset: 0 };
    } else if (this.isAtLast) {
      this.anchor = this.atEnd();
    }
    const { from, shown } = this.items;
    if (this.anchor.number < from || this.anchor.number >= shown) {
      this.anchor = { number: Math.min(Math.max(this.anchor.number, from), shown - 1), offset: 0 };
    }
  }

  /** Whether the last row is to stay at the lower edge, however high the rows turn out when their items arrive. */
  get isAtLast() {
    return this.ended || (this.stuck && !this.items.newestFirst);
  }

  atEnd() {
    const number = this.items.numberAt(this.items.length - 1);
    return { number, offset: this.viewHeight - this.heightOf(number) };
  }

  /** Puts the scroll bar where the anchor is, and ends of the list to the edges of the view. */
  settle() {
    for (let round = 0; round < 3; ++round) {
      const moved = this.align();
      const top = this.wantedTop();
      if (Math.abs(this.scroller.scrollTop - top) >= 1) {
        this.scroller.scrollTop = top;
      }
      this.top = this.scroller.scrollTop;
      this.draw();
      if (!moved) {
        break;
      }
    }
  }

  /** Leaves no gap above the first row nor below the last one. Says whether anything had to be moved. */
  align() {
    this.normalise();
    const row = this.items.rowOf(this.anchor.number);
    const last = this.made.get(this.items.numberAt(this.items.length - 1));
    const lastEdge = last ? this.edgeOf(last) + last.offsetHeight : Infinity;
    if (this.isAtLast && lastEdge !== this.viewHeight) {
      this.anchor.offset += this.viewHeight - lastEdge;
    } else if (lastEdge < this.viewHeight) {
      this.anchor.offset += this.viewHeight - lastEdge;
    } else if (row > 0 || this.anchor.offset <= 0) {
      return false;
    }
    this.normalise();
    if (this.items.rowOf(this.anchor.number) === 0 && this.anchor.offset > 0) {
      this.anchor.offset = 0;
    }
    this.draw();
    return true;
  }

  /** How far a drawn row is below the upper edge of the view. */
  edgeOf(row) {
    const anchor = this.made.get(this.anchor.number);
    return this.anchor.offset + row.offsetTop - (anchor?.offsetTop ?? 0);
  }

  /** Makes the first row in view the anchor. */
  normalise() {
    const { anchor, items } = this;
    const last = items.length - 1;
    let row = items.rowOf(anchor.number);
    while (anchor.offset > 0 && row > 0) {
      anchor.number = items.numberAt(--row);
      anchor.offset -= this.heightOf(anchor.number);
    }
    while (row < last && anchor.offset + this.heightOf(anchor.number) <= 0) {
      anchor.offset += this.heightOf(anchor.number);
      anchor.number = items.numberAt(++row);
    }
  }

  wantedTop() {
    const row = this.items.rowOf(this.anchor.number);
    const most = Math.max(0, this.height - this.viewHeight);
    if (this.exact) {
      return Math.min(most, row * this.lineHeight - this.anchor.offset);
    }
    const last = this.made.get(this.items.numberAt(this.items.length - 1));
    if (last && this.edgeOf(last) + last.offsetHeight <= this.viewHeight + 1) {
      return most;
    }
    const part = -this.anchor.offset / this.heightOf(this.anchor.number);
    const top = most * (row + part) / Math.max(1, this.items.length - this.viewHeight / this.lineHeight);
    // Only the ends are at the ends of the scroll bar.
    return row === 0 && this.anchor.offset === 0 ? 0 : Math.min(Math.max(top, 1), most - 1);
  }

  /** Takes over where people have scrolled to, if they have. */
  scrolled() {
    const top = this.scroller.scrollTop;
    const distance = top - this.top;
    if (Math.abs(distance) < 1 || !this.items.length) {
      return;
    }
    this.top = top;
    this.stuck = false;
    this.ended = top >= this.height - this.viewHeight - 1;
    this.follow(top, distance);
    this.draw();
    if (!this.exact) {
      this.align();
    }
    this.stuck = this.isAtEnd();
    this.moved();
  }

  follow(top, distance) {
    const most = this.height - this.viewHeight;
    if (this.exact) {
      const row = Math.min(Math.floor(top / this.lineHeight), this.items.length - 1);
      this.anchor = { number: this.items.numberAt(row), offset: row * this.lineHeight - top };
    } else if (top <= 0) {
      this.anchor = { number: this.items.numberAt(0), offset: 0 };
    } else if (this.ended) {
      this.anchor = this.atEnd();
    } else if (Math.abs(distance) <= 2 * this.viewHeight) {
      this.anchor.offset -= distance;
      this.normalise();
      if (this.items.rowOf(this.anchor.number) === 0) {
        this.anchor.offset = Math.min(0, this.anchor.offset);
      }
    } else {
      const row = Math.floor((top / most) * (this.items.length - this.viewHeight / this.lineHeight));
      this.anchor = { number: this.items.numberAt(Math.min(Math.max(row, 0), this.items.length - 1)), offset: 0 };
    }
  }

  /** The scroll bar of a list whose heights are estimated is set right when nobody is at it. */
  rested() {
    if (!this.exact && this.items.length) {
      this.settle();
    }
  }

  resized() {
    if (!this.anchor) {
      return;
    }
    if (this.width !== this.scroller.clientWidth) {
      this.width = this.scroller.clientWidth;
      this.heights.clear();
      this.measure();
    }
    this.place();
  }

  /** Whether the view is at the end where new items come. */
  isAtEnd() {
    if (!this.items.length) {
      return true;
    }
    if (this.items.newestFirst) {
      return this.items.rowOf(this.anchor.number) === 0 && this.anchor.offset > -2;
    }
    return this.scroller.scrollTop >= this.height - this.viewHeight - 2;
  }

  /** Rows of the view and a few beyond. */
  range() {
    const row = this.items.rowOf(this.anchor.number);
    const above = Math.ceil(Math.max(0, this.anchor.offset) / this.lineHeight) + BEYOND_VIEW;
    const below = Math.ceil(Math.max(0, this.viewHeight - this.anchor.offset) / this.lineHeight) + BEYOND_VIEW;
    return [Math.max(0, row - above), Math.min(this.items.length - 1, row + below)];
  }

  draw() {
    const [first, last] = this.range();
    const ends = [this.items.numberAt(first), this.items.numberAt(last)];
    const [low, high] = [Math.min(...ends), Math.max(...ends)];
    for (const [number, row] of this.made) {
      if (number < low || number > high) {
        row.remove();
        this.made.delete(number);
      }
    }
    let next = this.rows.firstChild;
    for (let row = first; row <= last; ++row) {
      const element = this.rowFor(this.items.numberAt(row), row);
      if (element === next) {
        next = next.nextSibling;
      } else {
        this.rows.insertBefore(element, next);
      }
    }
    this.items.want(low, high);
    this.shift(first);
    this.grid.setAttribute("aria-rowcount", this.items.length + 1);
  }

  rowFor(number, row) {
    let element = this.made.get(number);
    const item = this.items.get(number);
    if (!element) {
      element = make("div", { role: "row", class: "row", id: `row-${number}` });
      element.number = number;
      this.made.set(number, element);
      element.item = null; // Neither an item nor undefined, so that it is filled.
    }
    if (element.item !== item) {
      element.item = item;
      this.heights.delete(number);
      this.fill(element, item, number);
    }
    element.setAttribute("aria-rowindex", row + 2);
    return element;
  }

  /** Moves the drawn rows so that the anchor is in its place. */
  shift(first) {
    let above = (this.items.rowOf(this.anchor.number) - first) * this.lineHeight;
    if (this.wrap) {
      this.made.forEach((row, number) => this.heights.set(number, row.offsetHeight));
      this.forgetHeights();
      above = this.made.get(this.anchor.number).offsetTop;
    }
    this.rows.style.top = `${this.top + this.anchor.offset - above}px`;
  }

  forgetHeights() {
    if (this.heights.size > MOST_HEIGHTS) {
      for (const number of this.heights.keys()) {
        if (Math.abs(number - this.anchor.number) > MOST_HEIGHTS / 4) {
          this.heights.delete(number);
        }
      }
    }
  }

  /** The first item in view. */
  get first() {
    return this.anchor && this.items.get(this.anchor.number);
  }

  /** The numbers of the first and the last row in view. */
  inView() {
    let row = this.items.rowOf(this.anchor.number);
    let edge = this.anchor.offset + this.heightOf(this.anchor.number);
    while (edge < this.viewHeight && row < this.items.length - 1) {
      edge += this.heightOf(this.items.numberAt(++row));
    }
    return [this.anchor.number, this.items.numberAt(row)];
  }

  /** Scrolls as little as brings a row into view whole. */
  reveal(number) {
    const [first, last] = this.inView();
    const row = this.items.rowOf(number);
    const above = this.items.rowOf(first);
    if (row < above || (row === above && this.anchor.offset < 0)) {
      this.go(number, 0);
    } else if (row >= this.items.rowOf(last)) {
      this.go(number, this.viewHeight - this.heightOf(number));
    }
  }

  /** Brings a row to a place in the view. */
  go(number, offset) {
    this.stuck = false;
    this.ended = offset > 0 && this.items.rowOf(number) === this.items.length - 1;
    this.anchor = { number, offset };
    this.place();
    this.stuck = this.isAtEnd();
    this.moved();
  }
}
