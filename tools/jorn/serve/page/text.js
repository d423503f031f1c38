// SPDX-License-Identifier: Apache-2.0
// Texts of items as something that can be looked at, whatever bytes a program has logged.
import { make } from "./dom.js";

// Control and format characters, which are invisible or turn the direction of what follows, line separators and halves
// of characters. A tab is none of them: texts are shown with their blanks.
const HIDDEN = /(?!\t)[\p{Cc}\p{Cf}\p{Zl}\p{Zp}\p{Cs}]/gu;

/** How a character that cannot be seen is written: \x1b, \u202e. */
export function escaped(character) {
  const code = character.codePointAt(0);
  return code < 0x100 ? "\\x" + code.toString(16).padStart(2, "0")
    : code < 0x10000 ? "\\u" + code.toString(16).padStart(4, "0") : "\\u{" + code.toString(16) + "}";
}

/** A text with what is hidden escaped, as a string. */
export const plain = (text) => text.replace(HIDDEN, escaped);

function appendVisible(parent, text) {
  let end = 0;
  for (const found of text.matchAll(HIDDEN)) {
    parent.append(text.slice(end, found.index));
    parent.append(make("span", { class: "escape" }, escaped(found[0])));
    end = found.index + found[0].length;
  }
  parent.append(text.slice(end));
}

/** From offsets in the bytes of UTF-8 to those in a string, for ascending offsets. */
function stringOffsets(text, byteOffsets) {
  let unit = 0;
  let bytes = 0;
  return byteOffsets.map((wanted) => {
    while (bytes < wanted && unit < text.length) {
      const code = text.codePointAt(unit);
      bytes += code < 0x80 ? 1 : code < 0x800 ? 2 : code < 0x10000 ? 3 : 4;
      unit += code < 0x10000 ? 1 : 2;
    }
    return unit;
  });
}

/** A text as nodes: what is hidden is escaped, and what `marks` (pairs of byte offsets) cover is marked. */
export function visible(text, marks = []) {
  const nodes = document.createDocumentFragment();
  const offsets = stringOffsets(text, marks.flat());
  let end = 0;
  for (let i = 0; i < offsets.length; i += 2) {
    appendVisible(nodes, text.slice(end, offsets[i]));
    const mark = make("mark");
    appendVisible(mark, text.slice(offsets[i], offsets[i + 1]));
    nodes.append(mark);
    end = offsets[i + 1];
  }
  appendVisible(nodes, text.slice(end));
  return nodes;
}

const GROUPED = new Intl.NumberFormat("en");

/** 450,000 */
export const grouped = (number) => GROUPED.format(number);

/** "1 item", "2 items" */
export const counted = (number, one, more = one + "s") => `${grouped(number)} ${number === 1 ? one : more}`;

/** 2.5 MiB */
export function sized(bytes) {
  const units = ["B", "KiB", "MiB", "GiB"];
  const power = Math.min(units.length - 1, Math.floor(Math.log2(Math.max(1, bytes)) / 10));
  return `${(bytes / 1024 ** power).toFixed(power ? 1 : 0)} ${units[power]}`;
}

const SHARES = [[604800, "w"], [86400, "d"], [3600, "h"], [60, "min"], [1, "s"]];

/** The two largest shares of a time: 2 h 5 min. */
export function lasting(seconds) {
  const parts = [];
  let left = seconds;
  for (const [share, name] of SHARES) {
    const number = Math.floor(left / share);
    left -= number * share;
    if (number) {
      parts.push(`${number} ${name}`);
    } else if (parts.length) {
      break;
    }
  }
  return parts.slice(0, 2).join(" ") || "0 s";
}

const LEVELS = ["error", "warning", "info", "debug"];

/** The class and the name of a level; levels that no log should have are "other". */
export const levelClass = (level) => LEVELS[level] ?? "other";
export const levelName = (level, name) => name || LEVELS[level] || `level ${level}`;
