// SPDX-License-Identifier: Apache-2.0
// Questions to the server.
import { queryOf } from "./state.js";

/** An answer that is none: `status` (0 where the server was not reached), `parameter` that it complains of. */
export class ApiError extends Error {
  constructor(status, answer) {
    super(answer.error ?? (status ? `The server answered with status ${status}.` : "The server cannot be reached."));
    this.status = status;
    this.parameter = answer.parameter;
    this.near = answer.near;
  }
}

/** The path of a question. */
export function pathOf(name, parameters) {
  const query = queryOf(parameters);
  return `/api/${name}${query && "?"}${query}`;
}

const HEADERS = { Accept: "application/json" };

// Answers that were asked for before anybody needs them, by path.
const early = new Map();

/** Asks for what ask() will want soon; the first that wants it gets that answer. */
export function askEarly(name, parameters = {}) {
  const path = pathOf(name, parameters);
  const answer = fetch(path, { headers: HEADERS });
  answer.catch(() => {}); // ask() sees why it has failed.
  early.set(path, answer);
}

function fetched(path, signal) {
  const answer = early.get(path);
  early.delete(path);
  return answer ?? fetch(path, { signal, headers: HEADERS });
}

/** Asks; throws ApiError, or AbortError when the question was taken back. */
export async function ask(name, parameters = {}, signal = undefined) {
  let answer;
  let body = {};
  try {
    answer = await fetched(pathOf(name, parameters), signal);
    body = await answer.json();
  } catch (failure) {
    if (failure.name === "AbortError") {
      throw failure;
    }
  }
  signal?.throwIfAborted();
  if (!answer?.ok) {
    throw new ApiError(answer?.status ?? 0, body);
  }
  return body;
}

/** A question of which only the last one put counts: an earlier one that is still open is taken back. */
export class Question {
  constructor(name) {
    this.name = name;
  }

  /** The answer, or null when another question has taken its place. */
  async ask(parameters) {
    this.cancel();
    const own = (this.open = new AbortController());
    try {
      return await ask(this.name, parameters, own.signal);
    } catch (failure) {
      if (own.signal.aborted) {
        return null;
      }
      throw failure;
    } finally {
      if (this.open === own) {
        this.open = null;
      }
    }
  }

  cancel() {
    this.open?.abort();
    this.open = null;
  }
}
