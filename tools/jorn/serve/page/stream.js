// SPDX-License-Identifier: Apache-2.0
// New items as they come: server-sent events, read by fetch() because EventSource neither says why it failed nor takes
// the position at which it goes on after a pause.
import { pathOf } from "./api.js";

const FIRST_WAIT = 500;
const LONGEST_WAIT = 10000;
// The server writes a comment every 15 s; a connection that is silent for longer has died unnoticed.
const SILENCE = 40000;

/** Takes bytes, gives events: { type, data, id }. */
class EventParser {
  constructor() {
    this.decoder = new TextDecoder();
    this.rest = "";
  }

  *feed(bytes) {
    const lines = (this.rest + this.decoder.decode(bytes, { stream: true })).split("\n");
    this.rest = lines.pop();
    for (const line of lines) {
      if (line === "") {
        if (this.event?.data !== undefined || this.event?.type) {
          yield this.event;
        }
        this.event = undefined;
      } else if (!line.startsWith(":")) {
        this.take(line);
      }
    }
  }

  take(line) {
    const text = line.replace(/\r$/, "");
    const colon = text.indexOf(":");
    const name = colon < 0 ? text : text.slice(0, colon);
    const value = colon < 0 ? "" : text.slice(colon + 1).replace(/^ /, "");
    this.event ??= {};
    if (name === "data") {
      this.event.data = this.event.data === undefined ? value : `${this.event.data}\n${value}`;
    } else if (name === "event") {
      this.event.type = value;
    } else if (name === "id") {
      this.event.id = value;
    }
  }
}

/** Keeps a stream open until it is closed. Calls `event(type, data)` for each event, and `state(name, wait)`. */
export class Stream {
  constructor({ event, state }) {
    this.event = event;
    this.state = state;
  }

  /** Streams what comes after a position, which goes on with each event. */
  open(filter, position) {
    this.close();
    this.filter = filter;
    this.position = position;
    this.closing = new AbortController();
    this.run(this.closing.signal);
  }

  close() {
    this.closing?.abort();
    this.closing = null;
  }

  /** Tries again at once instead of waiting. */
  hurry() {
    this.wake?.();
  }

  async run(closed) {
    let wait = FIRST_WAIT;
    while (!closed.aborted) {
      this.asked = 0;
      const status = await this.connect(closed, () => { wait = FIRST_WAIT; }).catch(() => 0);
      if (closed.aborted) {
        return;
      }
      if (status >= 400 && status < 500 && status !== 429) {
        this.state("refused", status);
        return;
      }
      const pause = Math.max(wait, this.asked);
      this.state("broken", pause);
      await this.pause(pause, closed);
      wait = Math.min(wait * 2, LONGEST_WAIT);
    }
  }

  pause(milliseconds, closed) {
    return new Promise((resolve) => {
      setTimeout(resolve, milliseconds);
      this.wake = resolve;
      closed.addEventListener("abort", resolve, { once: true });
    }).finally(() => { this.wake = null; });
  }

  /** One connection, until it ends. Returns the status of the answer. */
  async connect(closed, connected) {
    const connection = new AbortController();
    const abort = () => connection.abort();
    closed.addEventListener("abort", abort, { once: true });
    let silence = setTimeout(abort, SILENCE);
    try {
      const answer = await fetch(pathOf("stream", this.filter), {
        signal: connection.signal, cache: "no-store",
        headers: { Accept: "text/event-stream", ...(this.position ? { "Last-Event-ID": this.position } : {}) },
      });
      if (answer.ok) {
        connected();
        this.state("live");
        const reader = answer.body.getReader();
        const parser = new EventParser();
        for (let part = await reader.read(); !part.done; part = await reader.read()) {
          clearTimeout(silence);
          silence = setTimeout(abort, SILENCE);
          this.take(parser.feed(part.value), closed);
        }
      } else {
        this.asked = 1000 * (Number(answer.headers.get("Retry-After")) || 0);
      }
      return answer.status;
    } finally {
      clearTimeout(silence);
      closed.removeEventListener("abort", abort);
      // Whatever has ended it: connections that are not read would use up those that the browser allows.
      connection.abort();
    }
  }

  take(events, closed) {
    for (const event of events) {
      if (closed.aborted) {
        return;
      }
      try {
        this.event(event.type ?? "message", event.data ? JSON.parse(event.data) : {});
      } catch (failure) {
        reportError(failure); // An error of the page, which would look like a lost connection.
        throw failure;
      }
      // An event that has been taken is never asked for again, also when the connection breaks right here.
      this.position = event.id ?? this.position;
    }
  }
}
