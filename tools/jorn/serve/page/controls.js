// SPDX-License-Identifier: Apache-2.0
// The fields and buttons of the filter: what is typed is checked by the server before it takes effect.
import { ApiError, Question } from "./api.js";
import { stampOf } from "./clock.js";
import { byId, settled } from "./dom.js";
import { filterOf } from "./state.js";

const TYPED = ["q", "since", "until"];
const TICKED = { case: "ignore", invert: "1" };

/** How a value of the URL is shown in its field: times are kept as seconds and shown by the clock. */
const shownAs = (name, value = "") => (name !== "q" && /^@\d+$/.test(value) ? stampOf(Number(value.slice(1))) : value);

export class Controls {
  /** Calls `changed(values, push)` with what has become valid. */
  constructor(changed) {
    this.changed = changed;
    // Fields are checked each for itself: what is chosen in one does not take back what another one asks.
    this.questions = Object.fromEntries([...TYPED, "span"].map((name) => [name, new Question("check-filter")]));
    this.soon = Object.fromEntries(TYPED.map((name) => [name, settled(250, () => this.check(name))]));
    this.state = {};
    TYPED.forEach((name) => this.listen(name));
    addEventListener("popstate", () => this.forget(), { capture: true }); // Before the state that it leads to is shown.
    for (const [name, value] of Object.entries(TICKED)) {
      byId(name).addEventListener("change", ({ target }) =>
        changed({ [name]: target.checked ? value : undefined }, true));
    }
    byId("span").addEventListener("change", (event) => this.chooseSpan(event.target.value));
    byId("filters").addEventListener("submit", (event) => {
      event.preventDefault();
      this.check("q");
    });
  }

  listen(name) {
    byId(name).addEventListener("input", () => {
      this.typing = name;
      this.soon[name]();
    });
    byId(name).addEventListener("change", () => {
      this.soon[name].flush();
      this.rest();
    });
    byId(name).addEventListener("focusout", () => this.rest());
  }

  /** Nobody types any more; what is typed from now on is a step of its own. */
  rest() {
    this.typing = this.stepped = null;
  }

  /** Takes back what has been typed and has not taken effect. */
  forget() {
    TYPED.forEach((name) => {
      this.soon[name].cancel();
      this.questions[name].cancel();
    });
    this.rest();
  }

  /** Shows what a state holds. A field in which somebody types, or has typed what is being checked, stays as it is. */
  show(state) {
    this.state = state;
    for (const name of TYPED) {
      const field = byId(name);
      const value = shownAs(name, state[name]);
      if (field.value !== value && this.typing !== name && !this.questions[name].open) {
        field.value = value;
        this.complain(name, "");
      }
    }
    for (const [name, value] of Object.entries(TICKED)) {
      byId(name).checked = state[name] === value;
    }
    byId("span").value = state.since || state.until ? "" : "all";
  }

  /** Takes what is in a field, if the server understands it. */
  async check(name) {
    // In an expression, blanks count.
    const value = name === "q" ? byId(name).value : byId(name).value.trim();
    if (value === shownAs(name, this.state[name])) {
      this.complain(name, "");
      return;
    }
    try {
      const answer = await this.questions[name].ask(filterOf({ ...this.state, [name]: value }));
      if (answer) {
        this.complain(name, "");
        // One step back for all that is typed in one go.
        const push = this.stepped !== name;
        this.stepped = this.typing === name ? name : null;
        this.changed({ [name]: value }, push);
      }
    } catch (failure) {
      this.fail(failure, name);
    }
  }

  /** Shows what the server finds wrong beside the field that it is about. */
  fail(failure, name) {
    if (!(failure instanceof ApiError)) {
      throw failure;
    }
    this.complain(TYPED.includes(failure.parameter) ? failure.parameter : name, failure.message);
  }

  complain(name, message) {
    byId(name).setAttribute("aria-invalid", String(Boolean(message)));
    byId(`${name}-error`).textContent = message;
    byId(`${name}-error`).hidden = !message;
  }

  /** The last hour and the like, as the times that they are now, so that a kept link shows the same. */
  async chooseSpan(span) {
    if (span === "all") {
      this.changed({ since: undefined, until: undefined, at: undefined }, true);
    } else if (span) {
      try {
        const { since } = await this.questions.span.ask({ since: `-${span}` }) ?? {};
        if (since !== undefined) {
          this.complain("since", "");
          this.changed({ since: `@${since}`, until: undefined, at: undefined }, true);
        }
      } catch (failure) {
        this.fail(failure, "since");
        this.show(this.state);
      }
    }
  }
}
