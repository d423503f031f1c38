// SPDX-License-Identifier: Apache-2.0
// Items over time, stacked by level. Dragged, or marked by keys, to zoom; a press leads the list to a time.
import { dateOf, offsetAt, stampOf, timeOf } from "./clock.js";
import { make, say } from "./dom.js";
import { counted, grouped, lasting, levelName } from "./text.js";

const LEVELS = ["error", "warning", "info", "debug", "other"];
const AXIS = 16;
const HEADROOM = 14;
// A single error among thousands of other items has to be seen, too.
const LEAST = 2;
const TICKS = [1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 10800, 21600, 43200, 86400, 172800,
  604800, 1209600, 2592000, 7776000, 31536000, 157680000];
const TICK_ROOM = { time: 90, date: 100 };

export class Histogram {
  /** Calls `zoomed(since, until)` with both seconds included, and `sought(since, until)` when a bar is pressed. */
  constructor(frame, { zoomed, sought }) {
    Object.assign(this, { frame, zoomed, sought });
    this.canvas = frame.querySelector("canvas");
    this.hint = frame.querySelector(".hint");
    new ResizeObserver(() => this.draw()).observe(frame);
    matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => this.draw());
    frame.addEventListener("pointerdown", (event) => this.pressed(event));
    frame.addEventListener("pointermove", (event) => this.moved(event));
    frame.addEventListener("pointerup", (event) => this.released(event));
    frame.addEventListener("pointercancel", () => this.letGo());
    frame.addEventListener("pointerleave", () => this.point(null));
    frame.addEventListener("keydown", (event) => this.keyed(event));
  }

  /** Shows an answer of /api/histogram; while somebody drags, after that: below the pointer nothing must move. */
  show(answer) {
    if (this.grip !== undefined) {
      this.awaiting = answer;
      return;
    }
    this.answer = answer;
    const step = answer.step;
    this.phase = answer.buckets.length ? answer.buckets[0][0] % step : 0;
    this.begin = answer.since;
    this.end = answer.until + 1;
    this.by = new Map(answer.buckets.map((bucket) => [bucket[0], bucket]));
    this.keepMarks();
    this.frame.setAttribute("aria-label", this.described());
    this.draw();
  }

  /** What is marked by keys stays at its times, as long as they are shown. */
  keepMarks() {
    const first = this.bucketOf(this.begin);
    const isShown = (time) => this.bucketOf(time) >= first && time < this.end;
    this.cursor = this.cursor !== undefined && isShown(this.cursor) ? this.bucketOf(this.cursor) : undefined;
    this.range = this.cursor !== undefined && this.range?.every(isShown) ? this.range : null;
  }

  /** What there is to see, in words. */
  described() {
    const { buckets, total, step } = this.answer;
    if (!total) {
      return "Histogram: no items.";
    }
    const highest = buckets.reduce((most, bucket) => (this.sum(bucket) > this.sum(most) ? bucket : most));
    const errors = buckets.reduce((sum, bucket) => sum + bucket[1], 0);
    return `Histogram: ${counted(total, "item")}, ${counted(errors, "error")}, from ${stampOf(this.begin)} to ` +
      `${stampOf(this.end - 1)}, ${lasting(step)} per bar. The highest bar, at ${stampOf(highest[0])}, has ` +
      `${counted(this.sum(highest), "item")}. Arrow keys move through the bars, Shift and arrow keys select a range, ` +
      "Enter zooms in.";
  }

  sum(bucket) {
    return bucket.slice(1).reduce((sum, number) => sum + number, 0);
  }

  /** The start of the bucket that holds a time. */
  bucketOf(time) {
    const { step } = this.answer;
    return Math.floor((time - this.phase) / step) * step + this.phase;
  }

  x(time) {
    return ((time - this.begin) / (this.end - this.begin)) * this.frame.clientWidth;
  }

  timeAt(x) {
    const share = Math.min(Math.max(x / this.frame.clientWidth, 0), 1);
    return Math.min(this.begin + share * (this.end - this.begin), this.end - 1e-3);
  }

  /** Marks the times that the list shows. */
  view(first, last) {
    this.viewed = [Math.min(first, last), Math.max(first, last) + 1];
    this.draw();
  }

  /** Draws all of it with the next frame, once for all that has changed till then. */
  draw() {
    if (this.answer) {
      this.frameAsked ||= requestAnimationFrame(() => {
        this.frameAsked = 0;
        this.paint();
      });
    }
  }

  paint() {
    const { clientWidth: width, clientHeight: height } = this.frame;
    const ratio = devicePixelRatio;
    this.canvas.width = width * ratio;
    this.canvas.height = height * ratio;
    const pen = this.canvas.getContext("2d");
    pen.scale(ratio, ratio);
    const style = getComputedStyle(this.frame);
    const colour = (name) => style.getPropertyValue(`--${name}`);
    pen.font = `11px ${style.fontFamily}`;
    this.drawAxis(pen, colour, width, height);
    this.drawBars(pen, colour, height - AXIS);
    this.drawView(pen, colour, width, height - AXIS);
    this.drawRange(pen, colour, height - AXIS);
  }

  drawBars(pen, colour, base) {
    const { buckets, step } = this.answer;
    const most = Math.max(1, ...buckets.map((bucket) => this.sum(bucket)));
    const scale = (base - HEADROOM) / most;
    for (const bucket of buckets) {
      const left = Math.max(0, this.x(bucket[0]));
      const width = Math.max(1, this.x(bucket[0] + step) - left - 1);
      let top = base;
      LEVELS.forEach((level, i) => {
        const number = bucket[i + 1];
        if (number) {
          const height = Math.max(LEAST, number * scale);
          top -= height;
          pen.fillStyle = colour(`bar-${level}`);
          pen.fillRect(left, top, width, height);
        }
      });
    }
    pen.fillStyle = colour("muted");
    pen.textAlign = "left";
    if (buckets.length) {
      pen.fillText(`${grouped(most)} per ${lasting(step)}`, 4, 10);
    }
  }

  drawAxis(pen, colour, width, height) {
    const span = this.end - this.begin;
    const room = span > 2 * 86400 ? TICK_ROOM.date : TICK_ROOM.time;
    const tick = TICKS.find((step) => (span / step) * room <= width) ?? TICKS.at(-1);
    pen.textAlign = "center";
    const zone = offsetAt(this.begin);
    for (let time = Math.ceil((this.begin + zone) / tick) * tick - zone; time < this.end; time += tick) {
      const x = this.x(time);
      pen.fillStyle = colour("grid");
      pen.fillRect(Math.round(x), HEADROOM, 1, height - AXIS - HEADROOM);
      if (x > 30 && x < width - 40) {
        pen.fillStyle = colour("muted");
        pen.fillText(this.tickText(time, tick), x, height - 4);
      }
    }
    pen.fillStyle = colour("line");
    pen.fillRect(0, height - AXIS, width, 1);
  }

  tickText(time, tick) {
    const clock = timeOf(time);
    if (tick >= 86400 || clock === "00:00:00") {
      return dateOf(time);
    }
    const day = dateOf(this.begin) === dateOf(this.end - 1) ? "" : `${dateOf(time).slice(5)} `;
    return day + (tick < 60 ? clock : clock.slice(0, 5));
  }

  drawView(pen, colour, width, base) {
    if (this.viewed) {
      const left = Math.max(0, this.x(this.viewed[0]));
      const right = Math.min(width, this.x(this.viewed[1]));
      if (right >= 0 && left <= width) {
        pen.fillStyle = colour("accent");
        pen.fillRect(Math.min(left, width - 3), base, Math.max(3, right - left), 3);
      }
    }
  }

  drawRange(pen, colour, base) {
    const range = this.range ?? (this.cursor === undefined ? null : [this.cursor, this.cursor]);
    if (range) {
      const [since, until] = this.limits(range);
      const left = this.x(since);
      const width = Math.max(2, this.x(until + 1) - left);
      pen.fillStyle = colour("selection");
      pen.fillRect(left, 0, width, base);
      pen.strokeStyle = colour("accent");
      pen.strokeRect(left + 0.5, 0.5, width - 1, base - 1);
    }
  }

  /** First and last second of the buckets between two times. */
  limits([one, other]) {
    const since = this.bucketOf(Math.min(one, other));
    const until = this.bucketOf(Math.max(one, other)) + this.answer.step - 1;
    return [Math.max(since, this.begin), Math.min(until, this.end - 1)];
  }

  mark(range) {
    this.range = range;
    this.draw();
  }

  unmark() {
    this.cursor = undefined;
    this.mark(null);
    this.point(null);
  }

  offset(event) {
    return event.clientX - this.frame.getBoundingClientRect().left;
  }

  pressed(event) {
    if (event.button === 0 && this.answer?.total) {
      this.mark(null);
      this.grip = this.offset(event);
      this.frame.setPointerCapture(event.pointerId);
    }
  }

  moved(event) {
    if (!this.answer?.total) {
      return;
    }
    const x = this.offset(event);
    if (this.grip !== undefined && Math.abs(x - this.grip) > 3) {
      this.mark([this.timeAt(this.grip), this.timeAt(x)]);
      this.point(null, this.spanText(this.limits(this.range)));
    } else if (event.pointerType === "mouse") {
      this.point(x);
    }
  }

  released(event) {
    if (this.grip === undefined) {
      return;
    }
    const range = this.range;
    const pressed = this.timeAt(this.grip);
    const limits = this.limits(range ?? [pressed, pressed]);
    this.letGo();
    this.point(null);
    if (range) {
      this.zoomed(...limits);
    } else {
      this.sought(...limits);
    }
  }

  /** Ends dragging, and shows what has come meanwhile. */
  letGo() {
    const { awaiting } = this;
    this.grip = this.awaiting = undefined;
    this.mark(null);
    if (awaiting) {
      this.show(awaiting);
    }
  }

  spanText([since, until]) {
    return `${stampOf(since)} to ${stampOf(until)}`;
  }

  bucketText(start) {
    const bucket = this.by.get(start);
    const counts = LEVELS.map((level, i) => [level, bucket?.[i + 1] ?? 0]).filter(([, number]) => number)
      .map(([level, number]) => `${grouped(number)} ${levelName(-1, level)}`);
    return `${stampOf(Math.max(start, this.begin))}, ${lasting(this.answer.step)}: ${counts.join(", ") || "no items"}`;
  }

  /** Shows what is at a place below the pointer, or another text. */
  point(x, text = x === null ? "" : this.bucketText(this.bucketOf(this.timeAt(x)))) {
    this.hint.textContent = text;
    this.hint.hidden = !text;
  }

  keyed(event) {
    if (!this.answer?.total || event.ctrlKey || event.altKey || event.metaKey) {
      return;
    }
    const move = { ArrowLeft: -1, ArrowRight: 1, PageUp: -10, PageDown: 10 }[event.key];
    if (move) {
      this.step(move, event.shiftKey);
    } else if (event.key === "Home" || event.key === "End") {
      this.step(event.key === "Home" ? -Infinity : Infinity, event.shiftKey);
    } else if (event.key === "Enter" && this.cursor !== undefined) {
      const limits = this.limits(this.range ?? [this.cursor, this.cursor]);
      this.unmark();
      this.zoomed(...limits);
    } else if (event.key === " " && this.cursor !== undefined) {
      this.sought(...this.limits([this.cursor, this.cursor]));
    } else if (event.key === "Escape" && this.cursor !== undefined) {
      this.unmark();
    } else {
      return;
    }
    event.preventDefault();
    event.stopPropagation();
  }

  step(buckets, extend) {
    const first = this.bucketOf(this.begin);
    const last = this.bucketOf(this.end - 1);
    const from = this.cursor ?? (buckets < 0 ? last + this.answer.step : first - this.answer.step);
    const to = Math.min(Math.max(from + buckets * this.answer.step, first), last);
    this.cursor = to;
    this.mark(extend ? [this.range?.[0] ?? from, to] : null);
    const text = this.range ? this.spanText(this.limits(this.range)) : this.bucketText(to);
    this.point(null, text);
    say(text);
  }

  /** All buckets as rows of a table, each of which zooms. */
  table(chosen) {
    const { buckets, step } = this.answer;
    const shown = LEVELS.map((_, i) => i + 1).filter((i) => buckets.some((bucket) => bucket[i]));
    const head = ["From", ...shown.map((i) => LEVELS[i - 1])].map((name) => make("th", { scope: "col" }, name));
    const zoom = ([start]) => make("button", { type: "button", click: () => chosen(...this.limits([start, start])) },
      stampOf(start));
    const rows = buckets.map((bucket) => make("tr", {}, make("th", { scope: "row" }, zoom(bucket)),
      ...shown.map((i) => make("td", {}, grouped(bucket[i])))));
    return make("table", {}, make("caption", {}, `Items per ${lasting(step)}`),
      make("thead", {}, make("tr", {}, ...head)), make("tbody", {}, ...rows));
  }
}
